#pragma once

#include <string>
#include <vector>

#include "vx_transfers/export.h"

namespace vx_transfers {

// A plain local file for the application. Each object belongs to the thread that uses it.
// Made by create(), released by destroy(), which closes it.
class VX_TRANSFERS_API IFile {
public:
    // Any value but OPEN_READ opens for writing.
    enum OpenMode { OPEN_READ = 0, OPEN_WRITE = 1 };

    // Results of read() and write().
    enum Result {
        RESULT_OK = 0,
        RESULT_NOTHING_TO_DO = 1,  // read of size 0, write of an empty buffer
        RESULT_STREAM_FAILED = 2,
        RESULT_BUFFER_TOO_SMALL = 3,  // read only: the vector is smaller than `size`
        RESULT_NOT_OPEN = 4,
    };

    virtual ~IFile();

    // Opens the file once per object: a second open() is refused, even after close().
    // OPEN_WRITE creates the file or empties an existing one.
    virtual bool open(OpenMode mode) = 0;
    virtual void close() = 0;
    // Reads up to `size` bytes into the front of `buffer`; a short read at the end of the file
    // is a success, with isEndOfFile() true afterwards.
    virtual int read(std::vector<char>& buffer, unsigned int size, unsigned int& bytesRead) = 0;
    // Appends the whole buffer at the current position.
    virtual int write(const std::vector<char>& buffer) = 0;
    // Deletes the file; true if it no longer exists.
    virtual bool remove() = 0;
    virtual bool isEndOfFile() = 0;
    // The size on disk; 0 if it cannot be found.
    virtual unsigned long long getSize() = 0;

    // A new object for the file at `path` (UTF-8), or null if it cannot be made.
    static IFile* create(const std::string& path);
    static void destroy(IFile* file);
};

}  // namespace vx_transfers
