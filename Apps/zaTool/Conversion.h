#pragma once

#include <functional>
#include <string>

class InputFile;

/// The next part of a file's conversion: appends its output to `output`, or tells in `problem` what
/// is wrong with the input.
using ConvertPiece =
    std::function<void(const std::string& input, std::string& output, std::string& problem)>;

/// How a file becomes another one. Pieces of the input come in order.
struct Conversion {
    std::string verb;  ///< what is shown meanwhile: "Encoding"
    ConvertPiece convert;
    ConvertPiece finish;  ///< called once after the last piece, with no input
};

/// Converts the file `input` into `output` ("-" is standard input or output), with progress, and
/// asks before it replaces a file. Says on standard error what goes wrong; a file is not written
/// then.
/// @return the exit code
int convertFile(const std::string& input, const std::string& output, const Conversion& conversion);
