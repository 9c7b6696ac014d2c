#include "TerminalQuestions.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Messages/zaMessage.h"
#include "zaUtils/Platform/zaConsole.h"
#include "zaUtils/Platform/zaUtils.h"
#include "zaUtils/Strings/zaString.h"

namespace {

/// A button's caption in the three parts around the letter that is marked by '&', if one is.
struct Button {
    std::string before;
    std::string marked;
    std::string after;

    std::string caption() const { return before + marked + after; }
    std::string shown() const {
        return marked.empty() ? before : before + '[' + marked + ']' + after;
    }
};

struct Question {
    std::string text;
    std::vector<Button> buttons;
    int defaultButton = 0;
    int escapeButton = 0;
};

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

Button parseButton(const std::string& label) {
    const std::size_t mark = label.find('&');
    if (mark == std::string::npos || mark + 1 == label.size()) return {label, {}, {}};
    std::size_t end = mark + 2;
    while (end < label.size() && isContinuationByte(label[end]))
        ++end;
    return {label.substr(0, mark), label.substr(mark + 1, end - mark - 1), label.substr(end)};
}

/// The index of a button in the message, or the given one when it names none.
int readButton(const zaMessage& message, const char* name, int otherwise, int count) {
    int button = otherwise;
    getFromMessage(message, name, button);
    return button >= 0 && button < count ? button : otherwise;
}

Question readQuestion(const zaMessage& message) {
    Question question;
    getFromMessage(message, "text", question.text);
    std::string label;
    for (const char* name : {"button0", "button1", "button2"}) {
        if (!getFromMessage(message, name, label)) break;
        question.buttons.push_back(parseButton(label));
    }
    const int count = static_cast<int>(question.buttons.size());
    question.defaultButton = readButton(message, "default button", 0, count);
    question.escapeButton = readButton(message, "escape button", count - 1, count);
    return question;
}

std::string describeChoices(const Question& question) {
    std::string text;
    for (std::size_t i = 0; i < question.buttons.size(); ++i) {
        if (i > 0) text += ", ";
        text += question.buttons[i].shown();
        if (static_cast<int>(i) == question.defaultButton) text += " (default)";
    }
    return text;
}

/// Shows a text on standard error. The log knows how to bring UTF-8 onto every terminal; its second
/// colour sets questions apart from errors.
void show(const std::string& text) {
    zaLog::errorI(text.c_str(), 0, true);
}

std::string trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// The button that an answer names; -1 for none.
int findButton(const Question& question, const std::string& answer) {
    const std::string wanted = zaString::toLower(answer);
    const auto isMeant = [&](const Button& button) {
        return zaString::toLower(button.caption()) == wanted ||
               zaString::toLower(button.marked) == wanted;
    };
    const auto& buttons = question.buttons;
    const auto found = std::find_if(buttons.begin(), buttons.end(), isMeant);
    return found == buttons.end() ? -1 : static_cast<int>(found - buttons.begin());
}

int askAtTerminal(const Question& question) {
    show(question.text);
    std::string line;
    for (;;) {
        show(describeChoices(question) + "?");
        if (!zaConsole::readLine(line)) return question.escapeButton;
        const std::string answer = trimmed(line);
        if (answer.empty()) return question.defaultButton;
        if (const int button = findButton(question, answer); button >= 0) return button;
    }
}

int answerForNobody(const Question& question) {
    constexpr std::size_t kNo = 1;
    const bool canRefuse = question.buttons.size() > kNo;
    const int button = canRefuse ? static_cast<int>(kNo) : question.escapeButton;
    const std::string caption = question.buttons[static_cast<std::size_t>(button)].caption();
    show(question.text + " " + caption + " (standard input is no terminal)");
    return button;
}

bool answer(const char* request, zaMessage& message, int) {
    if (std::strcmp(request, "showMainWarning") != 0) return false;
    const Question question = readQuestion(message);
    if (question.buttons.empty()) {
        show(question.text);
        return true;
    }
    const bool somebodyThere = zaConsole::isTerminal(zaConsole::Stream::Input);
    message.set("button", somebodyThere ? askAtTerminal(question) : answerForNobody(question),
                true);
    return true;
}

}  // namespace

void installTerminalQuestions() {
    zaUtils::init(answer);
}
