#pragma once

#include <string>

/// Sets an environment variable of this process, in UTF-8.
void setTestVariable(const std::string& name, const std::string& value);
void unsetTestVariable(const std::string& name);

/// A variable that is set while this object lives.
class TestVariable {
public:
    TestVariable(const std::string& name, const std::string& value) : _name(name) {
        setTestVariable(name, value);
    }
    ~TestVariable() { unsetTestVariable(_name); }
    TestVariable(const TestVariable&) = delete;
    TestVariable& operator=(const TestVariable&) = delete;

private:
    std::string _name;
};
