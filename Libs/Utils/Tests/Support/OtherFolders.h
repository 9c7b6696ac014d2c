#pragma once

#include <string>

/// Other folders in place of those that the system assigns, for this process and while this object
/// lives; one at a time.
class OtherFolders {
public:
    OtherFolders();
    ~OtherFolders();
    OtherFolders(const OtherFolders&) = delete;
    OtherFolders& operator=(const OtherFolders&) = delete;

    /// The user's application data.
    void setRoaming(const std::string& path);
    /// The application data of all users.
    void setShared(const std::string& path);
};
