#pragma once

/// ZAUTILS_API marks what the shared library exports. Programs that link the library's objects
/// directly (the library's own tests) define ZAUTILS_STATIC.
#if defined(ZAUTILS_STATIC)
#define ZAUTILS_API
#elif defined(_WIN32)
#ifdef ZAUTILS_BUILDING
#define ZAUTILS_API __declspec(dllexport)
#else
#define ZAUTILS_API __declspec(dllimport)
#endif
#else
#define ZAUTILS_API __attribute__((visibility("default")))
#endif

/// ZAUTILS_PRINTF(text, arguments) lets compilers that can do it check the arguments of a
/// printf-like function; the numbers count the function's parameters from 1. An `arguments` of 0
/// stands for a va_list.
#if defined(__MINGW32__) && !defined(__clang__)
#define ZAUTILS_PRINTF(text, arguments) __attribute__((format(gnu_printf, text, arguments)))
#elif defined(__GNUC__)
#define ZAUTILS_PRINTF(text, arguments) __attribute__((format(printf, text, arguments)))
#else
#define ZAUTILS_PRINTF(text, arguments)
#endif
