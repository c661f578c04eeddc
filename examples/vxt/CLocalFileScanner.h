// Turns the PATH arguments of `vxt upload` into the list of files to send. A file argument
// gives one entry named after the file; a folder argument gives every regular file below it,
// named by its path relative to the folder's parent, so that the folder's own name stays part
// of each name ("photos/2024/a.jpg").
#ifndef VXT_CLOCALFILESCANNER_H
#define VXT_CLOCALFILESCANNER_H

#include <cstdint>
#include <string>
#include <vector>

namespace vxt {

struct LocalFile {
    std::string absolutePath;
    std::string relativePath;  // '/'-separated, unique within one upload
    std::uint64_t size = 0;
    std::uint64_t modifiedMs = 0;  // modification time, milliseconds since the epoch
};

class CLocalFileScanner {
public:
    // Collects the files in the order of the arguments, each folder's files sorted by name.
    // False with a reason when an argument does not exist, is neither a file nor a folder, or
    // two files would get the same relative path.
    static bool scan(const std::vector<std::string>& arguments, std::vector<LocalFile>& files,
                     std::string& error);
};

}  // namespace vxt

#endif
