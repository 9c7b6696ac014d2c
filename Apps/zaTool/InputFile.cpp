#include "InputFile.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include "LastReason.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaConsole.h"

InputFile::InputFile(std::string name) : _name(std::move(name)) {
    if (_name == "-") {
        _label = "standard input";
        zaConsole::setBinary(zaConsole::Stream::Input);
        return;
    }
    _label = _name;
    errno = 0;
    _file.emplace(_name.c_str(), 0);  // chunks are large enough without a buffer
    if (_file->is_open()) {
        _size = zaFile::getFileSize(_name);
    } else {
        _problem = "cannot be read: " + lastReason();
    }
}

bool InputFile::read(std::string& bytes) {
    bytes.clear();
    if (!_problem.empty()) return false;
    bytes.resize(kChunk);
    errno = 0;
    bytes.resize(readSome(bytes.data()));
    const bool failed = _file ? _file->bad() : std::ferror(stdin) != 0;
    if (failed) _problem = "cannot be read: " + lastReason();
    return !failed && !bytes.empty();
}

std::size_t InputFile::readSome(char* target) {
    if (!_file) return std::fread(target, 1, kChunk, stdin);
    _file->read(target, kChunk);
    return static_cast<std::size_t>(_file->gcount());
}
