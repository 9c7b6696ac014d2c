#include <zstd.h>

#include <cstdio>
#include <memory>
#include <mutex>

#include "zaUtils/Encoding/Internal/LittleEndian.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

constexpr std::size_t kHeaderSize = 8;

/// A packed shader: the two lengths, and the zstd frame behind them.
struct Blob {
    std::uint32_t unpackedLength;
    std::uint32_t packedLength;
    const unsigned char* frame;

    explicit Blob(const unsigned char* bytes)
        : unpackedLength(za::loadLittle32(bytes)),
          packedLength(za::loadLittle32(bytes + 4)),
          frame(bytes + kHeaderSize) {}
};

/// Unpacks into the text, whose size is the room. All calls share a context, one at a time; it is
/// made by the first and kept until the process ends.
/// @return the number of bytes, or a code that says true to ZSTD_isError
/// @throws std::system_error  the lock cannot be taken
std::size_t unpack(const Blob& blob, std::string& text) {
    static std::mutex& mutex = *new std::mutex;
    static ZSTD_DCtx* context = nullptr;

    const std::lock_guard lock(mutex);
    if (!context) context = ZSTD_createDCtx();
    if (!context) return static_cast<std::size_t>(-1);
    return ZSTD_decompressDCtx(context, text.data(), text.size(), blob.frame, blob.packedLength);
}

/// Whether what is packed is one frame and claims no other length than the header does.
bool isOneFrame(const Blob& blob) {
    const unsigned long long claimed = ZSTD_getFrameContentSize(blob.frame, blob.packedLength);
    return (claimed == blob.unpackedLength || claimed == ZSTD_CONTENTSIZE_UNKNOWN) &&
           ZSTD_findFrameCompressedSize(blob.frame, blob.packedLength) == blob.packedLength;
}

}  // namespace

std::string zaUtils::decryptShader(const unsigned char* const data, bool) {
    const Blob blob(data);
    std::string text(blob.unpackedLength, '\0');
    if (ZSTD_isError(unpack(blob, text))) {
        std::fputs("zaUtils::decryptShader: decrypting shader failed!\n", stderr);
        return {};
    }
    return text;
}

std::string zaUtils::decryptShaderLF(const unsigned char* const data) {
    return decryptShader(data, false);
}

bool zaUtils::unpackShader(const unsigned char* data, std::size_t size, std::size_t maxLength,
                           std::string& text) {
    text.clear();
    if (!data || size < kHeaderSize) return false;
    const Blob blob(data);
    if (blob.packedLength != size - kHeaderSize || blob.unpackedLength > maxLength) return false;
    if (!isOneFrame(blob)) return false;

    std::string unpacked(blob.unpackedLength, '\0');
    if (unpack(blob, unpacked) != blob.unpackedLength) return false;
    text = std::move(unpacked);
    return true;
}
