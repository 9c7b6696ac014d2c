#include "zaUtils/Encoding/zaBase64.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "zaUtils/Encoding/Internal/Base64Kernels.h"

namespace {

using za::base64::Cursor;
using za::base64::fastestKernels;
using za::base64::kForeign;
using za::base64::kPadding;
using za::base64::portableKernels;
using za::base64::valueOf;

constexpr std::uint64_t kMaxLength = std::numeric_limits<std::uint32_t>::max();
// getEncodeSize of one more does not fit into 32 bits.
constexpr std::uint64_t kMaxEncodeLength = 3221225468;

const unsigned char* bytesOf(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

Cursor cursorOver(const char* source, std::size_t length, char* target) {
    return {bytesOf(source), bytesOf(source) + length, reinterpret_cast<unsigned char*>(target)};
}

bool pointsInto(const char* pointer, const std::string& text) {
    return !std::less<>()(pointer, text.data()) &&
           std::less<>()(pointer, text.data() + text.capacity());
}

/// The number of characters; there is room for just these.
std::size_t encodeTo(const char* source, std::size_t length, char* target) {
    std::size_t done = fastestKernels().encode(bytesOf(source), length, target);
    char* end = target + done / 3 * 4;
    done += portableKernels().encode(bytesOf(source) + done, length - done, end);
    end = target + done / 3 * 4;
    if (const std::size_t rest = length - done; rest > 0) {
        const unsigned char group[3] = {
            static_cast<unsigned char>(source[done]),
            static_cast<unsigned char>(rest == 2 ? source[done + 1] : 0), 0};
        portableKernels().encode(group, 3, end);
        std::fill(end + rest + 1, end + 4, '=');
        end += 4;
    }
    return static_cast<std::size_t>(end - target);
}

/// Decodes to the end from where padding may turn up, a character at a time.
/// @return whether the characters are whole groups
bool decodePadded(Cursor& cursor) {
    std::int64_t bytesPerGroup = 3;
    for (; cursor.source != cursor.end; ++cursor.source) {
        const std::uint8_t value = valueOf(*cursor.source);
        if (value == kForeign) continue;
        if (value == kPadding) --bytesPerGroup;
        cursor.bits = cursor.bits << 6 | (value & 63U);
        if (++cursor.pending < 4) continue;
        *cursor.target++ = static_cast<unsigned char>(cursor.bits >> 16);
        if (bytesPerGroup >= 2) *cursor.target++ = static_cast<unsigned char>(cursor.bits >> 8);
        if (bytesPerGroup >= 3) *cursor.target++ = static_cast<unsigned char>(cursor.bits);
        cursor.pending = 0;
    }
    return cursor.pending == 0;
}

std::size_t decodeTo(const char* source, std::size_t length, char* target) {
    Cursor cursor = cursorOver(source, length, target);
    fastestKernels().decodeSkipping(cursor);
    portableKernels().decodeSkipping(cursor);
    if (!decodePadded(cursor)) return 0;
    return static_cast<std::size_t>(reinterpret_cast<char*>(cursor.target) - target);
}

/// Decodes a last group that is padded.
/// @return whether it is one; otherwise the cursor shows the first character that is wrong
bool decodeLastGroup(Cursor& cursor) {
    const unsigned char* group = cursor.source;
    std::uint32_t bits = 0;
    int values = 0;
    for (; cursor.source != cursor.end && valueOf(*cursor.source) < kPadding;
         ++cursor.source, ++values)
        bits = bits << 6 | valueOf(*cursor.source);
    if (values < 2 || cursor.source == cursor.end || *cursor.source != '=') return false;

    // Of 12 bits 8 count, of 18 bits 16.
    const int idle = values == 2 ? 4 : 2;
    if ((bits & ((1U << idle) - 1)) != 0) {
        --cursor.source;
        return false;
    }
    for (; cursor.source != group + 4; ++cursor.source) {
        if (cursor.source == cursor.end || *cursor.source != '=') return false;
    }
    if (cursor.source != cursor.end) return false;
    bits >>= idle;
    if (values == 3) *cursor.target++ = static_cast<unsigned char>(bits >> 8);
    *cursor.target++ = static_cast<unsigned char>(bits);
    return true;
}

}  // namespace

unsigned long zaBase64::encode(const char* src, unsigned long length, char* dst) {
    if (!src || !dst || length == 0 || length > kMaxEncodeLength) return 0;
    const std::size_t count = encodeTo(src, length, dst);
    dst[count] = '\0';
    return static_cast<unsigned long>(count);
}

unsigned long zaBase64::encode(const char* src, unsigned long length, std::string& dst) {
    if (!src || length == 0 || length > kMaxEncodeLength) return 0;
    if (pointsInto(src, dst)) return encode(std::string(src, length), dst);
    dst.resize(getEncodeSize(length));
    dst.resize(encodeTo(src, length, dst.data()));
    return static_cast<unsigned long>(dst.size());
}

unsigned long zaBase64::encode(const std::string& src, std::string& dst) {
    if (src.size() > kMaxEncodeLength) return 0;
    return encode(src.data(), static_cast<unsigned long>(src.size()), dst);
}

unsigned long zaBase64::decode(const char* src, unsigned long length, char* dst) {
    if (!src || !dst || length == 0 || length > kMaxLength) return 0;
    return static_cast<unsigned long>(decodeTo(src, length, dst));
}

unsigned long zaBase64::decode(const char* src, unsigned long length, std::string& dst) {
    if (!src || length == 0 || length > kMaxLength) return 0;
    if (pointsInto(src, dst)) return decode(std::string(src, length), dst);
    dst.resize(getDecodeSize(length));
    dst.resize(decodeTo(src, length, dst.data()));
    return static_cast<unsigned long>(dst.size());
}

unsigned long zaBase64::decode(const std::string& src, std::string& dst) {
    if (src.size() > kMaxLength) return 0;
    return decode(src.data(), static_cast<unsigned long>(src.size()), dst);
}

bool zaBase64::decodeStrict(std::string_view src, std::string& dst, std::size_t* firstBad) {
    std::string decoded(src.size() / 4 * 3, '\0');
    Cursor cursor = cursorOver(src.data(), src.size(), decoded.data());
    fastestKernels().decodeClean(cursor);
    portableKernels().decodeClean(cursor);
    if (cursor.source != cursor.end && !decodeLastGroup(cursor)) {
        if (firstBad) *firstBad = static_cast<std::size_t>(cursor.source - bytesOf(src.data()));
        dst.clear();
        return false;
    }
    decoded.resize(static_cast<std::size_t>(cursor.target - bytesOf(decoded.data())));
    dst = std::move(decoded);
    return true;
}

unsigned long zaBase64::getEncodeSize(unsigned long n) {
    return static_cast<std::uint32_t>(n) / 3 * 4 + 4;
}

unsigned long zaBase64::getDecodeSize(unsigned long n) {
    return static_cast<std::uint32_t>(n) / 4 * 3 + 3;
}

bool zaBase64::isBase64Char(char c) {
    return valueOf(static_cast<unsigned char>(c)) != kForeign;
}

bool zaBase64::isBase64String(const std::string& s) {
    return s.size() >= 4 && s.size() % 4 == 0 && std::all_of(s.begin(), s.end(), isBase64Char);
}
