#pragma once

#include <string>

namespace vx_transfers {

// The local file of one channel attempt. Several objects may be open on one path at once, each
// reading or writing its own range; deleting the object closes the file. Used by one thread.
class ILocalFile {
public:
    enum OpenMode {
        MODE_READ = 0,        // an existing file, read only
        MODE_READ_WRITE = 1,  // read and write at any offset; created if missing, never truncated
    };

    virtual ~ILocalFile() = default;

    // False if the file cannot be opened in that mode, or if this object has a file open.
    virtual bool open(const std::string& path, int mode) = 0;
    // Closes the file early; the destructor does it too.
    virtual void close() = 0;
    // Writes all of `length` bytes at the current position and moves past them.
    virtual bool write(const char* data, unsigned int length) = 0;
    // Reads up to `length` bytes at the current position; fewer only at the end of the file.
    virtual bool read(char* data, unsigned int length, unsigned int* bytesRead) = 0;
    // Absolute position, which may lie beyond the end: a later write there extends the file.
    virtual bool seek(unsigned long long position) = 0;

    // A new object, owned by the caller, or null if it cannot be made.
    static ILocalFile* create();
};

}  // namespace vx_transfers
