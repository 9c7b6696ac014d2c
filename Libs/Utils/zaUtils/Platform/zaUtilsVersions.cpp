#include <tbb/version.h>
#include <zstd.h>

#include <boost/version.hpp>

#include "zaUtils/Platform/zaUtils.h"

std::vector<std::pair<std::string, std::string>> zaUtils::getLibraryVersions() {
    const auto number = [](int value) { return std::to_string(value); };
    return {{"zaUtils", ZAUTILS_VERSION},
            {"Boost", number(BOOST_VERSION / 100000) + '.' + number(BOOST_VERSION / 100 % 1000) +
                          '.' + number(BOOST_VERSION % 100)},
            {"oneTBB", TBB_VERSION_STRING},
            {"zstd", ZSTD_versionString()}};
}
