#pragma once

#include <boost/any.hpp>
#include <list>
#include <string>

#include "zaUtils/Api.h"

/// Turns values of some types into text and back.
///
/// A module adds a converter for its own types by creating one, usually as a static object: each
/// converter that is constructed from a type name is asked by `toString` and `fromString` until it
/// is destroyed. They are asked in the order of their creation, and the first that accepts wins.
///
/// Thread safety: none; converters come and go during static initialisation and unloading, before
/// and after values are converted.
class ZAUTILS_API zaAnyConverter {
public:
    /// @param typeName  what the converter is for; stored and never looked at
    explicit zaAnyConverter(const std::string& typeName);
    /// A copy takes over the name only. It is deliberately not asked: only objects constructed from
    /// a name are.
    zaAnyConverter(const zaAnyConverter& other);
    zaAnyConverter& operator=(const zaAnyConverter& other);
    virtual ~zaAnyConverter();

    /// Writes the value's text, and the name of its type under which `convertFromString` knows it.
    /// @return whether the value is of a type that this converter handles
    virtual bool convertToString(const boost::any& value, std::string& text,
                                 std::string& typeName) = 0;
    /// Reads a value that `convertToString` wrote.
    /// @return whether the type is one that this converter handles, and `value` is set
    virtual bool convertFromString(const std::string& typeName, const std::string& text,
                                   boost::any& value) = 0;

    /// Asks the converters for the text of `value` and the name of its type.
    ///
    /// When none accepts: false, `text` empty, `typeName` "unknown", and a complaint that names the
    /// type on standard output.
    static bool toString(const boost::any& value, std::string& text, std::string& typeName);
    /// Asks the converters to read a value; false, silently, when none accepts.
    static bool fromString(const std::string& typeName, const std::string& text, boost::any& value);

    /// The registered converters in the order of their creation; not owned. Never destroyed.
    static std::list<zaAnyConverter*>& _converters;

protected:
    std::string _typeName;
};
