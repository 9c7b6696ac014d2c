#pragma once

#include <map>
#include <string>

/// Functions that crash, by what each does. All that they are made of is in a file of its own,
/// which is optimised as the library is.
const std::map<std::string, void (*)()>& crashes();
