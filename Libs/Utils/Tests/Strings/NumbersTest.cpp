#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Support/ClassicStreams.h"
#include "zaUtils/Strings/zaString.h"

namespace {

using namespace std::string_literals;

// Where another reader would differ: at the limits of each type and of what is too small, at
// malformed numbers and at those of other languages. Separated by '|'.
const std::string kTexts =
    "| |-|+|.|-.|0|-0|+0|--1|+-1|- 1|007|0x10|0X1p3|1_000|1,5| "
    "\t\n\v\f\r7|\xA0\x37|7\xA0|+5|+.5|.5|"
    "5.|5.e1|.e1|1..2|1.2.3|1e|1e+|1e-|-1e|1E5|1e5e5|1e5.5|1e 5|1d5|1e+-5|inf|-inf|infinity|nan|"
    "2147483647|2147483648|-2147483648|-2147483649|4294967295|4294967296|-4294967295|-4294967296|"
    "9223372036854775807|9223372036854775808|-9223372036854775808|-9223372036854775809|"
    "18446744073709551615|18446744073709551616|-18446744073709551615|-18446744073709551616|"
    "00000000000000000000000000000012|99999999999999999999999999|9007199254740993|16777217|"
    "3.4028235e38|3.4028235677973366e38|-3.4028236e38|1.7976931348623157e308|-1e309|"
    "1.7976931348623159e308|1e999999999999999999999|-1e-999999999999999999999|1.1754943e-38|1e-45|"
    "0e999999999999999999999|7.006492321624085e-46|7.1e-46|-7e-46|2.2250738585072011e-308|5e-324|"
    "2.4703282292062327e-324|2.4703282292062328e-324|0.000000000000000000000000000001e-300|"
    "100000000000000000000000000000000000000000e-41|100000000000000000000000000000000000000000";

std::string randomText(std::mt19937_64& random, const std::string& characters, std::size_t most) {
    std::string text(random() % (most + 1), '\0');
    for (char& c : text)
        c = characters[random() % characters.size()];
    return text;
}

/// Half of them numbers with something out of place now and then, half of them any characters.
std::string randomNumber(std::mt19937_64& random) {
    if (random() % 2 == 0) return randomText(random, " \n+-..00123456789eEx,naif", 12);
    std::string text = randomText(random, " \t\n\v\f\r", 1) + randomText(random, "-+", 1);
    text += randomText(random, random() % 2 ? "0123456789" : "09", 25);
    if (random() % 2) text += "." + randomText(random, "0123456789", random() % 8 ? 6 : 40);
    if (random() % 2) text += "e" + randomText(random, "-+", 1) + randomText(random, "01234", 3);
    return text + randomText(random, " e.,-\1z", 2);
}

class Numbers : public testing::TestWithParam<bool> {
protected:
    std::mt19937_64 _random{3};
    std::unique_ptr<CommaLocale> _comma = GetParam() ? std::make_unique<CommaLocale>() : nullptr;
    /// Streams are slow where they must change the C library's locale and back.
    const int _rounds = GetParam() ? 2000 : 100000;
};

INSTANTIATE_TEST_SUITE_P(WithPointOrCommaInTheLocale, Numbers, testing::Bool());

TEST_P(Numbers, AreReadAsAStreamReadsThem) {
    for (const std::string& text : zaString::split(kTexts, '|'))
        EXPECT_TRUE(isReadAlike(text)) << text;
    std::string text;
    for (int i = 0; i < 4 * _rounds; ++i)
        ASSERT_TRUE(isReadAlike(text = randomNumber(_random))) << testing::PrintToString(text);
}

TEST_P(Numbers, AreWrittenAsAStreamWritesThem) {
    for (const double value : {-0.0, 0.0001, 0.00009999995, 0.000099999949, 999999.4, 999999.5,
                               DBL_MAX, 5e-324, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
        EXPECT_TRUE(isWrittenAlike(value) && isWrittenAlike(static_cast<float>(value))) << value;
    }
    for (int i = 0; i < _rounds; ++i) {
        const std::uint64_t bits = _random() >> _random() % 64;
        ASSERT_TRUE(isWrittenAlike(bits) && isWrittenAlike(static_cast<std::int64_t>(bits)) &&
                    isWrittenAlike(static_cast<unsigned>(bits)) &&
                    isWrittenAlike(static_cast<int>(bits)))
            << bits;
        const double value = std::ldexp(static_cast<double>(bits), static_cast<int>(bits % 200));
        ASSERT_TRUE(isWrittenAlike(value) && isWrittenAlike(static_cast<float>(1 / value))) << bits;
    }
}

TEST_P(Numbers, HaveTextsThatNoLocaleChanges) {
    EXPECT_EQ((std::ostringstream() << 1234567).str(), GetParam() ? "1.234.567" : "1234567");
    EXPECT_EQ(zaString::setNum(0.1f), "0.1");
    EXPECT_EQ(zaString::setNum(1234567.0), "1.23457e+06");
    EXPECT_EQ(zaString::setNum(std::copysign(std::nan(""), -1.0)), "-nan");
    EXPECT_EQ(zaString::toInt("99999999999"), INT_MAX);
    EXPECT_EQ(zaString::toUInt("-1"), UINT_MAX);
    EXPECT_EQ(zaString::toDouble(" -2.5e-1x"), -0.25);
    EXPECT_EQ(zaString::toDouble("1e"), 0);
}

TEST(Digits, AreGroupedFromTheRightEndOfEachRun) {
    EXPECT_EQ(zaString::beautifyDigits("12-123 1234x123456", ",", 3), "12-123 1,234x123,456");
    EXPECT_EQ(zaString::beautifyDigits("3.1415926", ",", 3), "3.1,415,926");  // the fraction, too
    EXPECT_EQ(zaString::beautifyDigits("12", "00", 1), "1002");  // what is inserted is no run
    EXPECT_EQ(zaString::beautifyDigits("1234", ",", 0), "1234");
    EXPECT_EQ(zaString::beautifyDigits(UINT_MAX, ".", 3), "4.294.967.295");
}

TEST(Settings, AreReadAsValues) {
    const std::pair<std::string, std::vector<float>> rows[] = {
        {"FALSE or TRUE", {1}},
        {"xFALSEx 1e+00", {0}},
        {"", {0}},
        {"3.5 7", {3.5f}},
        {"2.5E+01 1", {25}},
        {"1e+01,2e+01;-3e-01 4", {10, 20, -0.3f}},
        {"1e+012e+02", {1e12f, 0}},  // whatever separates belongs to the piece
        {"1e5 2e5 3", {1e5f}},
        {"true 7e", {0}},
    };
    for (const auto& [text, values] : rows)
        EXPECT_EQ(zaString::getValuesFromString(text), values) << text;

    EXPECT_EQ(zaString::createStringFromValues({1, -0.25f, 1e10f}), "1 -0.25 1e+10 ");
    const std::vector<float> values = {1e6f, -1.23457e-5f, 3.40282e38f, 1.17549e-38f};
    EXPECT_EQ(zaString::getValuesFromString(zaString::createStringFromValues(values)), values);
}

TEST(Options, EndAtACommaAndAreTrueInOneSpelling) {
    EXPECT_EQ(zaString::getStringOption("red,green"), "red");
    EXPECT_EQ(zaString::getStringOption("red"), "red");
    EXPECT_EQ(zaString::getDoubleOption(" 2.5 mm,7"), 2.5);
    EXPECT_EQ(zaString::getDoubleOption("1e,5"), 0);

    EXPECT_TRUE(zaString::getBoolOption("a=true,b=false", "a"));
    EXPECT_TRUE(zaString::getBoolOption("ab=truely", "b"));  // no word boundaries
    for (const char* options : {"b=true,a=false", "a=True", "A=true", "a=1", "a =true", "a"})
        EXPECT_FALSE(zaString::getBoolOption(options, "a")) << options;
}

TEST(Text, DistanceCountsInsertionsDeletionsAndSubstitutions) {
    const auto& distance = zaString::getLevenshteinDistance;
    EXPECT_EQ(distance("", "abc") + distance("abc", ""), 6);
    EXPECT_EQ(distance("kitten", "sitting"), 3);
    EXPECT_EQ(distance("rosettacode", "raisethysword"), 8);
    EXPECT_EQ(distance("aba", "ababa") + distance("aaa", "aa"), 3);  // ends that overlap
    EXPECT_EQ(distance("abcab", "xabca") + distance("xabca", "abcab"), 4);
    EXPECT_EQ(distance(u8"é", "E"), 2);
}

TEST(Text, HashIsFnv1aOfTheBytes) {
    EXPECT_EQ(zaString::hash(""), "14695981039346656037");
    EXPECT_EQ(zaString::hash("foobar"), "9625390261332436968");
    EXPECT_EQ(zaString::hash("\xFF\0\0\1"s), "7593378366456883245");
}

}  // namespace
