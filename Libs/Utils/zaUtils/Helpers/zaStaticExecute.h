#pragma once

#include <functional>

/// Calls a function when it is constructed: a static object of it runs code during static
/// initialisation.
///
/// @code
/// static const zaStaticExecute registerFormats([] { ... });
/// @endcode
class zaStaticExecute {
public:
    /// @throws std::bad_function_call when `function` is empty, and whatever it throws
    explicit zaStaticExecute(const std::function<void()>& function) { function(); }
};
