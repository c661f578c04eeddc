#pragma once

#include <string>

namespace vx_transfers {

// Sets the modification time of a finished download.
class IFileAttributesModifier {
public:
    virtual ~IFileAttributesModifier() = default;

    // False if the file does not exist.
    virtual bool open(const std::wstring& path) = 0;
    virtual void close() = 0;
    // Sets the modification time to `modificationDate` milliseconds since the epoch, the unit
    // in which the service gives it and in which downloads compare it with the file on disk.
    virtual bool setModificationDate(unsigned long long modificationDate) = 0;

    // A new object, owned by the caller, or null if it cannot be made.
    static IFileAttributesModifier* create();
};

}  // namespace vx_transfers
