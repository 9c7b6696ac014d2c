#include "zaUtils/Messages/zaMessage.h"

#include <boost/core/demangle.hpp>
#include <cstdio>

zaMessage::zaMessage(std::uint64_t id) : _id(id) {}

zaMessage::zaMessage(std::uint64_t id, const std::string& name, const boost::any& value)
    : zaMessage(id) {
    set(name, value, true);
}

zaMessage::zaMessage(std::uint64_t id, const std::string& name1, const boost::any& value1,
                     const std::string& name2, const boost::any& value2)
    : zaMessage(id, name1, value1) {
    set(name2, value2, true);
}

zaMessage::zaMessage(std::uint64_t id, const std::string& name1, const boost::any& value1,
                     const std::string& name2, const boost::any& value2, const std::string& name3,
                     const boost::any& value3)
    : zaMessage(id, name1, value1, name2, value2) {
    set(name3, value3, true);
}

// The attributes are deliberately left out of both copies.

zaMessage::zaMessage(const zaMessage& other) : _values(other._values), _id(other._id) {}

zaMessage& zaMessage::operator=(const zaMessage& other) {
    _values = other._values;
    _id = other._id;
    return *this;
}

void zaMessage::set(const std::string& name, const boost::any& value, bool overwrite) {
    if (overwrite) {
        _values.insert_or_assign(name, value);
    } else {
        _values.try_emplace(name, value);
    }
}

const boost::any& zaMessage::get(const std::string& name) const {
    static const boost::any empty;
    const auto found = _values.find(name);
    return found == _values.end() ? empty : found->second;
}

bool zaMessage::exists(const std::string& name) const {
    return _values.count(name) != 0;
}

void zaMessage::remove(const std::string& name) {
    _values.erase(name);
}

void zaMessage::clear() {
    _values.clear();
}

const zaMessage::ValueMap& zaMessage::getMap() const {
    return _values;
}

void zaMessage::setId(std::uint64_t id) {
    _id = id;
}

std::uint64_t zaMessage::id() const {
    return _id;
}

void zaMessage::addAttribute(const std::string& name, const std::string& text) {
    if (!name.empty() && !text.empty()) _attributes[name] = text;
}

std::string zaMessage::getAttibute(const std::string& name) const {
    const auto found = _attributes.find(name);
    return found == _attributes.end() ? std::string() : found->second;
}

zaMessage::AttributeMap zaMessage::getAttibutes() const {
    return _attributes;
}

void zaMessage::printBT() {}

void zaMessage::reportWrongType(const std::string& name, const std::type_info& is,
                                const std::type_info& required) {
    std::fprintf(stderr, "getFromMessage : Attribute '%s' has wrong type (is:'%s' != req:'%s')!\n",
                 name.c_str(), boost::core::demangle(is.name()).c_str(),
                 boost::core::demangle(required.name()).c_str());
    printBT();
}
