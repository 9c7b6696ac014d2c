#pragma once

#include <string>

/// The address that the function in which this stands returns to: it lies in the caller's code.
#if defined(_MSC_VER)
#include <intrin.h>
#define ZAUTILS_OS_RETURN_ADDRESS() _ReturnAddress()
#else
#define ZAUTILS_OS_RETURN_ADDRESS() __builtin_return_address(0)
#endif

namespace za::os {

/// Loads a shared library; the handle is null on failure, whose reason is lastSystemError.
///
/// A name without a folder is looked for in the application's folder and the system's, never in the
/// working directory. With `searchItsFolder` the library's own dependencies are looked for in the
/// library's folder, where the system leaves that to the one who loads it.
void* loadLibrary(const std::string& path, bool searchItsFolder);

/// Gives one loading back; false when the system does not know the handle.
bool unloadLibrary(void* handle);

/// The address of an exported name; null when there is none.
void* librarySymbol(void* handle, const std::string& name);

/// Full path of a loaded library, and of the program for null; empty when unknown.
std::string libraryPath(void* handle);

/// Full path of the library or program that the code or data at the address belongs to.
std::string modulePathAt(const void* address);

}  // namespace za::os
