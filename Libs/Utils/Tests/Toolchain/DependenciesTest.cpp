// What the library takes from its dependencies works on this host: linked, loaded and executed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tbb/blocked_range3d.h>
#include <tbb/parallel_for.h>
#include <tbb/scalable_allocator.h>
#include <tbb/task_group.h>
#include <zstd.h>
#include <boost/any.hpp>
#include <boost/crc.hpp>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Range = tbb::blocked_range3d<int>;

TEST(Dependencies, ParallelLoopVisitsEveryCellOfAVolumeOnce) {
    constexpr int depth = 7, height = 33, width = 65;
    std::vector<std::atomic<int>> visits(std::size_t{depth} * height * width);
    tbb::task_group_context context{tbb::task_group_context::isolated};

    tbb::parallel_for(
        Range(0, depth, 0, height, 0, width),
        [&](const Range& range) {
            for (int z = range.pages().begin(); z != range.pages().end(); ++z)
                for (int y = range.rows().begin(); y != range.rows().end(); ++y)
                    for (int x = range.cols().begin(); x != range.cols().end(); ++x)
                        ++visits[static_cast<std::size_t>((z * height + y) * width + x)];
        },
        context);

    EXPECT_FALSE(context.is_group_execution_cancelled());
    EXPECT_THAT(visits, testing::Each(testing::Eq(1)));
}

TEST(Dependencies, ExceptionLeavesAParallelLoopAndCancelsItsGroup) {
    tbb::task_group_context context{tbb::task_group_context::isolated};
    const auto loop = [&] {
        tbb::parallel_for(
            Range(0, 8, 0, 8, 0, 8),
            [](const Range& range) {
                if (range.pages().begin() <= 5 && 5 < range.pages().end())
                    throw std::runtime_error("page 5");
            },
            context);
    };

    EXPECT_THAT(loop, testing::ThrowsMessage<std::runtime_error>("page 5"));
    EXPECT_TRUE(context.is_group_execution_cancelled());
}

TEST(Dependencies, ScalableMemoryIsAlignedAndKeepsItsContentWhenItGrows) {
    const std::string_view content = "kept across the reallocation";
    for (const std::size_t alignment : {16U, 64U, 4096U}) {
        SCOPED_TRACE(alignment);
        const auto misalignment = [&](void* memory) {
            return reinterpret_cast<std::uintptr_t>(memory) % alignment;
        };

        void* memory = scalable_aligned_malloc(content.size(), alignment);
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(misalignment(memory), 0U);
        std::memcpy(memory, content.data(), content.size());

        memory = scalable_aligned_realloc(memory, std::size_t{1} << 20, alignment);
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(misalignment(memory), 0U);
        EXPECT_EQ(std::memcmp(memory, content.data(), content.size()), 0);
        scalable_aligned_free(memory);
    }
}

TEST(Dependencies, CompressionRoundTripRestoresTheTextAndShrinksIt) {
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += "line " + std::to_string(i % 10) + '\n';

    std::string packed(ZSTD_compressBound(text.size()), '\0');
    const std::size_t packedSize =
        ZSTD_compress(packed.data(), packed.size(), text.data(), text.size(), 3);
    ASSERT_FALSE(ZSTD_isError(packedSize)) << ZSTD_getErrorName(packedSize);
    EXPECT_LT(packedSize, text.size() / 10);

    std::string unpacked(text.size(), '\0');
    const std::size_t unpackedSize =
        ZSTD_decompress(unpacked.data(), unpacked.size(), packed.data(), packedSize);
    EXPECT_EQ(unpackedSize, text.size());
    EXPECT_EQ(unpacked, text);
}

TEST(Dependencies, HeaderOnlyLibrariesGiveTheirPublishedResults) {
    boost::crc_32_type crc;
    crc.process_bytes("123456789", 9);
    EXPECT_EQ(crc.checksum(), 0xCBF43926U);

    boost::any value = std::string("text");
    EXPECT_EQ(boost::any_cast<std::string>(value), "text");
    EXPECT_THROW(boost::any_cast<int>(value), boost::bad_any_cast);

    const auto json = nlohmann::json::parse(R"({"pi": 3.5, "list": [1, 2]})");
    EXPECT_EQ(json.at("list").at(1), 2);
    EXPECT_THROW(json.at("missing"), nlohmann::json::out_of_range);

    CLI::App app;
    int count = 0;
    app.add_option("--count", count)->required();
    app.parse("--count 5");
    EXPECT_EQ(count, 5);
    EXPECT_THROW(app.parse("--count five"), CLI::ConversionError);
}

TEST(Dependencies, MutexSerialisesThreads) {
    std::mutex mutex;
    int sum = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 10000; ++n) {
                const std::lock_guard lock(mutex);
                ++sum;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(sum, 40000);
}

}  // namespace
