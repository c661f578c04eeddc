#include "platform/porting/IOSResource.h"

namespace vx_transfers {

// Linux grants file access by permissions alone; there are no bookmark tokens to resolve.
IOSResource* IOSResource::create(const std::string& /*url*/) { return nullptr; }

}  // namespace vx_transfers
