// Writes one message of each kind and colour to a real console and checks what the console shows.
// Run by console_test.py at one end of a pseudo-terminal. Exits with 0 when all is right.

#include "Support/Screen.h"
#include "zaUtils/Logging/zaLog.h"

int main() {
    // The attributes of the console, which starts green and intense (10).
    const struct {
        void (*log)(const char* msg, int flags, bool alternate);
        const char* text;
        bool alternate;
        int attributes;
    } messages[] = {
        {zaLog::infoI, "info", false, 10},
        {zaLog::infoI, "other info", true, 11},
        {zaLog::warningI, u8"warning ä日", false, 6},
        {zaLog::warningI, "other warning", true, 7},
        {zaLog::errorI, "error", false, 12},
        {zaLog::errorI, "other error", true, 13},
    };
    Screen screen;
    bool right = true;
    for (const auto& message : messages) {
        screen.mark();
        message.log(message.text, 6, message.alternate);
        right = screen.shows(message.text, message.attributes) && right;
    }
    right = screen.staysEmptyWithoutColours([] { zaLog::info("never shown"); }) && right;
    return right ? 0 : 1;
}
