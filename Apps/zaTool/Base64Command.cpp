#include "Base64Command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "Base64Decoder.h"
#include "Conversion.h"
#include "OptionChecks.h"
#include "zaUtils/Encoding/zaBase64.h"

namespace {

struct Options {
    std::string input = "-";
    std::string output = "-";
    std::size_t wrap = 76;
    bool ignoreGarbage = false;
};

/// Encodes bytes that come in pieces, in lines of so many characters (0: in one line, without an
/// end).
class Encoder {
public:
    explicit Encoder(std::size_t lineLength) : _lineLength(lineLength) {}

    void add(const std::string& bytes, std::string& text) {
        _bytes += bytes;
        const std::size_t whole = _bytes.size() / 3 * 3;
        encode(whole, text);
        _bytes.erase(0, whole);
    }

    void finish(std::string& text) {
        encode(_bytes.size(), text);
        if (_column > 0) text += '\n';
    }

private:
    void encode(std::size_t count, std::string& text) {
        _characters.clear();
        zaBase64::encode(_bytes.data(), static_cast<unsigned long>(count), _characters);
        if (_lineLength == 0) {
            text += _characters;
            return;
        }
        for (std::size_t done = 0; done < _characters.size();) {
            const std::size_t length = std::min(_lineLength - _column, _characters.size() - done);
            text.append(_characters, done, length);
            done += length;
            _column += length;
            if (_column < _lineLength) continue;
            text += '\n';
            _column = 0;
        }
    }

    std::size_t _lineLength;
    std::size_t _column = 0;
    std::string _bytes;  ///< of a group that is not whole
    std::string _characters;
};

int encode(const Options& options) {
    Encoder encoder(options.wrap);
    return convertFile(
        options.input, options.output,
        {"Encoding",
         [&](const std::string& bytes, std::string& text, std::string&) {
             encoder.add(bytes, text);
         },
         [&](const std::string&, std::string& text, std::string&) { encoder.finish(text); }});
}

std::string problemAt(std::uint64_t offset) {
    return "is no Base64: byte " + std::to_string(offset) + " is wrong";
}

int decode(const Options& options) {
    Base64Decoder decoder(options.ignoreGarbage);
    return convertFile(options.input, options.output,
                       {"Decoding",
                        [&](const std::string& text, std::string& bytes, std::string& problem) {
                            if (!decoder.add(text, bytes)) problem = problemAt(decoder.firstBad());
                        },
                        [&](const std::string&, std::string&, std::string& problem) {
                            if (!decoder.finish()) problem = problemAt(decoder.firstBad());
                        }});
}

void addFiles(CLI::App& command, Options& options) {
    command.add_option("FILE", options.input, "The file to read, standard input unless given")
        ->type_name("");
    command
        .add_option("-o,--output", options.output, "The file to write instead of standard output")
        ->type_name("FILE");
}

}  // namespace

void addBase64Command(CLI::App& app, int& exitCode) {
    CLI::App& base64 = *app.add_subcommand("base64", "Encodes and decodes Base64");
    base64.require_subcommand(1);
    base64.footer(
        "\nExit code: 0 done, 3 a file cannot be read or written or is no Base64, 64 the command "
        "line\nis wrong, 130 interrupted.");
    const auto options = std::make_shared<Options>();

    CLI::App& encoding = *base64.add_subcommand("encode", "Turns bytes into text");
    addFiles(encoding, *options);
    encoding
        .add_option("--wrap", options->wrap, "Characters in a line, 76 unless told; 0: no lines")
        ->check(checkDecimal)
        ->type_name("N");
    encoding.callback([options, &exitCode] { exitCode = encode(*options); });

    CLI::App& decoding = *base64.add_subcommand(
        "decode", "Turns text into bytes. Blanks and line breaks are skipped, nothing else");
    addFiles(decoding, *options);
    decoding.add_flag("--ignore-garbage", options->ignoreGarbage,
                      "Skip all characters that are not Base64");
    decoding.callback([options, &exitCode] { exitCode = decode(*options); });
}
