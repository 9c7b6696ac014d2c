#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "Support/ScratchFolder.h"
#include "zaUtils/Streams/cached_ifstream.h"
#include "zaUtils/Streams/cached_ofstream.h"
#include "zaUtils/Streams/zaAlignedAllocation.h"

namespace {

/// Bytes that text mode would change, and no other pattern for long.
std::string content(std::size_t size) {
    std::string result = "\r\n\x1A\n";
    for (unsigned int i = 0; result.size() < size; i = i * 1103515245 + 12345)
        result += static_cast<char>(i >> 16);
    return result;
}

std::string rest(std::istream& stream) {
    return {std::istreambuf_iterator<char>(stream), {}};
}

constexpr std::size_t kBufferSizes[] = {0, 1, 2, 4095, 4096, 4097, 100000};

TEST(CachedFileStreams, CarryEveryByteWhateverTheBufferSize) {
    const ScratchFolder folder;
    const std::string bytes = content(30000);
    const std::string path = folder.path(u8"ü 日本.bin");
    for (const std::size_t size : kBufferSizes) {
        SCOPED_TRACE(size);
        cached_ofstream out(path.c_str(), size);
        ASSERT_TRUE(out.is_open() && out.good());
        for (std::size_t done = 0; done < 2000; done += 10)
            out.write(bytes.data() + done, 10);
        out.write(bytes.data() + 2000, static_cast<std::streamsize>(bytes.size() - 2000));
        out.seekp(0).put(bytes[0]);
        out.close();
        EXPECT_EQ(folder.content(u8"ü 日本.bin"), bytes);

        cached_ifstream in(path.c_str(), size);
        ASSERT_TRUE(in.is_open() && in.good());
        in.ignore(5000);
        EXPECT_EQ(in.tellg(), 5000);
        cached_ifstream moved(std::move(in));
        cached_ifstream assigned(path.c_str(), 10);
        assigned = std::move(moved);
        EXPECT_EQ(rest(assigned), bytes.substr(5000));
        assigned.clear();
        assigned.seekg(-10, std::ios::end);
        EXPECT_EQ(rest(assigned), bytes.substr(bytes.size() - 10));
    }
}

TEST(CachedFileStreams, WriteWhatIsPendingWhenTheyAreDestroyedReplacedOrReopened) {
    const ScratchFolder folder;
    for (const std::size_t size : kBufferSizes) {
        SCOPED_TRACE(size);
        { cached_ofstream(folder.path("destroyed").c_str(), size) << "pending"; }
        EXPECT_EQ(folder.content("destroyed"), "pending");
        cached_ofstream stream(folder.path("replaced").c_str(), size);
        stream << "pending, too";
        stream = cached_ofstream(folder.path("other").c_str(), size);
        EXPECT_EQ(folder.content("replaced"), "pending, too");
        stream << "and this";
        cached_ofstream moved(std::move(stream));
        moved << " goes on";
        moved.close();
        EXPECT_EQ(folder.content("other"), "and this goes on");
        moved.open(folder.native("reopened"));
        moved << "again" << std::flush;
        EXPECT_EQ(folder.content("reopened"), "again");
    }
}

TEST(CachedFileStreams, SmallWritesGatherInTheBuffer) {
    const ScratchFolder folder;
    for (const auto& [size, written] : {std::pair{0u, "ab"}, {3u, "ab"}, {4u, ""}}) {
        cached_ofstream stream(folder.path("file").c_str(), size);
        stream << 'a' << 'b' << 'c';
        EXPECT_EQ(folder.content("file").substr(0, 2), written) << size;
    }
}

TEST(CachedFileStreams, WhatCannotBeOpenedIsClosedAndFailed) {
    const ScratchFolder folder;
    folder.make("file", "x");
    for (const std::string& path :
         {folder.path(), folder.path("missing\\file"), folder.path("file\\below"), std::string()}) {
        for (const std::size_t size : {std::size_t{0}, std::size_t{100}}) {
            SCOPED_TRACE(path + " " + std::to_string(size));
            cached_ifstream in(path.c_str(), size);
            EXPECT_TRUE(!in.is_open() && !in.good() && in.get() == EOF);
            cached_ofstream out(path.c_str(), size);
            out << "x" << std::flush;
            EXPECT_TRUE(!out.is_open() && !out.good());
        }
    }
    EXPECT_FALSE(cached_ifstream(folder.path("missing").c_str(), 100).is_open());
    EXPECT_FALSE(cached_ifstream(nullptr, 100).is_open());
    EXPECT_FALSE(cached_ofstream(nullptr, 100).is_open());
    // Thrown before the file is touched.
    const std::string file = folder.path("file");
    constexpr auto kTooLarge = std::numeric_limits<std::size_t>::max();
    EXPECT_THROW(cached_ifstream(file.c_str(), kTooLarge), std::length_error);
    EXPECT_THROW(cached_ofstream(file.c_str(), kTooLarge), std::length_error);
    EXPECT_EQ(folder.content("file"), "x");
    EXPECT_EQ(folder.entries(), 1u);
}

TEST(CachedFileStreams, OthersMayReadWhatIsReadAndReadAndWriteWhatIsWritten) {
    const ScratchFolder folder;
    const std::string path = folder.make("file", "content");
    const cached_ifstream in(path.c_str(), 100);
    EXPECT_EQ(folder.content("file"), "content");
    EXPECT_TRUE(cached_ifstream(path.c_str(), 100).is_open());
    cached_ofstream out(folder.path("written").c_str(), 100);
    out << "so far" << std::flush;
    EXPECT_EQ(folder.content("written"), "so far");
    EXPECT_TRUE(std::ofstream(folder.native("written"), std::ios::app).is_open());
}

TEST(AlignedAllocation, GivesAlignedMemoryThatKeepsItsContentWhenItGrows) {
    for (std::size_t alignment = 1; alignment <= 65536; alignment *= 2) {
        SCOPED_TRACE(alignment);
        void* memory = za_aligned_malloc(1000, alignment);
        ASSERT_TRUE(memory && reinterpret_cast<std::uintptr_t>(memory) % alignment == 0);
        std::memset(memory, 'x', 1000);
        memory = za_aligned_realloc(memory, 1000000, alignment);
        ASSERT_TRUE(memory && reinterpret_cast<std::uintptr_t>(memory) % alignment == 0);
        EXPECT_EQ(std::string(static_cast<char*>(memory), 1000), std::string(1000, 'x'));
        std::memset(memory, 'y', 1000000);
        za_aligned_free(memory);
    }
    EXPECT_EQ(za_aligned_malloc(1000, 48), nullptr);
    EXPECT_EQ(za_aligned_malloc(0, 16), nullptr);
    EXPECT_EQ(za_aligned_malloc(std::numeric_limits<std::size_t>::max() - 4096, 16), nullptr);
    EXPECT_EQ(za_aligned_realloc(za_aligned_realloc(nullptr, 10, 16), 0, 16), nullptr);
    za_aligned_free(nullptr);
}

}  // namespace
