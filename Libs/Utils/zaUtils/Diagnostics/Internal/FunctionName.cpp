#include "zaUtils/Diagnostics/Internal/FunctionName.h"

#include <boost/core/demangle.hpp>
#include <cstdio>
#include <cstring>

namespace za::diagnostics {

namespace {

/// Writes the name in front of a mangled function's parameters, by the grammar of the Itanium C++
/// ABI. Types are passed over; a construct that is not known makes it give up.
class NameWriter {
public:
    NameWriter(const char* mangled, char* text, std::size_t size)
        : _at(mangled), _text(text), _size(size) {
        _text[0] = '\0';
    }

    bool write() { return writeName() && _length > 0; }

private:
    bool is(char c) const { return *_at == c; }
    bool isAnyOf(const char* characters) const {
        return *_at != '\0' && std::strchr(characters, *_at);
    }
    bool isDigit() const { return *_at >= '0' && *_at <= '9'; }
    bool take(char c) {
        if (!is(c)) return false;
        ++_at;
        return true;
    }
    bool take(const char* text) {
        const std::size_t length = std::strlen(text);
        if (std::strncmp(_at, text, length) != 0) return false;
        _at += length;
        return true;
    }

    void put(const char* text, std::size_t length) {
        if (_muted > 0) return;
        for (std::size_t i = 0; i < length && _length + 1 < _size; ++i)
            _text[_length++] = text[i];
        _text[_length] = '\0';
    }
    void put(const char* text) { put(text, std::strlen(text)); }
    void putSeparator() {
        if (_length > 0) put("::");
    }

    bool writeName() {
        if (++_depth > 64) return false;
        bool done = false;
        if (take('N')) {
            done = writeNested();
        } else if (take('Z')) {
            done = writeLocal();
        } else {
            done = writeUnqualified() && (!is('I') || writeArguments());
        }
        --_depth;
        return done;
    }

    bool writeNested() {
        while (isAnyOf("rVKRO"))
            ++_at;
        bool isFirst = true;
        while (!take('E')) {
            if (is('I')) {
                if (isFirst || !writeArguments()) return false;
                continue;
            }
            if (!isFirst) put("::");
            if (!writeUnqualified()) return false;
            isFirst = false;
        }
        return !isFirst;
    }

    /// Something inside a function: the function, its parameters, and then the name.
    bool writeLocal() {
        if (!writeName()) return false;
        while (!take('E')) {
            if (!skipType()) return false;
        }
        if (take('s')) return true;  // a text
        putSeparator();
        return writeName();
    }

    bool writeUnqualified() {
        while (take('L')) {
        }
        bool done = false;
        if (isDigit()) {
            done = writeSource();
        } else if (is('S')) {
            done = writeStandard();
        } else if (isAnyOf("CD")) {
            done = writeSpecial();
        } else if (take("Ul")) {
            while (!take('E')) {
                if (!skipType()) return false;
            }
            put("{lambda}");
            done = skipNumber();
        } else if (take("Ut")) {
            put("{unnamed}");
            done = skipNumber();
        } else {
            done = writeOperator();
        }
        while (done && take('B')) {
            ++_muted;
            done = writeSource();
            --_muted;
        }
        return done;
    }

    bool writeSource() {
        std::size_t length = 0;
        while (isDigit() && length < 100000)
            length = length * 10 + static_cast<std::size_t>(*_at++ - '0');
        if (length == 0 || std::memchr(_at, 0, length)) return false;
        constexpr const char* kAnonymous = "_GLOBAL__N";
        if (std::strncmp(_at, kAnonymous, std::strlen(kAnonymous)) == 0) {
            put("(anonymous namespace)");
        } else {
            put(_at, length);
        }
        _last = _at;
        _lastLength = length;
        _at += length;
        return true;
    }

    bool writeStandard() {
        constexpr struct {
            const char* code;
            const char* name;
        } kNames[] = {{"St", "std"},          {"Sa", "std::allocator"}, {"Sb", "std::basic_string"},
                      {"Ss", "std::string"},  {"Si", "std::istream"},   {"So", "std::ostream"},
                      {"Sd", "std::iostream"}};
        for (const auto& [code, name] : kNames) {
            if (!take(code)) continue;
            put(name);
            if (std::strcmp(code, "St") != 0 || is('I') || is('E')) return true;
            put("::");
            return writeUnqualified();
        }
        // What was named before: known to a full demangler.
        if (_muted == 0) return false;
        ++_at;
        while (isDigit() || (*_at >= 'A' && *_at <= 'Z'))
            ++_at;
        return take('_');
    }

