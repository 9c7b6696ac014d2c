#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "zaUtils/Api.h"

class zaMessage;

/// Services of the process and of the application that this library is part of.
///
/// All texts and paths are UTF-8. Nothing here logs or throws, unless it says otherwise: failures
/// are values.
///
/// Thread safety: everything may be called from any thread, unless it says otherwise. The
/// environment belongs to the process: do not change it while another thread reads it.
class ZAUTILS_API zaUtils {
public:
    /// The application's answer to a named request. It may write answers into `message`.
    using Hook = bool (*)(const char* name, zaMessage& message, int flags);

    /// Installs the hook through which the library asks the application; null removes it.
    /// Not thread-safe: meant to be called once at start-up.
    static void init(Hook hook);

    /// Sends `message` to the application under `name`.
    /// @return the hook's answer; false, with the message unchanged, when there is no hook
    static bool call(const char* name, zaMessage& message, int flags);
    /// The same with an empty message, which is discarded afterwards.
    static bool call(const char* name, int flags);

    /// @name Environment
    /// @{

    /// Sets an environment variable; an empty value removes it. A name that is empty or holds a '='
    /// is refused.
    /// @return what the C library's call returns: 0 on success; -1 for a null pointer
    static int setenv(const char* name, const char* value);
    /// Removes a variable, which need not exist. Result as that of setenv.
    static int unsetenv(const char* name);

    /// A variable's value; empty as well when it is not set.
    static std::string getEnv(const std::string& name);

    /// Replaces the references `${NAME}` and `$NAME` by the values of environment variables.
    ///
    /// A plain name consists of ASCII letters, digits and underscores, as many as there are; a name
    /// in braces of anything but a closing brace. References to unset variables stay, and so does a
    /// `$` that starts none. There is no way to write a literal `$NAME`.
    ///
    /// The references of `text` are taken from left to right, and deliberately each one's value
    /// replaces the *first occurrence* of the reference's text in the result so far, wherever that
    /// came from. So a value is not expanded again, except that a reference in it is in the way of
    /// the same reference further right: with A="$B" and B="b", "$A $B" gives "b $B".
    ///
    /// Time grows linearly with text and result, and with the length of the names.
    static std::string expandEnvironment(const std::string& text);
    /// @}

    /// @name Dynamic libraries
    /// A null result leaves its reason for getLastError. A handle is valid until it was unloaded as
    /// often as it was loaded; no function takes one that is not.
    /// @{

    /// Loads a shared library.
    ///
    /// A name without a folder is looked for in the application's folder and the system's, never in
    /// the working directory. A relative path starts from the working directory.
    ///
    /// @param alteredSearchPath  look for the library's own dependencies in its folder rather than
    ///                           in the application's. For Windows; elsewhere each library says
    ///                           itself where its dependencies are.
    /// @return the handle; null on failure, and for an empty path without asking the system
    /// @note The flag in the middle is deliberately ignored.
    static void* loadSharedLibrary(const std::string& path, bool, bool alteredSearchPath);
    /// True when the system accepts the handle; false for null.
    static bool unloadSharedLibrary(void* handle);
    /// The address of an exported name; null when there is none, and for a null handle.
    static void* resolveSymbol(void* handle, const std::string& name);
    /// Full path of a loaded library as the system writes it, cut to whole characters in at most
    /// 2047 bytes. Empty for a null handle.
    static std::string getSharedLibraryPath(void* handle);
    /// @}

    /// @name System
    /// @{

    /// The calling thread's last system error as " (Error 2: 'No such file or directory')", cut to
    /// whole characters in at most 1023 bytes; empty when there was none. The text may end in a
    /// line break before the quote. Asking does not change the error.
    static std::string getLastError();

    /// Opens a document or an address with the user's program for it. Returns at once; whether that
    /// worked is not known.
    static void openBrowser(const std::string& target);

    /// Whether a program with this file name (no path) runs. ASCII letters match in either case.
    static bool findProcess(const std::string& exeName);

    /// The versions of this library and of those that it is built from, by their names. Texts like
    /// "1.74.0".
    static std::vector<std::pair<std::string, std::string>> getLibraryVersions();

    /// Measures the processor with a fixed loop of 10^8 floating-point steps, on the calling
    /// thread: takes from a tenth of a second to seconds.
    /// @param mips   a crude figure of speed, larger is faster
    /// @param check  always 695412096
    static void calcMips(int& mips, int& check);

    /// Sounds 523 Hz for half a second and returns then; elsewhere than on Windows it rings the
    /// terminal's bell, if standard error is a terminal.
    static void beep();
    /// @}

    /// @name Back traces
    /// @{

    /// Prints the calling thread's stack to standard error, one line per frame.
    static void printBTalways();
    /// Deliberately does nothing: the place for a stack print that is switched off.
    static void printBT();
    /// @}

    /// @name Packed shader text
    /// Shaders are shipped as two 32-bit lengths, unpacked and packed, lowest byte first, and one
    /// zstd frame of the packed length. Calls take turns, from all threads.
    /// @throws std::system_error  the lock cannot be taken
    /// @throws std::bad_alloc     there is no memory for the text
    /// @{

    /// Unpacks a shader. In spite of its name there is no cipher.
    ///
    /// For shaders that come with the program: both lengths are trusted, and a wrong packed length
    /// reads beyond the end. The result deliberately has the length that the header says, filled up
    /// with zeros when the frame holds less. A bad frame is reported on standard error and gives an
    /// empty text. The flag is deliberately ignored.
    static std::string decryptShader(const unsigned char* const data, bool flag);
    static std::string decryptShaderLF(const unsigned char* const data);

    /// Unpacks a shader from anywhere: `size` bytes at `data`, which are nothing but the two
    /// lengths and one whole frame of just these lengths. No text longer than `maxLength` is made
    /// or asked memory for. Prints nothing.
    /// @return false, and an empty text, when anything is not so
    static bool unpackShader(const unsigned char* data, std::size_t size, std::size_t maxLength,
                             std::string& text);
    /// @}

    static Hook _fp;  ///< the installed hook, may be null
};
