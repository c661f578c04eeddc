#include "db/CActiveChannelsDbInfo.h"

namespace vx_transfers {

CActiveChannelsDbInfo::CActiveChannelsDbInfo(Poco::Data::Session& session) : m_session(session) {}

}  // namespace vx_transfers
