#pragma once

#include "zaProduct/Api.h"

/// What the product is called. A library of its own, so that one build of everything above it can
/// serve under several names.
///
/// The names are those of the CMake variables ZAPRODUCT_NAME and ZAPRODUCT_FULL_NAME when this
/// library was configured. UTF-8, never null, valid as long as the library is loaded. Thread-safe.
class ZAPRODUCT_API zaProduct {
public:
    /// The one product of the process.
    static const zaProduct& the();

    /// The short name, which also names folders.
    const char* getName() const;
    /// The name in full, as the user reads it.
    const char* getFullName() const;

    zaProduct(const zaProduct&) = delete;
    zaProduct& operator=(const zaProduct&) = delete;

private:
    zaProduct() = default;
};
