// Both conversions agree with the C library's converter on what is well-formed, and what the
// lenient one mends is well-formed.

#include <iconv.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

#include "Fuzzing.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Strings/zaString.h"

namespace {

/// The C library's conversion; false when it finds the text malformed.
bool convertedByIconv(const char* to, const char* from, std::string text, std::string& result) {
    const iconv_t converter = iconv_open(to, from);
    require(converter != iconv_t(-1), "the C library knows the encodings");
    result.assign(4 * text.size() + 4, '\0');
    char* in = text.data();
    char* out = result.data();
    std::size_t inLeft = text.size();
    std::size_t outLeft = result.size();
    const bool isWellFormed = iconv(converter, &in, &inLeft, &out, &outLeft) != std::size_t(-1);
    iconv_close(converter);
    result.resize(result.size() - outLeft);
    return isWellFormed;
}

std::wstring unitsOf(const std::string& bytes) {
    std::wstring units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        units += static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) +
                                      256 * static_cast<unsigned char>(bytes[i + 1]));
    }
    return units;
}

bool strict(const std::string& text, std::wstring& result) {
    try {
        result = zaString::utf8ToUtf16(text.c_str());
        return true;
    } catch (const std::range_error&) {
        return false;
    }
}

bool strict(const std::wstring& text, std::string& result) {
    try {
        result = zaString::utf16ToUtf8(text.c_str());
        return true;
    } catch (const std::range_error&) {
        return false;
    }
}

void checkUtf8(const std::string& text) {
    std::wstring wide;
    std::string judged;
    const bool isWellFormed = strict(text, wide);
    require(isWellFormed == convertedByIconv("UTF-16LE", "UTF-8", text, judged),
            "strict UTF-8 takes what is well-formed");
    if (isWellFormed) require(wide == unitsOf(judged), "strict UTF-8 gives the right units");

    const std::wstring lenient = zaFile::Utf8ToUtf16(text);
    if (isWellFormed) require(lenient == wide, "strict and lenient UTF-8 agree");
    std::string mended;
    require(strict(lenient, mended), "lenient UTF-8 gives well-formed UTF-16");
    require((mended == text) == isWellFormed, "lenient UTF-8 changes malformed text only");
    require(zaFile::UTF16ToUTF8(lenient.c_str()) == mended, "strict and lenient UTF-16 agree");
}

void checkUtf16(const std::string& bytes) {
    const std::wstring units = unitsOf(bytes);
    if (units.find(L'\0') != std::wstring::npos) return;
    std::string narrow;
    std::string judged;
    const bool isWellFormed = strict(units, narrow);
    require(isWellFormed == convertedByIconv("UTF-8", "UTF-16LE", bytes, judged),
            "strict UTF-16 takes what is well-formed");
    if (isWellFormed) require(narrow == judged, "strict UTF-16 gives the right bytes");

    const std::string lenient = zaFile::UTF16ToUTF8(units.c_str());
    if (isWellFormed) require(lenient == narrow, "strict and lenient UTF-16 agree");
    std::wstring mended;
    require(strict(lenient, mended), "lenient UTF-16 gives well-formed UTF-8");
    require((mended == units) == isWellFormed, "lenient UTF-16 changes malformed text only");
    require(mended.size() == units.size(), "each malformed unit is replaced by one");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (text.find('\0') == std::string::npos) checkUtf8(text);
    checkUtf16(text.substr(0, size / 2 * 2));
    return 0;
}
