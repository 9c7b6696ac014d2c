#pragma once

#include <mutex>
#include <string>

#include "zaUtils/Api.h"

/// The process-wide message log.
///
/// Messages are of three kinds: info, warning and error. One call writes a message to up to five
/// targets: the kind's callback, the console (coloured by kind), a caller's string, a caller's
/// stream buffer and the log file. An error also becomes the last error.
///
/// All texts are UTF-8. Logging reports no failure of its own: a failed write to the console is
/// silent.
///
/// Thread safety: the writing of one message is serialised by one lock, so messages of several
/// threads never interleave in any target. The settings are plain and unguarded: make them before
/// other threads log. A callback, or a stream buffer, runs under the lock and must not log; a
/// message logged from there goes to standard error alone.
class ZAUTILS_API zaLog {
public:
    /// Takes the raw text of a message, without time stamp or newline.
    using Callback = void (*)(const char* text);

    /// Bits of `flags` in the low-level calls. The bit of value 1 means nothing: the console is
    /// always written.
    enum Flags : int {
        ToCallback = 2,  ///< call the kind's callback
        ToLines = 4,     ///< write the line to string, stream buffer and file
    };

    /// Layouts of the line for string, stream buffer and file.
    enum Format : int { Plain = 1, Html = 2, Csv = 3 };

    /// @name Printf-like calls
    /// Format at most 2047 bytes (a longer message is cut without notice) and write the message to
    /// every target. Nothing happens, not even the formatting, while the log is disabled or when
    /// `format` is null. `nr` is stored as the number offset first and stays for every later
    /// message of every kind: one numbered call deliberately renumbers all that follow.
    /// Formatting allocates nothing.
    /// @{
    static void info(const char* format, ...) ZAUTILS_PRINTF(1, 2);
    static void info(int nr, const char* format, ...) ZAUTILS_PRINTF(2, 3);
    static void warning(const char* format, ...) ZAUTILS_PRINTF(1, 2);
    static void warning(int nr, const char* format, ...) ZAUTILS_PRINTF(2, 3);
    static void error(const char* format, ...) ZAUTILS_PRINTF(1, 2);
    static void error(int nr, const char* format, ...) ZAUTILS_PRINTF(2, 3);
    /// @}

    /// @name Literal calls
    /// Write `msg` as it stands, of any length, to every target; for texts that may hold a '%'.
    /// Here `nr` is stored even while the log is disabled.
    /// @{
    static void infoIPython(const char* msg);
    static void infoIPython(int nr, const char* msg);
    static void warningIPython(const char* msg);
    static void warningIPython(int nr, const char* msg);
    static void errorIPython(const char* msg);
    static void errorIPython(int nr, const char* msg);
    /// @}

    /// @name Low-level calls
    /// Write `msg` as it stands to the console and to the targets named by `flags` (see Flags).
    /// `alternate` selects the kind's second colour on the console and in HTML lines.
    /// A null `msg` is not written.
    /// @throws std::system_error   the lock cannot be taken
    /// @throws std::out_of_range   an empty line in plain or CSV layout: the message is empty, time
    ///                             stamps are off, and a line target is set
    /// @{
    static void infoI(const char* msg, int flags, bool alternate);
    static void warningI(const char* msg, int flags, bool alternate);
    static void errorI(const char* msg, int flags, bool alternate);
    /// @}

    /// @name Switched-off calls
    /// Deliberately do nothing: they keep a message in the code while it is switched off.
    /// @{
    static void infoNR(const char* format, ...) ZAUTILS_PRINTF(1, 2);
    static void warningNR(const char* format, ...) ZAUTILS_PRINTF(1, 2);
    static void errorNR(const char* format, ...) ZAUTILS_PRINTF(1, 2);
    /// @}

    static void setEnabled(bool enabled);
    static bool isEnabled();

    /// Chooses the layout of lines (see Format; any other value yields empty lines). Plain and CSV
    /// also switch time stamps on; HTML leaves them as they are.
    static void setLogFormat(int format);

