#pragma once

#include <cstdint>
#include <functional>
#include <ios>
#include <string>
#include <vector>

#include "zaUtils/Api.h"

/// Operations on file names and files.
///
/// All paths are UTF-8. Both '/' and '\' separate on input, on every host; paths that the library
/// joins are joined with '\'. Failures are values (false, 0, an empty string): no operation throws
/// for a missing or unreadable file. Directories are refused where a file is meant. After a failure
/// `errno` holds the C library's reason, which `perror` reports.
///
/// Thread safety: path names are computed without state; operations on different files may run at
/// the same time. The working directory and the environment belong to the process.
class ZAUTILS_API zaFile {
public:
    /// @name Path names
    /// Computed from the text alone; only `pathfind` looks at the disk.
    /// @{

    /// Replaces the environment variables `$NAME`, `$(NAME)` and `${NAME}` in a path.
    ///
    /// A variable that is unset, empty or longer than 2047 bytes is logged as an error and the path
    /// comes back unchanged. A `$` that starts no name stays. A path of 2048 bytes or more is
    /// reported on standard error and comes back unchanged. The result is cut at 2047 bytes, also
    /// in the middle of a value.
    ///
    /// @warning A '~' at the start, or right after a tab, a blank or one of ; < > | is logged as an
    /// error again and again: such a call deliberately never returns (except by an exception from
    /// the error callback).
    static std::string expandFilename(const std::string& path);

    /// `path` relative to the directory `base`, with '/' as separator: "C:/a/b" and "C:\a\x\y" give
    /// "../x/y", equal paths ".".
    ///
    /// Unchanged when `path` is relative, when the drives differ (case counts), or when the result
    /// would exceed 2047 bytes. Empty when `path` starts with a separator and `base` does not.
    static std::string abs2Rel(const std::string& base, const std::string& path);

    /// `path` as an absolute path below `base`, with '\' as separator. "." and ".." at the start or
    /// inside of a relative `path` are resolved against `base`, never above its root. A path that
    /// is absolute already has its separators converted only.
    static std::string rel2Abs(const std::string& base, const std::string& path);

    static std::string convertSeparators(const std::string& path);        ///< every '/' to '\'
    static std::string convertToUnixSeparators(const std::string& path);  ///< every '\' to '/'

    /// False for an empty path and for one that starts with a separator or '$' or has a drive
    /// letter.
    static bool isRelative(const std::string& path);

    /// Everything before the last separator; "." when there is none, empty when it comes first.
    static std::string getFilePath(const std::string& path);
    /// Everything after the last separator.
    static std::string getFileName(const std::string& path);
    /// The file name up to its last dot.
    static std::string getBaseName(const std::string& path);

    /// The text after the last dot of the path, in lower case. The search deliberately does not
    /// stop at separators: "dir.d/name" has the extension "d/name".
    static std::string getExtension(const std::string& path);
    /// The path with everything from its last dot (see getExtension) replaced by '.' and
    /// `extension`, which may be given with or without its dot. An empty path stays empty.
    static std::string setExtension(const std::string& path, const std::string& extension);
    /// Compares without regard to case.
    static bool hasExtension(const std::string& path, const std::string& extension);
    /// The first extension that a file-dialog filter names, without its dot: "Images (*.png *.jpg)"
    /// gives "png". Empty when it names none.
    static std::string getExtensionFromFilter(const std::string& filter);

    /// Cleans a file name in place: takes off one final dot or blank, then one leading dot, then
    /// every one of the characters < > : " / \ | ? *
    static void makeValidFileName(std::string& name);
    /// Whether any byte is 161 or more; bytes from 128 to 160 deliberately do not count.
    static bool isumlaut(const std::string& text);

    /// Searches the directories of `searchPath`, in their order, for the file `name`.
    /// @param separators  characters that separate the directories; empty ones are skipped
    /// @return full name of the first file found (an absolute `name` is found as it stands), or
    ///         empty
    static std::string pathfind(const std::string& name, const std::string& searchPath,
                                const std::string& separators);

