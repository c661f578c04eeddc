#pragma once

#include <Poco/Data/Session.h>

namespace vx_transfers {

// A handle on the database session for the channels in transfer; it runs no SQL of its own.
// Made afresh by each CDatabase::getActiveChannelsInfo() call.
class CActiveChannelsDbInfo {
public:
    // The session must outlive this object.
    explicit CActiveChannelsDbInfo(Poco::Data::Session& session);

    CActiveChannelsDbInfo(const CActiveChannelsDbInfo&) = delete;
    CActiveChannelsDbInfo& operator=(const CActiveChannelsDbInfo&) = delete;

private:
    Poco::Data::Session& m_session;
};

}  // namespace vx_transfers
