#pragma once

#include <fstream>

#include "zaUtils/Os/FileStream.h"

namespace za::os {

/// A file buffer on an open descriptor of the C library, which it takes over: the standard
/// library's own `stdio_filebuf`, but with the caller's memory, which counts only when it is known
/// before the file is open.
class AdoptedFile : public std::filebuf {
public:
    AdoptedFile(int descriptor, std::ios_base::openmode mode, IoBuffer buffer) {
        setbuf(buffer.data, static_cast<std::streamsize>(buffer.size));
        _M_file.sys_open(descriptor, mode);
        if (!is_open()) return;
        _M_allocate_internal_buffer();
        _M_mode = mode;
        _M_reading = false;
        _M_writing = false;
        _M_set_buffer(-1);
    }
};

/// Moves the descriptor into a closed file buffer; closes it with `close` when that fails.
inline bool adopt(int descriptor, std::ios_base::openmode mode, IoBuffer buffer, std::filebuf& file,
                  int (*close)(int)) {
    AdoptedFile adopted(descriptor, mode | std::ios_base::binary, buffer);
    if (!adopted.is_open()) {
        close(descriptor);
        return false;
    }
    file.swap(adopted);
    return true;
}

}  // namespace za::os
