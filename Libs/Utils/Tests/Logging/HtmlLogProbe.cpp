// Writes an HTML log with every kind of message, for a browser to show.
//
// usage: HtmlLogProbe FILE

#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Platform/zaConsole.h"

int main(int argc, char** argv) {
    constexpr int kEverywhere = zaLog::ToCallback | zaLog::ToLines;
    zaLog::setLogFormat(zaLog::Html);
    zaLog::setLogFile(zaConsole::getArguments(argc, argv).at(0).c_str());
    zaLog::info("an info");
    zaLog::warning("a warning: %d < %d && \"x\" > 'y'", 5, 6);
    zaLog::error(u8"an error: größe Ω ж <b>not bold</b> &amp;");
    zaLog::infoI("another info", kEverywhere, true);
    zaLog::warningI("two\n    lines   with   blanks", kEverywhere, true);
    zaLog::errorI("another error", kEverywhere, true);
    return zaLog::getLogFile() ? 0 : 1;
}
