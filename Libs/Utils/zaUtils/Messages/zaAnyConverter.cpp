#include "zaUtils/Messages/zaAnyConverter.h"

#include <boost/core/demangle.hpp>
#include <cstdio>

namespace {

/// The list behind `_converters`.
///
/// Converters are static objects: one may be created before this file's own statics (when the
/// library is linked into the program) and be destroyed after them. So the list is made by whoever
/// comes first, and stays. That it is a list lets a converter come while the others are asked.
std::list<zaAnyConverter*>& registered() {
    static auto* const converters = new std::list<zaAnyConverter*>;
    return *converters;
}

}  // namespace

std::list<zaAnyConverter*>& zaAnyConverter::_converters = registered();

zaAnyConverter::zaAnyConverter(const std::string& typeName) : _typeName(typeName) {
    registered().push_back(this);
}

zaAnyConverter::zaAnyConverter(const zaAnyConverter& other) : _typeName(other._typeName) {}

zaAnyConverter& zaAnyConverter::operator=(const zaAnyConverter& other) = default;

zaAnyConverter::~zaAnyConverter() {
    registered().remove(this);
}

bool zaAnyConverter::toString(const boost::any& value, std::string& text, std::string& typeName) {
    for (zaAnyConverter* converter : registered()) {
        if (converter->convertToString(value, text, typeName)) return true;
    }
    text.clear();
    typeName = "unknown";
    constexpr const char* kBanner = "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!\n";
    std::printf("%sTried to serialize unknown type ( %s ), please register !!!\n%s", kBanner,
                boost::core::demangle(value.type().name()).c_str(), kBanner);
    return false;
}

bool zaAnyConverter::fromString(const std::string& typeName, const std::string& text,
                                boost::any& value) {
    for (zaAnyConverter* converter : registered()) {
        if (converter->convertFromString(typeName, text, value)) return true;
    }
    return false;
}