    /// Lenient conversion up to the first NUL: each malformed sequence becomes one U+FFFD. A
    /// `std::wstring` holds UTF-16 units even where `wchar_t` has 32 bits.
    /// @see zaString::utf8ToUtf16 for the strict conversion
    static std::wstring Utf8ToUtf16(const std::string& text);
    static std::wstring Utf8ToUtf16(const char* text);
    static std::string UTF16ToUTF8(const wchar_t* text);
    /// @}

    /// @name Files and directories
    /// @{

    /// Whether the path names a file or directory. The flags are accepted and not consulted.
    static bool exists(const std::string& path, bool = false, bool = false);

    /// Whether the file exists and can be opened for reading. If not, the user is told through the
    /// application ("showMainWarning") when `showWarning`, then an error is logged when `logError`.
    static bool checkRead(const std::string& path, bool showWarning, bool logError);

    /// Whether the file may be written; a file that does not exist is created and removed again to
    /// find out. When it exists and `showWarning` is set, the application is asked first whether to
    /// overwrite it; without an answer that is a yes. Failures are reported like those of
    /// checkRead.
    static bool checkWrite(const std::string& path, bool showWarning, bool logError);

    /// Reads the whole file. The buffer, when one is given, must have room for `getFileSize` bytes.
    /// True when at least one byte was read, so an empty file reads as false. A file that shrinks
    /// meanwhile gives what is left of it.
    static bool read(const std::string& path, unsigned char* buffer);
    static bool read(const std::string& path, std::string& content);
    static bool read(const std::string& path, std::vector<char>& content);

    /// Makes `content` the file's whole content. True when all bytes were written and the file
    /// closed well.
    static bool write(const std::string& path, const std::string& content);
    /// Adds `content` at the file's end, creating it if need be. Result as that of `write`.
    static bool append(const std::string& path, const std::string& content);

    /// Removes a file, never a directory. True as well when there is nothing of that name.
    static bool remove(const std::string& path);
    /// Makes one directory, whose parent must exist.
    static bool createDir(const std::string& path);
    /// True when the path exists, otherwise the result of `createDir`.
    static bool createDirectoryIfNotExists(const std::string& path);
    /// Makes every missing directory along the path. True when the path is a directory afterwards.
    static bool createPath(const std::string& path);

    /// Copies a file's bytes, replacing the destination. False when either cannot be opened or both
    /// are the same file. Write errors are deliberately not checked: compare afterwards what must
    /// be right.
    static bool copy(const std::string& source, const std::string& destination);
    /// Renames within `directory`. False when a name is empty, the old file does not exist or the
    /// new one does.
    static bool rename(const std::string& directory, const std::string& oldName,
                       const std::string& newName);

    /// Size in bytes; 0 when the file cannot be opened.
    static std::uint64_t getFileSize(const std::string& path);
    /// The owner's account name; empty when unknown.
    static std::string getOwner(const std::string& path);

    /// The process's working directory as the system gives it; empty when it has 2048 bytes or
    /// more.
    static std::string getCurrentDir();
    /// False when the directory cannot be entered or the path is empty.
    static bool setCurrentDir(const std::string& path);

    /// Logs "<message>: <text of errno>" as an error.
    static void perror(const std::string& message);

    /// A cheap identity of a file's content: its size and the CRC-32 of its first 8192 bytes, both
    /// in decimal and deliberately with nothing between. "00" when the file cannot be opened.
    static std::string getFileID(const std::string& path);
    /// CRC-32 of `length` bytes; 0 for a null pointer or no bytes.
    static std::uint32_t getID(const char* characters, unsigned int length);

    static std::int64_t convertStreamPosToStreamOff(std::streampos position);
    /// @}

    /// @name Checksum footer
    /// A data file may end in 16 bytes that hold the CRC-32 (the one of zlib and PNG) of everything
    /// before them: a zero byte, "ZARNCRC" and the checksum as eight upper-case hexadecimal digits.
    /// A metadata block may follow, whose last 16 bytes are "ZARNMETA" and the length of the whole
    /// block as eight hexadecimal digits. A head of `skip` bytes can be left out of the checksum.
    ///
    /// Files are streamed: no operation holds a whole file in memory.
    ///
    /// To write: write the file, `getChecksum`, `appendChecksum`, then append metadata if any.
    /// @{

