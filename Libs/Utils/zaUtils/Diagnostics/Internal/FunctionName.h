#pragma once

#include <cstddef>
#include <string>

namespace za::diagnostics {

/// The readable form of a function's name in a symbol table; a name that is not mangled stays.
std::string demangled(const char* symbol);

/// A readable function name without its parameters: "ns::K::f" of "ns::K::f(int) const".
std::string withoutParameters(const std::string& function);

/// The same of a name in a symbol table, for the moment of a crash: allocates nothing. Arguments of
/// templates are left out as well ("ns::K<...>::f"). What is beyond it stays mangled.
void writeFunctionName(const char* symbol, char* text, std::size_t size);

}  // namespace za::diagnostics
