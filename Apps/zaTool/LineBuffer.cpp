#include "LineBuffer.h"

#include <cstring>

namespace {

std::string_view withoutCarriageReturn(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

}  // namespace

char* LineBuffer::room(std::size_t size) {
    if (_begin > 0) {
        std::memmove(_bytes.data(), _bytes.data() + _begin, _end - _begin);
        _searched -= _begin;
        _end -= _begin;
        _begin = 0;
    }
    if (_bytes.size() < _end + size) _bytes.resize(_end + size);
    return _bytes.data() + _end;
}

bool LineBuffer::next(std::string_view& line) {
    if (_searched == _end) return false;
    const char* const start = _bytes.data() + _begin;
    const void* const found = std::memchr(_bytes.data() + _searched, '\n', _end - _searched);
    if (found) {
        const auto size = static_cast<std::size_t>(static_cast<const char*>(found) - start);
        line = withoutCarriageReturn({start, size});
        _begin += size + 1;
        _searched = _begin;
        return true;
    }
    _searched = _end;
    if (_end - _begin < kMaxLine) return false;
    return takeRest(line);
}

bool LineBuffer::takeRest(std::string_view& line) {
    if (_begin == _end) return false;
    line = withoutCarriageReturn({_bytes.data() + _begin, _end - _begin});
    _begin = _searched = _end;
    return true;
}
