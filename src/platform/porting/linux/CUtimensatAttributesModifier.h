#pragma once

#include <string>

#include "platform/porting/IFileAttributesModifier.h"

namespace vx_transfers {

// Sets the modification time with utimensat(2), to the millisecond; the access time is left
// as it is.
class CUtimensatAttributesModifier : public IFileAttributesModifier {
public:
    bool open(const std::wstring& path) override;
    void close() override;
    bool setModificationDate(unsigned long long modificationDate) override;

private:
    std::string m_path;  // empty while nothing is open
};

}  // namespace vx_transfers
