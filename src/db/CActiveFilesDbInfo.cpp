#include "db/CActiveFilesDbInfo.h"

namespace vx_transfers {

CActiveFilesDbInfo::CActiveFilesDbInfo(Poco::Data::Session& session) : m_session(session) {}

}  // namespace vx_transfers