    /// CRC-32 of everything behind the first `skip` bytes. 0 for every failure: an empty name, a
    /// file that cannot be opened or read or is shorter than `skip`.
    static unsigned int getChecksum(const std::string& path, int skip);
    /// Appends the footer for `crc`; result as that of `append`.
    static bool appendChecksum(const std::string& path, unsigned int crc);

    /// Verifies a file against its footer and prints what it found to standard output.
    ///
    /// @param crc  the checksum when it is correct, otherwise 0
    /// @return false only when there is a footer and the checksum is wrong. True also for a file
    ///         that cannot be opened or carries no footer; only `crc` tells them apart, and not
    ///         from a payload whose checksum is 0, deliberately. See verifyChecksum.
    /// @throws std::invalid_argument  the length in a metadata footer is no number
    static bool checkChecksum(const std::string& path, unsigned int& crc, unsigned int skip);

    enum class ChecksumState {
        Unreadable,         ///< the file cannot be opened or read
        Missing,            ///< no checksum footer
        MalformedMetadata,  ///< the length in the metadata footer is no number
        Found,              ///< a footer, not compared yet
        Correct,
        Incorrect,
    };

    /// What findChecksum and verifyChecksum know about a file's end.
    struct ChecksumInfo {
        ChecksumState state = ChecksumState::Unreadable;
        bool hasMetadata = false;          ///< the file ends in a metadata footer
        std::uint32_t metadataSize = 0;    ///< bytes behind the checksum footer
        std::uint64_t fileSize = 0;        ///< bytes in all
        std::uint64_t footerPosition = 0;  ///< offset of the checksum footer
        std::string stored;                ///< the footer's eight digits as they stand
        std::string computed;              ///< the payload's checksum, by verifyChecksum only
    };

    /// Hears of a payload that is being read: how many bytes were read since the last call. With
    /// false the operation stops and fails, and `errno` is ECANCELED.
    using OnBytes = std::function<bool(std::uint64_t count)>;

    /// Looks for the footer without reading the payload or printing anything.
    static ChecksumInfo findChecksum(const std::string& path, unsigned int skip);
    /// Like checkChecksum, but prints nothing and tells every case apart.
    static ChecksumInfo verifyChecksum(const std::string& path, unsigned int skip,
                                       const OnBytes& onBytes = {});
    /// Like getChecksum, but tells a failure from a checksum of 0.
    static bool computeChecksum(const std::string& path, unsigned int skip, unsigned int& crc,
                                const OnBytes& onBytes = {});

    /// Computes the payload's checksum anew and writes it into the footer that the file has.
    static bool renewChecksum(const std::string& path, unsigned int skip,
                              const OnBytes& onBytes = {});
    /// Takes the footer out of the file; a metadata block behind it moves up. The file is changed
    /// in place: a failing disk in the middle of it leaves the block in part.
    static bool removeChecksum(const std::string& path, unsigned int skip);
    /// @}

    /// @name Temporary directory and scratch files
    /// One temporary directory serves the whole process and, through the environment variable
    /// ZARN_TMP_DIR, its child processes. Child processes and later calls read the variable, so a
    /// program may still change it. Directories are given without a separator at their end.
    ///
    /// Thread safety: initTmpDir, getTmpDir and getTmpName may be called from several threads; the
    /// list of scratch files needs outside locking.
    /// @{

    /// Chooses the temporary directory, creates it when it is missing and publishes it, once per
    /// process: later calls do nothing. ZARN_TMP_DIR wins when it is set; otherwise the directory
    /// is `dirname` below the system's temporary path, or "$ZARN_ROOT\tmp" when that cannot be
    /// created. A directory that cannot be created is a warning, and stays chosen if it was the
    /// last choice. An empty `dirname` is a warning and does not count as a call.
    static void initTmpDir(const std::string& dirname);
    /// The temporary directory (initialised as "zarn" if need be) as the variable has it now.
    /// Empty, and deliberately only an info in the log, when the variable is not set.
    static std::string getTmpDir();
    /// "teamcenter" below the temporary directory, created when it is missing. The temporary
    /// directory itself when that fails, empty when there is none; both are warnings.
    static std::string getTeamcenterTmpDir();

