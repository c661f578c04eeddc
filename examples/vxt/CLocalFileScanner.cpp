#include "CLocalFileScanner.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

namespace vxt {
namespace fs = std::filesystem;
namespace {

bool describe(const fs::path& path, const std::string& relative, LocalFile& out,
              std::string& error) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        error = "cannot read " + path.string();
        return false;
    }
    out.absolutePath = path.string();
    out.relativePath = relative;
    out.size = static_cast<std::uint64_t>(st.st_size);
    out.modifiedMs = static_cast<std::uint64_t>(st.st_mtim.tv_sec) * 1000ULL +
                     static_cast<std::uint64_t>(st.st_mtim.tv_nsec) / 1000000ULL;
    return true;
}

}  // namespace

bool CLocalFileScanner::scan(const std::vector<std::string>& arguments,
                             std::vector<LocalFile>& files, std::string& error) {
    std::set<std::string> seen;
    auto add = [&](const fs::path& path, const std::string& relative) {
        LocalFile file;
        if (!describe(path, relative, file, error)) return false;
        if (!seen.insert(relative).second) {
            error = "two files would both be uploaded as " + relative;
            return false;
        }
        files.push_back(file);
        return true;
    };
    for (const auto& argument : arguments) {
        std::error_code ec;
        fs::path path = fs::absolute(argument, ec).lexically_normal();
        if (!path.has_filename()) path = path.parent_path();  // "dir/" names the folder
        fs::file_status status = fs::status(path, ec);
        if (ec || !fs::exists(status)) {
            error = "no such file or folder: " + argument;
            return false;
        }
        if (fs::is_regular_file(status)) {
            if (!add(path, path.filename().string())) return false;
            continue;
        }
        if (!fs::is_directory(status)) {
            error = "neither a file nor a folder: " + argument;
            return false;
        }
        std::vector<fs::path> found;
        for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end;
             it.increment(ec)) {
            if (it->is_regular_file(ec)) found.push_back(it->path());
        }
        if (ec) {
            error = "cannot list " + argument + ": " + ec.message();
            return false;
        }
        std::sort(found.begin(), found.end());
        const fs::path base = path.parent_path();
        for (const auto& file : found) {
            if (!add(file, file.lexically_relative(base).generic_string())) return false;
        }
    }
    return true;
}

}  // namespace vxt
