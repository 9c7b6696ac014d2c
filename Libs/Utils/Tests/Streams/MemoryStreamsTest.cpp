#include <gtest/gtest.h>

#include <zstd.h>
#include <cstdlib>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>

#include "zaUtils/Streams/zaMemoryIStream.h"
#include "zaUtils/Streams/zaMemoryOStream.h"

namespace {

using Bytes = std::vector<char>;

Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// Bytes in no order; ASCII ones are the same to every stream.
Bytes noise(std::size_t size, int mask) {
    std::mt19937 random(1);
    Bytes result(size);
    for (char& c : result)
        c = static_cast<char>(static_cast<int>(random()) & mask);
    return result;
}

/// Small windows, to reach their ends.
class SmallWindows : public zaMemoryIStreamBuf {
public:
    SmallWindows(const Bytes& data, std::size_t limit) : zaMemoryIStreamBuf(data, limit) {}
};

TEST(MemoryIStream, SeeksFromAllThreePlaces) {
    const Bytes data = bytes("0123456789");
    zaMemoryIStream stream(data);
    stream.seekg(0, std::ios::end);
    EXPECT_EQ(stream.tellg(), 10);
    stream.seekg(-1, std::ios::end);
    EXPECT_EQ(stream.get(), '9');
    stream.seekg(3).seekg(2, std::ios::cur);
    EXPECT_EQ(stream.get(), '5');
    EXPECT_EQ(stream.rdbuf()->sungetc(), '5');
    EXPECT_EQ(stream.rdbuf()->sungetc(), EOF) << "nothing in front of where a seek led";
    zaMemoryIStream moved(std::move(stream));
    EXPECT_EQ(moved.get(), '5');
    // The open mode does not matter, and an unknown direction leads nowhere.
    EXPECT_EQ(moved.rdbuf()->pubseekoff(4, std::ios::beg, std::ios::out), 4);
    EXPECT_EQ(moved.rdbuf()->pubseekoff(4, static_cast<std::ios::seekdir>(77)), 4);

    const Bytes empty;
    EXPECT_EQ(zaMemoryIStream(empty).get(), EOF);
}

TEST(MemoryIStream, APositionOutsideTheDataIsKeptAndHasNothingToRead) {
    constexpr auto kFarthest = std::numeric_limits<std::streamoff>::max();
    const Bytes data = bytes("0123456789");
    zaMemoryIStreamBuf buffer(data);
    for (const std::streamoff pos :
         {std::streamoff{11}, std::streamoff{-1}, kFarthest, -kFarthest}) {
        SCOPED_TRACE(pos);
        EXPECT_EQ(buffer.pubseekpos(pos), pos);
        EXPECT_EQ(buffer.pubseekoff(0, std::ios::cur), pos);
        char c = 'c';
        EXPECT_TRUE(buffer.sgetc() == EOF && buffer.sbumpc() == EOF && buffer.sgetn(&c, 1) == 0);
        EXPECT_EQ(zaMemoryIStreamBuf(buffer).sgetc(), EOF);
        buffer.pubseekoff(kFarthest - 1, std::ios::cur);  // overflows harmlessly
        EXPECT_EQ(buffer.sgetc(), EOF);
        EXPECT_EQ(buffer.pubseekpos(5), 5);
        EXPECT_EQ(buffer.sgetc(), '5');
    }
}

// Compared with the standard library's buffer over the same operations in a random order.
TEST(MemoryIStream, ReadsTheSameThroughWindowsOfAnySize) {
    const Bytes data = noise(300, 0x7F);
    for (const unsigned int window : {1u, 2u, 7u, 16u, 17u, 300u, 301u}) {
        SmallWindows ours(data, window);
        std::stringbuf theirs({data.begin(), data.end()}, std::ios::in);
        std::mt19937 random(window);
        for (int step = 0; step < 3000; ++step) {
            SCOPED_TRACE(std::to_string(window) + " " + std::to_string(step));
            char a[64] = "";
            char b[64] = "";
            const auto count = static_cast<std::streamsize>(random() % 40);
            ASSERT_EQ(ours.sgetn(a, count), theirs.sgetn(b, count));
            ASSERT_EQ(std::string(a, 64), std::string(b, 64));
            ASSERT_EQ(ours.sbumpc(), theirs.sbumpc());
            if (random() % 4 == 0) ours.pubseekpos(theirs.pubseekpos(random() % 301, std::ios::in));
            ASSERT_EQ(ours.pubseekoff(0, std::ios::cur),
                      theirs.pubseekoff(0, std::ios::cur, std::ios::in));
        }
    }
}

TEST(MemoryIStream, TheFirstByteOfALaterWindowIsSigned) {
    const Bytes data = bytes("\xFE\xFE\xFE\xFE\xFF\xFFx");
    SmallWindows buffer(data, 2);
    char piece[4];
    EXPECT_EQ(buffer.sgetn(piece, 2), 2);
    EXPECT_EQ(buffer.sgetc(), -2);
    EXPECT_EQ(buffer.sgetn(piece, 4), 2) << "the byte 0xFF at the beginning of a window";
    EXPECT_EQ(buffer.sgetc(), 0xFF) << "the window is open by now";
    buffer.pubseekpos(4);
    EXPECT_EQ(buffer.sgetc(), 0xFF) << "windows that a seek opens are not affected";
    EXPECT_EQ(buffer.sgetn(piece, 4), 3);
}

TEST(MemoryIStream, WindowsHave2To30Bytes) {
    if (!std::getenv("ZA_TEST_ALL")) GTEST_SKIP() << "takes 1 GiB of memory: ZA_TEST_ALL=1";
    constexpr std::streamoff kWindow = std::streamoff{1} << 30;
    const Bytes data(static_cast<std::size_t>(kWindow) + 2, '\xFF');
    zaMemoryIStream stream(data);
    EXPECT_EQ(stream.rdbuf()->in_avail(), kWindow);
    stream.ignore(kWindow - 1);
    EXPECT_EQ(stream.get(), 0xFF);
    EXPECT_EQ(stream.get(), EOF);
    stream.clear();
    stream.seekg(kWindow + 1);
    EXPECT_EQ(stream.get(), 0xFF);
}

// Writes of sizes around the limits: that of the staging buffer, and that from which on writes go
// around it.
TEST(MemoryOStream, CollectsWritesOfAnySizeInOrder) {
    const Bytes source = noise(300000, 0xFF);
    std::mt19937 random(2);
    const std::size_t sizes[] = {0, 1, 7, 1023, 1024, 1025, 65535, 65536, 65537, 70000};
    for (int round = 0; round < 50; ++round) {
        zaMemoryOStream stream;
        std::size_t done = 0;
        while (done < 200000) {
            const bool isShort = random() % 3 != 0;
            const std::size_t size = isShort ? random() % 3000 : sizes[random() % std::size(sizes)];
            stream.write(source.data() + done, static_cast<std::streamsize>(size));
            done += size;
            if (random() % 16 == 0) stream.flush();
            if (random() % 2 == 0) stream.put(source[done++]);
        }
        ASSERT_EQ(stream.getData(), Bytes(source.data(), source.data() + done));
        ASSERT_EQ(stream.getData(), Bytes());
        stream << "goes on " << 42;
        ASSERT_EQ(stream.getData(), bytes("goes on 42"));
    }
    EXPECT_GT(sizeof(zaMemoryOStream), 65536u);
}

TEST(MemoryOStream, AnEndOfFileIsNotWritten) {
    struct Buffer : zaMemoryOStreamBuf {
        using zaMemoryOStreamBuf::overflow;
    } buffer;
    buffer.sputc('\xFF');
    EXPECT_EQ(buffer.overflow(EOF), EOF);
    EXPECT_EQ(buffer.overflow('x'), 'x');
    EXPECT_EQ(buffer.getData(), bytes("\xFFx"));
}

TEST(MemoryOStream, CopiesAndMovesHaveTheStagedBytesToo) {
    zaMemoryOStreamBuf original;
    original.sputn("written", 7);
    original.pubsync();
    original.sputn(", staged", 8);
    zaMemoryOStreamBuf copy(original), assigned, moveAssigned;
    assigned.sputn("lost", 4);
    assigned = original;
    zaMemoryOStreamBuf moved(std::move(original));
    moveAssigned = std::move(moved);
    copy.sputc('c');
    moved.sputc('m');  // what was moved from may be written to
    EXPECT_EQ(original.getData(), Bytes());
    EXPECT_EQ(moved.getData(), bytes("m"));
    EXPECT_EQ(copy.getData(), bytes("written, stagedc"));
    EXPECT_EQ(assigned.getData(), bytes("written, staged"));
    EXPECT_EQ(moveAssigned.getData(), bytes("written, staged"));

    zaMemoryOStream stream;
    stream.reserve(1000000);
    stream << "a";
    zaMemoryOStream other(std::move(stream));
    other << "b";
    stream = std::move(other);
    stream << "c";
    const Bytes data = stream.getData();
    EXPECT_EQ(data, bytes("abc"));
    EXPECT_GE(data.capacity(), 1000000u) << "the memory itself is handed over";
}

TEST(MemoryStreams, CarryJson) {
    const auto document =
        nlohmann::json::parse(u8R"({"name": "größe 日本", "list": [1, 2.5, null, true], "e": {}})");
    zaMemoryOStream out;
    out << document.dump(2) << '\n' << document;
    const Bytes text = out.getData();
    zaMemoryIStream in(text);
    nlohmann::json first, second;
    in >> first >> second;
    EXPECT_EQ(first, document);
    EXPECT_EQ(second, document);
}

// Piece by piece, as a compressor that works on streams does it.
TEST(MemoryStreams, CarryACompressedFrame) {
    zaMemoryOStream lines;
    for (int i = 0; i < 60000; ++i)
        lines << "line " << i % 1000 << '\n';
    const Bytes plain = lines.getData();
    zaMemoryIStream in(plain);
    zaMemoryOStream out;
    ZSTD_CCtx* context = ZSTD_createCCtx();
    char piece[4096], packed[1000];
    do {
        in.read(piece, sizeof piece);
        const auto directive = in.eof() ? ZSTD_e_end : ZSTD_e_continue;
        ZSTD_inBuffer input{piece, static_cast<std::size_t>(in.gcount()), 0};
        std::size_t left = 1;
        while (input.pos < input.size || (in.eof() && left != 0)) {
            ZSTD_outBuffer output{packed, sizeof packed, 0};
            left = ZSTD_compressStream2(context, &output, &input, directive);
            ASSERT_FALSE(ZSTD_isError(left));
            out.write(packed, static_cast<std::streamsize>(output.pos));
        }
    } while (!in.eof());
    ZSTD_freeCCtx(context);
    const Bytes frame = out.getData();
    Bytes unpacked(plain.size());
    ZSTD_decompress(unpacked.data(), unpacked.size(), frame.data(), frame.size());
    EXPECT_LT(frame.size(), plain.size() / 10);
    EXPECT_EQ(unpacked, plain);
}

}  // namespace
