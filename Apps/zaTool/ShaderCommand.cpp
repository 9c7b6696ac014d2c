#include "ShaderCommand.h"

#include <zstd.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "Conversion.h"
#include "OptionChecks.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

constexpr std::uint64_t kMaxLength = std::numeric_limits<std::uint32_t>::max();

struct Options {
    std::string input;
    std::string output = "-";
    int level = 19;
    std::uint64_t maxSize = 1 << 28;
};

void appendLength(std::uint64_t length, std::string& bytes) {
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(length >> shift);
}

/// Packs text that comes in pieces: the two lengths, lowest byte first, and one zstd frame.
class Packer {
public:
    explicit Packer(int level) : _context(ZSTD_createCCtx(), ZSTD_freeCCtx) {
        ZSTD_CCtx_setParameter(_context.get(), ZSTD_c_compressionLevel, level);
    }

    void add(const std::string& text, std::string& problem) {
        _length += text.size();
        if (_length > kMaxLength) problem = "is too long: a packed shader has 32-bit lengths";
        if (problem.empty()) compress(text, ZSTD_e_continue, problem);
    }

    void finish(std::string& blob, std::string& problem) {
        compress({}, ZSTD_e_end, problem);
        appendLength(_length, blob);
        appendLength(_frame.size(), blob);
        blob += _frame;
    }

private:
    void compress(const std::string& text, ZSTD_EndDirective directive, std::string& problem) {
        ZSTD_inBuffer input{text.data(), text.size(), 0};
        std::string room(ZSTD_CStreamOutSize(), '\0');
        std::size_t left = 0;
        do {
            ZSTD_outBuffer output{room.data(), room.size(), 0};
            left = ZSTD_compressStream2(_context.get(), &output, &input, directive);
            if (ZSTD_isError(left)) {
                problem = std::string("cannot be packed: ") + ZSTD_getErrorName(left);
                return;
            }
            _frame.append(room, 0, output.pos);
        } while (input.pos < input.size || (directive == ZSTD_e_end && left > 0));
    }

    std::unique_ptr<ZSTD_CCtx, std::size_t (*)(ZSTD_CCtx*)> _context;
    std::uint64_t _length = 0;
    std::string _frame;
};

int pack(const Options& options) {
    Packer packer(options.level);
    return convertFile(options.input, options.output,
                       {"Packing",
                        [&](const std::string& text, std::string&, std::string& problem) {
                            packer.add(text, problem);
                        },
                        [&](const std::string&, std::string& blob, std::string& problem) {
                            packer.finish(blob, problem);
                        }});
}

int unpack(const Options& options) {
    std::string blob;
    return convertFile(options.input, options.output,
                       {"Unpacking",
                        [&](const std::string& piece, std::string&, std::string& problem) {
                            blob += piece;
                            if (blob.size() > kMaxLength)
                                problem = "is no packed shader: it is too long";
                        },
                        [&](const std::string&, std::string& text, std::string& problem) {
                            const auto* bytes = reinterpret_cast<const unsigned char*>(blob.data());
                            if (zaUtils::unpackShader(bytes, blob.size(), options.maxSize, text))
                                return;
                            problem = "is no packed shader, is damaged, or unpacks to more than " +
                                      std::to_string(options.maxSize) + " bytes (--max-size)";
                        }});
}

void addFiles(CLI::App& command, Options& options) {
    command.add_option("FILE", options.input, "The file to read, - for standard input")
        ->required()
        ->type_name("");
    command
        .add_option("-o,--output", options.output, "The file to write instead of standard output")
        ->type_name("FILE");
}

}  // namespace

void addShaderCommand(CLI::App& app, int& exitCode) {
    CLI::App& shader = *app.add_subcommand("shader", "Packs and unpacks shader text");
    shader.require_subcommand(1);
    shader.footer(
        "\nExit code: 0 done, 3 a file cannot be read or written or is no packed shader, 64 the "
        "command\nline is wrong, 130 interrupted.");
    const auto options = std::make_shared<Options>();

    CLI::App& packing = *shader.add_subcommand("pack", "Packs text as the library unpacks it");
    addFiles(packing, *options);
    packing.add_option("--level", options->level, "From 1, fast, to 22, small; 19 unless told")
        ->check(CLI::Range(1, 22))
        ->type_name("N");
    packing.callback([options, &exitCode] { exitCode = pack(*options); });

    CLI::App& unpacking = *shader.add_subcommand("unpack", "Unpacks the text again");
    addFiles(unpacking, *options);
    unpacking
        .add_option("--max-size", options->maxSize,
                    "Refuse what unpacks to more than so many bytes, 256 MiB unless told")
        ->check(checkDecimal)
        ->type_name("N");
    unpacking.callback([options, &exitCode] { exitCode = unpack(*options); });
}
