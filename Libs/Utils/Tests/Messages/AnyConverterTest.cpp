#include <gtest/gtest.h>

#include <string>

#include "zaUtils/Messages/zaAnyConverter.h"

namespace {

using Converters = std::list<zaAnyConverter*>;

/// Converts values of one type; the text tells which converter it was.
template <typename T>
class Converter : public zaAnyConverter {
public:
    using zaAnyConverter::zaAnyConverter;
    std::string name() const { return _typeName; }

    bool convertToString(const boost::any& value, std::string& text,
                         std::string& typeName) override {
        text = _typeName;
        typeName = "mine";
        return boost::any_cast<T>(&value) != nullptr;
    }
    bool convertFromString(const std::string& typeName, const std::string& text,
                           boost::any& value) override {
        if (typeName != "mine" || text != _typeName) return false;
        value = T();
        return true;
    }
};

/// As a module has it: made before `main`, destroyed after it.
Converter<double> g_double("double");

TEST(AnyConverter, AsksThoseMadeFromANameInTheirOrderUntilOneAccepts) {
    ASSERT_EQ(zaAnyConverter::_converters, Converters{&g_double});
    {
        Converter<int> first("first");
        Converter<int> second("to be assigned");
        { const Converter<int> third("third"); }
        const Converter<int> copy(first);
        EXPECT_EQ(copy.name(), "first");
        second = Converter<int>("second");
        EXPECT_EQ(second.name(), "second");
        EXPECT_EQ(zaAnyConverter::_converters, (Converters{&g_double, &first, &second}));

        std::string text;
        std::string typeName;
        EXPECT_TRUE(zaAnyConverter::toString(5, text, typeName));
        EXPECT_EQ(text + "/" + typeName, "first/mine");
        boost::any value;
        EXPECT_TRUE(zaAnyConverter::fromString("mine", "second", value));
        EXPECT_EQ(boost::any_cast<int>(value), 0);
    }
    EXPECT_EQ(zaAnyConverter::_converters, Converters{&g_double});
}

TEST(AnyConverter, ComplainsOfATypeThatNobodyWritesButNotOfATextThatNobodyReads) {
    const std::string banner = "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!\n";
    const auto complaint = [&](const char* name) {
        return banner + "Tried to serialize unknown type ( " + name + " ), please register !!!\n" +
               banner;
    };
    std::string text = "before";
    std::string typeName = "before";
    boost::any value = 5;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(zaAnyConverter::toString(value, text, typeName));
    EXPECT_EQ(text + "/" + typeName, "/unknown");
    EXPECT_FALSE(zaAnyConverter::toString(boost::any(), text, typeName));
    EXPECT_FALSE(zaAnyConverter::fromString("unknown", "double", value));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), complaint("int") + complaint("void"));
    EXPECT_EQ(boost::any_cast<int>(value), 5);
}

}  // namespace