    /// Where an output file that is derived from `input` should go: a directory, '\' and the base
    /// name of `input`. The directory is that of ZARN_FILEIO_TMP_DIR if it exists (a warning if
    /// not), else that of ZARN_TMP_DIR, created when it is missing, else that of `input`.
    /// @param extension  of the output file, with or without its dot; none when empty
    static std::string getOutpath(const std::string& input, const std::string& extension);

    /// A name for a scratch file that does not exist yet: `prefix` and a process-wide number, which
    /// is never used twice. Two calls never return the same name.
    ///
    /// @param directory  existing directory, UTF-8, without trailing separator
    /// @param prefix     start of the file name, UTF-8
    /// @return full path; empty when an argument is empty or holds a NUL, and when the process has
    ///         used up its 2^32 numbers
    /// @note Not atomic: another process may take the name before you do. To reserve it, create it
    ///       exclusively.
    static std::string getTmpName(const std::string& directory, const std::string& prefix);

    /// Registers a file for removeTmpFiles; a name may be registered more than once.
    static void addTmpFile(const std::string& path);
    /// Removes the file of this name (its directory does not matter) from the temporary directory.
    /// Result as that of `remove`, false without a temporary directory. The list is not touched.
    static bool removeTmpFile(const std::string& path);
    /// Removes the registered files in the order of their registration, ignoring failures, and
    /// empties the list.
    static void removeTmpFiles();
    /// A placeholder, deliberately: it logs an error and does nothing else.
    static void clearTmpDir();

    static std::string _tmp_envvar_name;         ///< "ZARN_TMP_DIR" once initialised
    static std::vector<std::string> _tmp_files;  ///< the registered scratch files
    /// @}

    /// @name External programs
    /// A command line names a program and its arguments, separated by blanks; what holds blanks or
    /// quotes is given as quoteArgument writes it. A name without directory is searched as the
    /// system does: on Linux along PATH, on Windows also in the application's and the working
    /// directory.
    ///
    /// All three run on the caller's thread and may be called from several threads at once.
    /// @{

    /// Called about every 100 ms while a program runs.
    using ProgramCallback = void (*)(unsigned int processId, void* userData);

    /// Starts a program, detached: without console or standard streams, with the caller's
    /// environment and working directory. It outlives the caller if need be.
    ///
    /// @param wait      whether to wait for its end
    /// @param callback  called while waiting, on this thread, with `userData`; never for a program
    ///                  that ends within the first 100 ms. May be null. What it throws reaches the
    ///                  caller; the program runs on.
    /// @return without `wait`, whether the program was started (its handles are deliberately left
    ///         open); with `wait`, whether it exited with code 0. A killed program did not.
    static bool execute(const std::string& commandLine, bool wait,
                        ProgramCallback callback = nullptr, void* userData = nullptr);
    /// The same, but the handles of the program are deliberately never closed, not even after
    /// waiting: its process id stays taken while this process lives. Linux has no such handles.
    static bool executeW(const std::string& commandLine, bool wait,
                         ProgramCallback callback = nullptr, void* userData = nullptr);

    /// Runs a command through the system's command interpreter, whose quoting rules hold, and waits
    /// until it has closed its standard output.
    ///
    /// @param echo  write what the command printed, NUL bytes included, to standard output at the
    ///              end, followed by a line end; otherwise it is dropped
    /// @return the command's exit code; -1 when it is unknown. On Linux 128 and the number of the
    ///         signal that killed it, 127 for a command that does not exist.
    /// @throws std::runtime_error  the command interpreter's pipe cannot be opened
    static int executeProcess(const std::string& command, bool echo);

    /// One argument as it stands in a command line of `execute`: in quotes when it is empty or
    /// holds blanks or quotes, otherwise unchanged. Also for the program's name, if it holds no
    /// quotes.
    static std::string quoteArgument(const std::string& argument);
    /// @}

    static zaFile* _me;  ///< the single instance; it carries no data

private:
    zaFile() = default;
};
