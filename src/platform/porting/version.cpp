#include "platform/porting/version.h"

#include "vx_transfers_version_config.h"

namespace vx_transfers {
namespace version {

void getSelfVersion(std::string& version) { version = VX_TRANSFERS_VERSION; }

}  // namespace version
}  // namespace vx_transfers
