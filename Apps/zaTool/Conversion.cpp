#include "Conversion.h"

#include "ByteProgress.h"
#include "ExitCode.h"
#include "InputFile.h"
#include "OutputFile.h"
#include "TerminalText.h"

namespace {

int fail(const std::string& file, const std::string& problem) {
    reportProblem(file, problem);
    return ExitCode::kFailed;
}

enum class Outcome { Done, InputFailed, OutputFailed, Interrupted };

/// What is wrong is in `problem` when it is neither of the files' own.
Outcome convertAll(InputFile& input, OutputFile& output, const Conversion& conversion,
                   std::string& problem) {
    ByteProgress progress(conversion.verb, input.size());
    std::string piece, converted;
    while (input.read(piece)) {
        converted.clear();
        conversion.convert(piece, converted, problem);
        if (!output.write(converted)) return Outcome::OutputFailed;
        if (!problem.empty()) return Outcome::InputFailed;
        if (!progress.add(piece.size())) return Outcome::Interrupted;
    }
    if (!input.problem().empty()) return Outcome::InputFailed;
    converted.clear();
    conversion.finish({}, converted, problem);
    if (!problem.empty()) return Outcome::InputFailed;
    return output.write(converted) ? Outcome::Done : Outcome::OutputFailed;
}

}  // namespace

int convertFile(const std::string& input, const std::string& output, const Conversion& conversion) {
    InputFile source(input);
    if (!source.problem().empty()) return fail(source.label(), source.problem());
    OutputFile target(output);
    if (!target.problem().empty()) return fail(output, target.problem());

    std::string problem;
    switch (convertAll(source, target, conversion, problem)) {
        case Outcome::InputFailed:
            return fail(source.label(), problem.empty() ? source.problem() : problem);
        case Outcome::Interrupted:
            return ExitCode::kInterrupted;
        case Outcome::OutputFailed:
            break;
        case Outcome::Done:
            if (target.commit()) return ExitCode::kSuccess;
    }
    return fail(output == "-" ? "standard output" : output, target.problem());
}