    /// Constructors and destructors are called as the class.
    bool writeSpecial() {
        if (take('D'))
            put("~");
        else
            ++_at;
        if (!isDigit() || !_last) return false;
        ++_at;
        put(_last, _lastLength);
        return true;
    }

    bool writeOperator() {
        constexpr const char* kOperators[] = {
            "cl()", "ix[]", "eq==", "ne!=",   "lt<",      "gt>",       "le<=",       "ge>=",
            "aS=",  "pl+",  "mi-",  "ml*",    "dv/",      "rm%",       "pL+=",       "mI-=",
            "mL*=", "dV/=", "ls<<", "rs>>",   "pt->",     "nt!",       "aa&&",       "oo||",
            "pp++", "mm--", "an&",  "or|",    "eo^",      "co~",       "de*",        "ad&",
            "ng-",  "ps+",  "cm,",  "nw new", "na new[]", "dl delete", "da delete[]"};
        if (take("cv")) {
            put("operator type");
            return skipType();
        }
        for (const char* entry : kOperators) {
            if (std::strncmp(_at, entry, 2) != 0) continue;
            _at += 2;
            put("operator");
            put(entry + 2);
            return true;
        }
        return false;
    }

    bool writeArguments() {
        put("<...>");
        return skipArguments();
    }

    bool skipArguments() {
        ++_at;  // I or J
        while (!take('E')) {
            if (is('J')) {
                if (!skipArguments()) return false;
            } else if (take('L')) {
                if (!skipType()) return false;
                while (*_at != '\0' && !is('E'))
                    ++_at;
                if (!take('E')) return false;
            } else if (!skipType()) {
                return false;
            }
        }
        return true;
    }

    bool skipNumber() {
        while (isDigit())
            ++_at;
        return take('_');
    }

    bool skipType() {
        if (++_depth > 64) return false;
        ++_muted;
        const bool done = skipTypeInside();
        --_muted;
        --_depth;
        return done;
    }

    bool skipTypeInside() {
        while (isAnyOf("PROKVCGr"))
            ++_at;
        if (take("Dp") || take("Do")) return skipType();
        if (is('D') && _at[1] != '\0' && std::strchr("nacisudefh", _at[1])) {
            _at += 2;
            return true;
        }
        if (take('F')) {
            take('Y');
            while (!take('E')) {
                if (!skipType()) return false;
            }
            return true;
        }
        if (take('A')) return skipNumber() && skipType();
        if (take('M')) return skipType() && skipType();
        if (take('T')) return skipNumber() && (!is('I') || skipArguments());
        if (take('u')) return writeSource();
        if (isAnyOf("vwbcahstijlmxynofdegz")) {
            ++_at;
            return true;
        }
        return (is('N') || is('Z') || is('S') || isDigit()) && writeName();
    }

    const char* _at;
    char* _text;
    std::size_t _size;
    std::size_t _length = 0;
    int _muted = 0;
    int _depth = 0;
    const char* _last = nullptr;  ///< the class that a constructor belongs to
    std::size_t _lastLength = 0;
};

}  // namespace

void writeFunctionName(const char* symbol, char* text, std::size_t size) {
    const bool isMangled = symbol[0] == '_' && symbol[1] == 'Z';
    if (isMangled && NameWriter(symbol + 2, text, size).write()) return;
    std::snprintf(text, size, "%s", symbol);
}

std::string demangled(const char* symbol) {
    const bool isMangled = symbol[0] == '_' && symbol[1] == 'Z';
    return isMangled ? boost::core::demangle(symbol) : symbol;
}

// The last parenthesis closes the parameters; what opens it is looked for backwards, because
// "(anonymous namespace)" and "operator()" come before.
std::string withoutParameters(const std::string& function) {
    const std::size_t end = function.rfind(')');
    if (end == std::string::npos) return function;
    int depth = 0;
    for (std::size_t i = end + 1; i-- > 0;) {
        if (function[i] == ')') ++depth;
        if (function[i] == '(' && --depth == 0) return function.substr(0, i);
    }
    return function;
}

}  // namespace za::diagnostics
