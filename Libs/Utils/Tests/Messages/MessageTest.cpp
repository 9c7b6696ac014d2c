#include <gtest/gtest.h>

#include "zaUtils/Messages/zaMessage.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

int intOf(const zaMessage& message, const std::string& name) {
    int value = -1;
    getFromMessage(message, name, value);
    return value;
}

TEST(Message, ConstructorsSetIdAndValuesInOrder) {
    EXPECT_EQ(zaMessage().id(), 0u);
    EXPECT_EQ(zaMessage(0xFFFFFFFFFFFFFFFFu).id(), 0xFFFFFFFFFFFFFFFFu);
    const zaMessage two(7, "a", 1, "a", 2);
    EXPECT_EQ(two.id(), 7u);
    EXPECT_EQ(intOf(two, "a"), 2);
    const zaMessage three(8, "c", 1, "b", 2, "a", 3);
    std::string order;
    for (const auto& [name, value] : three.getMap())
        order += name;
    EXPECT_EQ(order, "abc");
}

TEST(Message, SetKeepsOrReplacesAsAsked) {
    zaMessage message;
    message.set("a", 2, true);
    message.set("a", 1, false);
    EXPECT_EQ(intOf(message, "a"), 2);
    message.set("a", 3, true);
    EXPECT_EQ(intOf(message, "a"), 3);
    message.set("b", 4, false);
    EXPECT_EQ(intOf(message, "b"), 4);
    message.remove("b");
    message.remove("never there");
    EXPECT_FALSE(message.exists("b"));
    EXPECT_TRUE(message.get("b").empty());
    EXPECT_EQ(&message.get("b"), &zaMessage().get("other"));
}

TEST(Message, ClearKeepsIdAndAttributes) {
    zaMessage message(5, "a", 1);
    message.addAttribute("unit", "mm");
    message.clear();
    EXPECT_TRUE(message.getMap().empty());
    EXPECT_EQ(message.id(), 5u);
    EXPECT_EQ(message.getAttibute("unit"), "mm");
}

TEST(Message, CopiesLeaveTheAttributesOut) {
    zaMessage source(5, "a", 1);
    source.addAttribute("unit", "mm");

    const zaMessage copy(source);
    EXPECT_EQ(copy.id(), 5u);
    EXPECT_EQ(intOf(copy, "a"), 1);
    EXPECT_TRUE(copy.getAttibutes().empty());

    zaMessage target(6, "b", 2);
    target.addAttribute("unit", "inch");
    target = source;
    EXPECT_EQ(target.id(), 5u);
    EXPECT_FALSE(target.exists("b"));
    EXPECT_EQ(target.getAttibute("unit"), "inch");

    source.set("a", 9, true);
    EXPECT_EQ(intOf(target, "a"), 1);
    target = *&target;
    EXPECT_EQ(intOf(target, "a"), 1);

    const zaMessage moved(std::move(source));
    EXPECT_TRUE(moved.getAttibutes().empty());
}

TEST(Message, AttributesNeedNameAndText) {
    zaMessage message;
    message.addAttribute("", "text");
    message.addAttribute("name", "");
    EXPECT_TRUE(message.getAttibutes().empty());
    message.addAttribute("name", "one");
    message.addAttribute("name", "two");
    message.addAttribute("name", "");
    EXPECT_EQ(message.getAttibutes(), (zaMessage::AttributeMap{{"name", "two"}}));
    EXPECT_EQ(message.getAttibute("other"), "");
}

TEST(Message, TypedReadingTakesTheExactTypeOnly) {
    const zaMessage message(0, "int", 5, "text", std::string("five"), "c string", "five");
    std::string text = "before";
    CaptureStderr();
    EXPECT_FALSE(getFromMessage(message, "missing", text));
    EXPECT_EQ(GetCapturedStderr(), "");

    EXPECT_TRUE(getFromMessage(message, "text", text));
    EXPECT_EQ(text, "five");
    CaptureStderr();
    unsigned int number = 77;
    EXPECT_FALSE(getFromMessage(message, "int", number));
    EXPECT_EQ(number, 77u);
    EXPECT_EQ(
        GetCapturedStderr(),
        "getFromMessage : Attribute 'int' has wrong type (is:'int' != req:'unsigned int')!\n");

    CaptureStderr();
    EXPECT_FALSE(getFromMessage(message, "c string", text));
    const std::string report = GetCapturedStderr();
    EXPECT_NE(report.find("Attribute 'c string' has wrong type (is:'char const*' != req:'std::"),
              std::string::npos)
        << report;
}

bool answer(const char* name, zaMessage& message, int flags) {
    message.set("name", std::string(name), true);
    message.set("flags", flags, true);
    return flags > 0;
}

TEST(Hook, AnswersThroughTheMessage) {
    zaMessage message(3);
    EXPECT_FALSE(zaUtils::call("question", message, 1));
    EXPECT_TRUE(message.getMap().empty());

    zaUtils::init(answer);
    EXPECT_TRUE(zaUtils::call("question", message, 1));
    std::string name;
    EXPECT_TRUE(getFromMessage(message, "name", name));
    EXPECT_EQ(name, "question");
    EXPECT_EQ(intOf(message, "flags"), 1);
    EXPECT_FALSE(zaUtils::call("question", message, 0));
    EXPECT_TRUE(zaUtils::call("question", 2));

    zaUtils::init([](const char*, zaMessage& emptyMessage, int) {
        return emptyMessage.id() == 0 && emptyMessage.getMap().empty();
    });
    EXPECT_TRUE(zaUtils::call("question", 0));
    zaUtils::init(nullptr);
    EXPECT_FALSE(zaUtils::call("question", 2));
}

}  // namespace