    /// @name Log file
    /// Lines are appended to it in the layout of setLogFormat, which is to be chosen first. The
    /// file is opened and closed for each line: the line is on disk when the call returns, and
    /// other processes may read or move the file between messages. A line that cannot be written is
    /// lost silently. Line ends are the host's.
    /// @{

    /// Chooses the log file; lines go to no file before the first call.
    ///
    /// The file lies at `fileName`, unless the environment variable named like the application, in
    /// upper case and with "_LOG_DIR" behind it (VIEWER_LOG_DIR), holds a directory of at most 2047
    /// bytes: then it lies there, under the file name that `fileName` ends with, and the directory
    /// is created if need be.
    ///
    /// A file of that name whose first entry is of another day is set aside first: it is renamed to
    /// its path with that entry's time appended, as in "viewer.log20240306-080000", or with
    /// "00000-000000" when no entry can be read from it. Numbers are read as `fscanf` does, one
    /// that is too large as `strtol` reads it, cut to an int. If the new name is taken, a text on
    /// standard error tells that the file was kept.
    ///
    /// An HTML log begins with a header, not an entry, so it is always set aside, deliberately; and
    /// each call writes a header. A CSV log gets its header row when it is created; it is also set
    /// aside while lines are written, at the first message of a new day or when it holds no row
    /// yet.
    ///
    /// Says on standard output which file is used. One that cannot be opened is reported as an
    /// error of the log, and no file is in use then.
    ///
    /// Takes no lock: meant to be called at start-up, before other threads log.
    static void setLogFile(const char* fileName);

    /// Path of the file in use, or null. Valid until the file changes.
    static const char* getLogFile();
    /// @}

    /// Null switches the callback off.
    static void setInfoCB(Callback callback);
    static void setWarningCB(Callback callback);
    static void setErrorCB(Callback callback);

    /// Appends each line to `buffer`, which stays the caller's and must live until disabled.
    static void enableOutputBuffer(std::string& buffer);
    static void disableOutputBuffer();

    /// Writes each line to a `std::streambuf`, given as an untyped pointer, which stays the
    /// caller's and must live until disabled. Warnings are wrapped in the terminal's yellow, errors
    /// in its red. The stream is not flushed.
    static void enableOutputStream(void* streambuf);
    static void disableOutputStream();

    /// The text of the last error, never null; empty when there was none. The result stays valid on
    /// the calling thread until that thread's next call.
    static const char* getLastError();
    static void clearLastError();

    /// A copy of `text` with the four characters " & < > as numeric references and without its
    /// final newline, if it has one.
    static std::string convertToHtml(const std::string& text);

    static bool _enabled;         ///< false: every logging call returns at once
    static bool _add_time_stamp;  ///< lines carry a time stamp (plain, CSV: kind, number too)
    static int _log_format;       ///< see Format
    static int _nr;               ///< offset added to the base number of every kind
    static Callback _info_fp;     ///< callback of infos, may be null
    static Callback _warning_fp;  ///< callback of warnings, may be null
    static Callback _error_fp;    ///< callback of errors, may be null
    static std::string* _output_buffer;  ///< the caller's string, may be null
    static void* _output_streambuf;      ///< the caller's stream buffer, may be null
    static std::string _last_error;      ///< text of the last error; guarded by the lock
    static std::string _log_file;        ///< path of the log file; empty: lines go to no file
    static std::mutex _log_mutex;        ///< held while one message is written to all targets

private:
    friend struct zaLogTestAccess;
    enum class Kind : int { Info, Warning, Error };
    struct KindTraits;

    static const KindTraits& traits(Kind kind);
    static Callback callback(Kind kind);
    static void write(Kind kind, const char* msg, int flags, bool alternate);
    static void writeLine(const KindTraits& kind, const std::string& line);
    static void buildLine(std::string& line, const KindTraits& kind, const char* msg,
                          bool alternate);

    static void colorOutput(int type, const char* msg);
    static std::string addTimestamp(const char* msg);
    static void addExtraInfo(std::string& line, const std::string& kind, int number);
    static void addExtraInfoCSV(std::string& line, const std::string& kind, int number);

    static void writeCSVHeader(const char* fileName);
    static void addToLogFile(const std::string& line);
};
