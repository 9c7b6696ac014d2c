// Writes checksum footers to copies of real files, verifies them, finds a flipped byte, lets a
// metadata block follow the footer, and asks before a file is overwritten.
//
// usage: ChecksummedFiles SCRATCH_FOLDER ANSWERS FILE...
//
// ANSWERS answers the questions in turn: a list of "yes", "no" and "cancel", separated by commas.
// Exits with 0 when everything came out as it should.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Messages/zaMessage.h"
#include "zaUtils/Platform/zaConsole.h"
#include "zaUtils/Platform/zaUtils.h"
#include "zaUtils/Strings/zaString.h"

namespace {

constexpr int kHeadSize = 8;  // left out of the checksums, as a file format's own header may be

std::vector<std::string> g_answers;

/// Says what came of a step; one that went wrong ends the program.
void expect(bool asItShould, const std::string& outcome) {
    std::fflush(stdout);  // the log writes past it
    if (asItShould) {
        zaLog::info("  %s", outcome.c_str());
        return;
    }
    zaLog::error("  NOT AS IT SHOULD BE: %s", outcome.c_str());
    std::exit(EXIT_FAILURE);
}

/// The application's part in the library's questions.
bool answerQuestion(const char* name, zaMessage& message, int) {
    std::string text;
    getFromMessage(message, "text", text);
    zaString::replace(text, "\n", " ");
    if (!message.exists("button0") || g_answers.empty()) {
        zaLog::warning("  %s: %s", name, text.c_str());
        return true;
    }
    const std::string answer = g_answers.front();
    g_answers.erase(g_answers.begin());
    message.set("button", answer == "yes" ? 0 : answer == "no" ? 1 : 2, true);
    zaLog::info("  asked '%s', answered '%s'", text.c_str(), answer.c_str());
    return true;
}

std::string sizeOf(const std::string& path) {
    return std::to_string(zaFile::getFileSize(path)) + " bytes";
}

std::string hex(unsigned int crc) {
    char text[9];
    std::snprintf(text, sizeof text, "%08X", crc);
    return text;
}

/// Verifies a file by the library's own report, which goes to standard output.
bool isCorrect(const std::string& path) {
    unsigned int crc = 0;
    std::printf("  check '%s': ", zaFile::getFileName(path).c_str());
    const bool unharmed = zaFile::checkChecksum(path, crc, kHeadSize);
    return unharmed && crc != 0;
}

/// Flips the lowest bit of the byte in the middle of the file.
void flipAByte(const std::string& path) {
    std::string content;
    zaFile::read(path, content);
    char& byte = content[content.size() / 2];
    byte = static_cast<char>(byte ^ 1);
    zaFile::write(path, content);
}

void writeChecksummedCopy(const std::string& source, const std::string& copy) {
    const bool copied = zaFile::copy(source, copy);
    expect(copied && zaFile::getFileSize(copy) == zaFile::getFileSize(source),
           "copied, " + sizeOf(copy));
    const unsigned int crc = zaFile::getChecksum(copy, kHeadSize);
    const bool appended = zaFile::appendChecksum(copy, crc);
    expect(crc != 0 && appended,
           "appended a footer with checksum " + hex(crc) + ", now " + sizeOf(copy));
    expect(isCorrect(copy), "verified");
}

void findAFlippedByte(const std::string& copy) {
    const std::string damaged = copy + ".damaged";
    zaFile::copy(copy, damaged);
    flipAByte(damaged);
    expect(!isCorrect(damaged), "a byte flipped in the middle of another copy is found");
}

void appendMetadata(const std::string& copy) {
    const std::string content = "author: someone; unit: mm\n";
    char footer[17];
    std::snprintf(footer, sizeof footer, "ZARNMETA%08X",
                  static_cast<unsigned int>(content.size() + 16));
    expect(zaFile::append(copy, content + footer), "appended a metadata block");
    expect(isCorrect(copy), "verified again");
}

void askBeforeOverwriting(const std::string& copy) {
    expect(!zaFile::checkWrite(copy, true, true), "so the file may not be written");
    expect(zaFile::checkWrite(copy, true, true), "so the file may be written");
}

void showTheKindsOfMessage() {
    zaLog::info("  an info: %d files checked", 3);
    zaLog::warning("  a warning: %s", "the disk is almost full");
    zaLog::error("  an error: %s", "cannot read the next file");
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments = zaConsole::getArguments(argc, argv);
    if (arguments.size() < 3) {
        std::fprintf(stderr, "usage: ChecksummedFiles SCRATCH_FOLDER ANSWERS FILE...\n");
        return EXIT_FAILURE;
    }
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    g_answers = zaString::getCommaSeparatedNames(arguments[1]);
    zaUtils::init(answerQuestion);

    const std::string folder = arguments[0] + u8"\\Prüfsummen 検査";
    expect(zaFile::createPath(folder), "made the folder '" + folder + "'");
    std::vector<std::string> copies;
    for (std::size_t i = 2; i < arguments.size(); ++i) {
        std::printf("%s\n", arguments[i].c_str());
        copies.push_back(folder + '\\' + zaFile::getFileName(arguments[i]) + ".checked");
        writeChecksummedCopy(arguments[i], copies.back());
        findAFlippedByte(copies.back());
        appendMetadata(copies.back());
    }
    std::printf("Overwriting\n");
    std::fflush(stdout);
    askBeforeOverwriting(copies.front());
    std::printf("Kinds of message\n");
    std::fflush(stdout);
    showTheKindsOfMessage();
    return EXIT_SUCCESS;
}
