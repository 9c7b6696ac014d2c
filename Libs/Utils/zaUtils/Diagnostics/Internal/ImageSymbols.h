#pragma once

#include <cstddef>
#include <cstdint>

namespace za::diagnostics {

/// What is asked about an address of an image, and the answer. Texts lie in the image's memory.
struct SymbolQuery {
    std::uint64_t offset = 0;  ///< from where the image is loaded

    const char* symbol = nullptr;     ///< as in the symbol table; null: unknown
    const char* directory = nullptr;  ///< of the file; null: part of its name, or unknown
    const char* file = nullptr;       ///< null: unknown
    std::uint32_t line = 0;
};

/// Answers questions about addresses from the file of a program or library: symbols of ELF and
/// COFF, lines of DWARF 2 to 5. Anything else gives no answer; so does debug information that is
/// compressed or lies in another file.
///
/// For the moment of a crash: allocates nothing, locks nothing, calls nothing. Reads the whole
/// table of lines, for all queries at once. Any bytes may come.
///
/// @param data  the bytes of the file
void findSymbols(const void* data, std::size_t size, SymbolQuery* queries, std::size_t count);

}  // namespace za::diagnostics
