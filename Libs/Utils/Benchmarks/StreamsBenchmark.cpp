// Memory streams beside the standard library's string streams, and the file stream with a buffer
// beside the standard one in several configurations, on a file that the system has in memory.
//
// usage: StreamsBenchmark [NAME...]    writing, reading, files

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Benchmark.h"
#include "zaUtils/Streams/cached_ifstream.h"
#include "zaUtils/Streams/zaMemoryIStream.h"
#include "zaUtils/Streams/zaMemoryOStream.h"

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr int kWritten = 256;  // MiB
constexpr int kFile = 1024;    // MiB
constexpr int kPieces = 1 << 16;

void check(bool isRight) {
    if (isRight) return;
    std::fprintf(stderr, "the streams do not do their job\n");
    std::exit(1);
}

void writeBlocks(std::ostream& stream) {
    const std::vector<char> block(4096, 'x');
    for (std::size_t done = 0; done < kWritten * kMiB; done += block.size())
        stream.write(block.data(), static_cast<std::streamsize>(block.size()));
}

void benchmarkWriting() {
    const auto library = [] {
        zaMemoryOStream stream;
        writeBlocks(stream);
        check(stream.getData().size() == kWritten * kMiB);
    };
    const auto standard = [] {
        std::ostringstream stream;
        writeBlocks(stream);
        check(stream.str().size() == kWritten * kMiB);
    };
    compare({"256 MiB written to memory in 4 KiB writes, then taken out",
             "MiB",
             kWritten,
             {{"zaMemoryOStream, getData", library}, {"std::ostringstream, str", standard}},
             25});
}

void readPieces(std::streambuf& buffer) {
    buffer.pubseekpos(0, std::ios::in);
    unsigned int sum = 0;
    char piece[4];
    for (int i = 0; i < kPieces; ++i) {
        buffer.sgetn(piece, sizeof piece);
        sum += static_cast<unsigned char>(piece[3]);
    }
    check(sum == 'x' * static_cast<unsigned int>(kPieces));
}

void benchmarkReading() {
    const std::vector<char> data(4 * kPieces, 'x');
    zaMemoryIStreamBuf library(data);
    std::stringbuf standard({data.begin(), data.end()}, std::ios::in);
    compare({"sgetn of 4 bytes from memory",
             "piece",
             kPieces,
             {{"zaMemoryIStreamBuf", [&] { readPieces(library); }},
              {"std::stringbuf", [&] { readPieces(standard); }}}});
}

void readFile(std::istream& stream, std::size_t pieceSize) {
    std::vector<char> piece(pieceSize);
    std::size_t size = 0;
    while (stream.read(piece.data(), static_cast<std::streamsize>(pieceSize)), stream.gcount() > 0)
        size += static_cast<std::size_t>(stream.gcount());
    check(size == kFile * kMiB);
}

void readFileStandard(const std::string& path, std::size_t bufferSize, std::size_t pieceSize) {
    std::vector<char> buffer(bufferSize);
    std::ifstream stream;
    if (bufferSize > 0) {
        stream.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(bufferSize));
    }
    stream.open(path, std::ios::binary);
    readFile(stream, pieceSize);
}

void benchmarkFile(const std::string& path, std::size_t pieceSize) {
    std::vector<Contender> contenders{{"cached_ifstream, 1 MiB", [&] {
                                           cached_ifstream stream(path.c_str(), kMiB);
                                           readFile(stream, pieceSize);
                                       }}};
    for (const std::size_t size : {std::size_t{0}, kMiB / 16, kMiB / 4, kMiB, 4 * kMiB}) {
        const std::string name = size > 0 ? std::to_string(size / 1024) + " KiB" : "as it comes";
        contenders.push_back(
            {"std::ifstream, " + name, [=] { readFileStandard(path, size, pieceSize); }});
    }
    compare({"1 GiB read from a file in pieces of " + std::to_string(pieceSize / 1024) + " KiB",
             "MiB", kFile, contenders, 11});
}

void benchmarkFiles() {
    const BenchmarkFolder folder;
    const std::string path = folder.path("large");
    {
        std::ofstream file(path, std::ios::binary);
        const std::vector<char> block(kMiB, 'x');
        for (int i = 0; i < kFile; ++i)
            file.write(block.data(), static_cast<std::streamsize>(block.size()));
        check(file.good());
    }
    for (const std::size_t pieceSize : {std::size_t{4096}, kMiB / 16, kMiB, 4 * kMiB})
        benchmarkFile(path, pieceSize);
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> wanted(argv + 1, argv + argc);
    const std::pair<const char*, void (*)()> sections[] = {
        {"writing", benchmarkWriting}, {"reading", benchmarkReading}, {"files", benchmarkFiles}};
    for (const auto& [name, run] : sections) {
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end()) run();
    }
}
