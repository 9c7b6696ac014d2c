#pragma once

/// ZAPRODUCT_API marks what the shared library exports.
#if !defined(_WIN32)
#define ZAPRODUCT_API __attribute__((visibility("default")))
#elif defined(ZAPRODUCT_BUILDING)
#define ZAPRODUCT_API __declspec(dllexport)
#else
#define ZAPRODUCT_API __declspec(dllimport)
#endif
