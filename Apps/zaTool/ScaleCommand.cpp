#include "ScaleCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ByteProgress.h"
#include "ExitCode.h"
#include "FileWalk.h"
#include "InputFile.h"
#include "KernelSheet.h"
#include "OptionChecks.h"
#include "OutputFile.h"
#include "Picture.h"
#include "TerminalText.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Progress/zaConsoleProgress.h"
#include "zaUtils/Progress/zaStackedProgress.h"

namespace {

using Sample = ImagePixelHandler::Sample;

struct Options {
    std::vector<std::string> names;
    std::string size;
    std::string volume;
    std::string kernel = "lanczos3";
    double width = ImageScaling::kUsualWidth;
    bool linearLight = false;
    bool compare = false;
};

// --- what the options say ---

/// The numbers of "640x480" or "64x64x32"; empty for anything else.
std::vector<int> numbersOf(const std::string& text) {
    constexpr std::size_t kMaxDigits = 9;
    std::vector<int> numbers;
    std::size_t at = 0;
    while (at <= text.size()) {
        const std::size_t end = std::min(text.find('x', at), text.size());
        const std::string digits = text.substr(at, end - at);
        if (!checkDecimal(digits).empty() || digits.size() > kMaxDigits) return {};
        numbers.push_back(std::atoi(digits.c_str()));
        at = end + 1;
    }
    const bool hasZero = std::find(numbers.begin(), numbers.end(), 0) != numbers.end();
    return hasZero ? std::vector<int>() : numbers;
}

std::optional<Sample> sampleNamed(const std::string& name) {
    if (name == "uint8") return Sample::UInt8;
    if (name == "uint16") return Sample::UInt16;
    if (name == "half") return Sample::Half;
    if (name == "float") return Sample::Float;
    return std::nullopt;
}

std::string checkSize(const std::string& text) {
    const std::size_t count = numbersOf(text).size();
    return count == 2 || count == 3 ? "" : "must be WxH, or WxHxD for a volume, with sizes above 0";
}

std::string checkVolume(const std::string& text) {
    const std::size_t colon = text.find(':');
    const bool isGood = colon != std::string::npos && sampleNamed(text.substr(colon + 1)) &&
                        numbersOf(text.substr(0, colon)).size() == 3;
    return isGood ? "" : "must be WxHxD:type, the type one of uint8, uint16, half, float";
}

std::string checkKernel(const std::string& text) {
    if (ImageScaling::makeKernel(text)) return {};
    std::string names;
    for (const std::string& name : ImageScaling::getKernelNames())
        names += (names.empty() ? "" : ", ") + name;
    return "must be one of " + names;
}

std::string checkWidth(const std::string& text) {
    char* end = nullptr;
    const double width = std::strtod(text.c_str(), &end);
    const bool isGood = !text.empty() && *end == '\0' && width >= 0.0 && width <= 1e6;
    return isGood ? "" : "must be a number from 0 to 1000000";
}

/// What the options need of each other.
void checkTogether(const Options& options) {
    if (options.names.size() < 2) throw CLI::ValidationError("IN and OUT", "are both needed");
    if (options.compare) {
        if (!options.size.empty() || !options.volume.empty())
            throw CLI::ValidationError("--compare", "takes neither --size nor --volume");
        return;
    }
    if (options.size.empty()) throw CLI::RequiredError("--size");
    const bool isVolume = !options.volume.empty();
    if (numbersOf(options.size).size() != (isVolume ? 3U : 2U))
        throw CLI::ValidationError(
            "--size", isVolume ? "must be WxHxD with --volume" : "must be WxH without --volume");
    if (isVolume && options.linearLight)
        throw CLI::ValidationError("--linear-light", "is for pictures");
}

// --- the work ---

int fail(const std::string& file, const std::string& problem) {
    reportProblem(file, problem);
    return ExitCode::kFailed;
}

/// @return what went wrong, empty when nothing did
std::string read(const std::string& file, const Options& options, Picture& picture) {
    InputFile input(file);
    std::string bytes;
    for (std::string piece; input.read(piece);)
        bytes += piece;
    if (!input.problem().empty()) return input.problem();
    if (options.volume.empty()) return decodePicture(bytes, picture);
    const std::size_t colon = options.volume.find(':');
    const std::vector<int> size = numbersOf(options.volume.substr(0, colon));
    picture.layout = {size[0],
                      size[1],
                      size[2],
                      1,
                      sampleNamed(options.volume.substr(colon + 1)).value_or(Sample::UInt8),
                      0};
    return takeSamples(bytes, picture);
}

/// Writes the file as a whole, or leaves what there was.
/// @return what went wrong, empty when nothing did
std::string write(OutputFile& file, const std::string& name, const Options& options,
                  const Picture& picture) {
    std::string bytes;
    if (options.volume.empty()) {
        std::string problem = encodePicture(name, picture, bytes);
        if (!problem.empty()) return problem;
        file.write(bytes);
    } else {
        file.write({reinterpret_cast<const char*>(picture.pixels.data()), picture.pixels.size()});
    }
    return file.commit() ? "" : file.problem();
}

/// @return false, with an error in the log, when it is not done, and without one when cancelled
bool scale(const Picture& picture, const Options& options, Picture& result) {
    if (options.compare) {
        result = makeKernelSheet(picture, options.width);
        return !result.pixels.empty();
    }
    const std::vector<int> size = numbersOf(options.size);
    const ImageScaling::Size newSize = {size[0], size[1], size.size() > 2 ? size[2] : 1};
    ImageScaling::Layout layout = picture.layout;
    if (options.linearLight && !picture.isLight) layout.options |= ImagePixelHandler::LinearLight;
    result.layout = {newSize.width,           newSize.height,        newSize.depth,
                     picture.layout.channels, picture.layout.sample, picture.layout.options};
    result.isLight = picture.isLight;
    result.pixels.resize(bytesOf(result.layout));
    return ImageScaling::scale(picture.pixels.data(), layout, result.pixels.data(), newSize,
                               options.kernel, options.width);
}

/// The same with its progress, where Ctrl-C cancels it.
bool scaleVisibly(const std::string& in, const Picture& picture, const Options& options,
                  Picture& result) {
    zaConsoleProgress console;
    showOnlyLongWork(console);
    const zaStackedProgress progress("Scaling " + withoutControlCharacters(in),
                                     options.compare ? kScalingsOfSheet : 1, &console);
    return scale(picture, options, result);
}

std::string describe(const Picture& picture) {
    const ImageScaling::Layout& layout = picture.layout;
    std::string text = std::to_string(layout.width) + "x" + std::to_string(layout.height);
    if (layout.depth > 1) text += "x" + std::to_string(layout.depth);
    return text + ", " + std::to_string(layout.channels) +
           (layout.channels == 1 ? " channel" : " channels");
}

/// @throws std::bad_alloc  there is not enough memory
int workOn(const std::string& in, const std::string& out, const Options& options) {
    if (options.volume.empty() && !isPictureName(out))
        return fail(out, "is not the name of a PNG, JPEG or HDR file");
    Picture picture, result;
    std::string problem = read(in, options, picture);
    if (!problem.empty()) return fail(in, problem);
    OutputFile file(out);
    if (!file.problem().empty()) return fail(out, file.problem());
    if (!scaleVisibly(in, picture, options, result))
        return zaStackedProgress::s_cancelled ? ExitCode::kInterrupted : fail(in, "is not scaled");
    problem = write(file, out, options, result);
    if (!problem.empty()) return fail(out, problem);
    if (out != "-")
        zaLog::infoIPython(withoutControlCharacters(out + ": " + describe(result)).c_str());
    return ExitCode::kSuccess;
}

int tryToWorkOn(const std::string& in, const std::string& out, const Options& options) {
    try {
        return workOn(in, out, options);
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    return fail(in, "needs more memory than there is");
}

bool isFolder(const std::string& name) {
    std::error_code ignored;
    return std::filesystem::is_directory(toStandardPath(name), ignored);
}

/// The file in a folder that `in` becomes. What cannot be written in its own format becomes a PNG.
std::string nameIn(const std::string& folder, const std::string& in, bool isVolume) {
    std::filesystem::path name = toStandardPath(in).filename();
    if (!isVolume && !isPictureName(in)) name.replace_extension(".png");
    return (toStandardPath(folder) / name).u8string();
}

int run(const Options& options) {
    const std::string& out = options.names.back();
    const bool toFolder = isFolder(out);
    const std::vector<std::string> ins(options.names.begin(), options.names.end() - 1);
    if (ins.size() > 1 && !toFolder) return fail(out, "is no folder, which several files need");
    // A request to stop holds until this level ends, after all files.
    const zaStackedProgress work("Scaling", static_cast<double>(ins.size()), nullptr);
    int exitCode = ExitCode::kSuccess;
    for (const std::string& in : ins) {
        if (work.cancelled()) break;
        const std::string target = toFolder ? nameIn(out, in, !options.volume.empty()) : out;
        exitCode = ExitCode::worse(exitCode, tryToWorkOn(in, target, options));
    }
    return work.cancelled() ? ExitCode::kInterrupted : exitCode;
}

}  // namespace

void addScaleCommand(CLI::App& app, int& exitCode) {
    CLI::App& scale = *app.add_subcommand("scale", "Scales pictures and volumes");
    const auto options = std::make_shared<Options>();
    scale.add_option("IN OUT", options->names, "Files to read, and the file or folder to write")
        ->required()
        ->type_name("");
    scale.add_option("--size", options->size, "The new size")
        ->check(checkSize)
        ->type_name("WxH[xD]");
    scale.add_option("--filter", options->kernel, "The kernel, lanczos3 unless told")
        ->check(checkKernel)
        ->type_name("NAME");
    scale.add_option("--width", options->width, "Half the kernel's width in samples")
        ->check(checkWidth)
        ->type_name("W");
    scale.add_flag("--linear-light", options->linearLight, "Add up light instead of sRGB numbers");
    scale.add_option("--volume", options->volume, "The files hold nothing but samples of a volume")
        ->check(checkVolume)
        ->type_name("WxHxD:TYPE");
    scale.add_flag("--compare", options->compare,
                   "Write one picture that shows what each kernel makes of IN");
    scale.footer(
        "\nReads PNG, JPEG, BMP, TGA and HDR, writes PNG, JPEG and HDR. Kernels: box, linear, "
        "gaussian,\nhamming, blackman, lanczos3. Types of samples: uint8, uint16, half, float.\n\n"
        "Exit code: 0 all done, 3 a file cannot be read or written, 64 the command line is wrong.");
    scale.callback([options, &exitCode] {
        checkTogether(*options);
        exitCode = run(*options);
    });
}
