#pragma once

#include <boost/any.hpp>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <typeinfo>

#include "zaUtils/Api.h"

/// A request or an answer that crosses the boundary between this library and the application: an
/// id, named values of any type, and named text attributes.
///
/// Copies take over the id and the values but deliberately not the attributes: a copy starts with
/// none, and an assignment leaves the target's attributes as they were. Moving copies.
///
/// Thread safety: none; one message belongs to one thread at a time.
class ZAUTILS_API zaMessage {
public:
    using ValueMap = std::map<std::string, boost::any>;
    using AttributeMap = std::map<std::string, std::string>;

    zaMessage() = default;
    explicit zaMessage(std::uint64_t id);
    zaMessage(std::uint64_t id, const std::string& name, const boost::any& value);
    zaMessage(std::uint64_t id, const std::string& name1, const boost::any& value1,
              const std::string& name2, const boost::any& value2);
    zaMessage(std::uint64_t id, const std::string& name1, const boost::any& value1,
              const std::string& name2, const boost::any& value2, const std::string& name3,
              const boost::any& value3);
    zaMessage(const zaMessage& other);
    zaMessage& operator=(const zaMessage& other);
    ~zaMessage() = default;

    /// Stores a copy of `value`; an existing value of that name is replaced only if `overwrite`.
    void set(const std::string& name, const boost::any& value, bool overwrite);
    /// The stored value, or an empty one that all messages share. Valid until the value is removed.
    const boost::any& get(const std::string& name) const;
    bool exists(const std::string& name) const;
    void remove(const std::string& name);
    /// Erases all values; id and attributes stay.
    void clear();
    const ValueMap& getMap() const;

    void setId(std::uint64_t id);
    std::uint64_t id() const;

    /// Sets an attribute; nothing happens when `name` or `text` is empty.
    void addAttribute(const std::string& name, const std::string& text);
    /// The attribute's text, empty when there is none. (The spelling is the interface's own.)
    std::string getAttibute(const std::string& name) const;
    AttributeMap getAttibutes() const;

    /// Deliberately does nothing: the place for a stack print where a value of the wrong type is
    /// read.
    static void printBT();

    /// Reports on standard error that a value has another type than the one asked for.
    static void reportWrongType(const std::string& name, const std::type_info& is,
                                const std::type_info& required);

private:
    ValueMap _values;
    std::uint64_t _id = 0;
    AttributeMap _attributes;
};

/// Reads the value `name` of `message` into `value`.
///
/// False, leaving `value` alone, when there is no such value (silently) or when it has another type
/// than exactly T (reported on standard error): nothing is converted, an int is not read as
/// unsigned. Types are compared by name, so that a value made in another module is recognised.
template <typename T>
bool getFromMessage(const zaMessage& message, const std::string& name, T& value) {
    const boost::any& stored = message.get(name);
    if (stored.empty()) return false;
    if (std::strcmp(stored.type().name(), typeid(T).name()) != 0) {
        zaMessage::reportWrongType(name, stored.type(), typeid(T));
        return false;
    }
    value = *boost::unsafe_any_cast<T>(&stored);
    return true;
}
