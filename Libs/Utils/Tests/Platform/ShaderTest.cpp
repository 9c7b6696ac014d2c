#include <gtest/gtest.h>
#include <zstd.h>

#include <string>
#include <thread>
#include <vector>

#include "zaUtils/Platform/zaUtils.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

const std::string kFailed = "zaUtils::decryptShader: decrypting shader failed!\n";
const std::string kText = "void main() { gl_Position = vec4(0.0, 0.0, 0.0, 1.0); }\n";
constexpr std::size_t kNoLimit = 1 << 20;

std::string frameOf(const std::string& text) {
    std::string frame(ZSTD_compressBound(text.size()), '\0');
    frame.resize(ZSTD_compress(frame.data(), frame.size(), text.data(), text.size(), 3));
    return frame;
}

std::string little(std::size_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

std::string blobOf(std::size_t unpacked, std::size_t packed, const std::string& frame) {
    return little(unpacked) + little(packed) + frame;
}

std::string blobOf(const std::string& text) {
    return blobOf(text.size(), frameOf(text).size(), frameOf(text));
}

const unsigned char* bytesOf(const std::string& blob) {
    return reinterpret_cast<const unsigned char*>(blob.data());
}

/// What the trusting form returns and prints.
std::string trusting(const std::string& blob) {
    CaptureStderr();
    const std::string text = zaUtils::decryptShader(bytesOf(blob), false);
    return text + GetCapturedStderr();
}

/// Whether the checked form takes a block of just this size.
bool takes(const std::string& blob, std::string& text, std::size_t maxLength = kNoLimit) {
    const std::vector<unsigned char> block(blob.begin(), blob.end());
    text = "before";
    return zaUtils::unpackShader(block.data(), block.size(), maxLength, text);
}

bool refuses(const std::string& blob, std::size_t maxLength = kNoLimit) {
    std::string text;
    return !takes(blob, text, maxLength) && text.empty();
}

TEST(Shader, IsUnpackedInEveryForm) {
    for (const std::string& text : {kText, std::string(), std::string(300000, 'x')}) {
        SCOPED_TRACE(text.size());
        const std::string blob = blobOf(text);
        EXPECT_EQ(zaUtils::decryptShader(bytesOf(blob), false), text);
        EXPECT_EQ(zaUtils::decryptShader(bytesOf(blob), true), text) << "the flag is ignored";
        EXPECT_EQ(zaUtils::decryptShaderLF(bytesOf(blob)), text);
        std::string unpacked;
        EXPECT_TRUE(takes(blob, unpacked, text.size()));
        EXPECT_EQ(unpacked, text);
    }
}

TEST(Shader, TheTrustingFormBelievesTheHeader) {
    const std::string frame = frameOf(kText);
    const std::size_t size = kText.size();
    EXPECT_EQ(trusting(blobOf(size + 3, frame.size(), frame)), kText + std::string(3, '\0'));
    EXPECT_EQ(trusting(blobOf(size - 1, frame.size(), frame)), kFailed);
    EXPECT_EQ(trusting(blobOf(size, frame.size() - 1, frame)), kFailed);
    EXPECT_EQ(trusting(blobOf(size, frame.size() + 1, frame + '\0')), kFailed);
    EXPECT_EQ(trusting(blobOf(size, frame.size(), std::string(frame.size(), '\0'))), kFailed);
    EXPECT_EQ(trusting(blobOf(kText)), kText) << "a failure is soon forgotten";
}

TEST(Shader, TheCheckedFormRefusesWhatIsNotOneWholeFrame) {
    const std::string frame = frameOf(kText), good = blobOf(kText);
    const std::size_t size = kText.size();
    CaptureStderr();
    for (std::size_t length = 0; length < good.size(); ++length) {
        EXPECT_TRUE(refuses(good.substr(0, length))) << length;
        if (length < 8) continue;
        EXPECT_TRUE(refuses(blobOf(size, length - 8, good.substr(8, length - 8)))) << length;
    }
    EXPECT_TRUE(refuses(good + '\0'));
    EXPECT_TRUE(refuses(blobOf(size, frame.size() + 1, frame + '\0')));
    EXPECT_TRUE(refuses(blobOf(2 * size, 2 * frame.size(), frame + frame)));
    EXPECT_TRUE(refuses(good, size - 1));
    for (const std::size_t lie : {std::size_t{0}, size - 1, size + 1, std::size_t{0xFFFFFFFF}}) {
        EXPECT_TRUE(refuses(blobOf(lie, frame.size(), frame), 0xFFFFFFFF)) << lie;
        EXPECT_TRUE(refuses(blobOf(size, lie, frame))) << lie;
    }
    std::string text;
    EXPECT_FALSE(zaUtils::unpackShader(nullptr, 100, kNoLimit, text));
    EXPECT_EQ(GetCapturedStderr(), "");
}

TEST(Shader, TheCheckedFormMakesNoOtherLengthOfFlippedBits) {
    const std::string good = blobOf(kText + kText);
    for (std::size_t bit = 0; bit < 8 * good.size(); ++bit) {
        std::string bad = good, text;
        bad[bit / 8] = static_cast<char>(bad[bit / 8] ^ 1 << bit % 8);
        const bool isTaken = takes(bad, text);
        EXPECT_EQ(text.size(), isTaken ? 2 * kText.size() : 0) << bit;
        EXPECT_TRUE(bit >= 64 || !isTaken) << bit;
    }
}

TEST(Shader, ThreadsTakeTurns) {
    const std::string blob = blobOf(kText), bad = blobOf(3, 3, "bad");
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k) {
        threads.emplace_back([&] {
            std::string text;
            for (int round = 0; round < 100; ++round) {
                EXPECT_EQ(zaUtils::decryptShader(bytesOf(blob), false), kText);
                EXPECT_FALSE(zaUtils::unpackShader(bytesOf(bad), bad.size(), kNoLimit, text));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
