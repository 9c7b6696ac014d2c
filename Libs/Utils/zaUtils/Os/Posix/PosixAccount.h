#pragma once

#include <pwd.h>
#include <sys/types.h>

#include <cerrno>
#include <string>
#include <vector>

#include "zaUtils/Os/Error.h"

namespace za::os {

/// A user as the password database knows it.
struct Account {
    std::string name;
    std::string home;
};

inline Error findAccount(uid_t user, Account& account) {
    std::vector<char> buffer(1024);
    for (;;) {
        passwd entry{};
        passwd* found = nullptr;
        const int code = ::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
        if (code == ERANGE) {
            buffer.resize(2 * buffer.size());
            continue;
        }
        if (!found) return failWith(code != 0 ? code : ENOENT);
        account = {found->pw_name, found->pw_dir};
        return {};
    }
}

}  // namespace za::os
