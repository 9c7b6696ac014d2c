#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/File.h"

/// Opens and closes the file for each line: it is on disk when the call returns, and other
/// processes may read or move the file between messages. A line that cannot be written is lost
/// silently.
void zaLog::addToLogFile(const std::string& line) {
    za::os::File file;
    if (!file.open(_log_file, za::os::OpenMode::AppendText).ok()) return;
    static_cast<void>(file.write(line.data(), line.size()));
}
