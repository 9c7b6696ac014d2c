#pragma once

#include "zaUtils/Api.h"

class zaMessage;

/// Services of the process and of the application that this library is part of.
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

    static Hook _fp;  ///< the installed hook, may be null
};
