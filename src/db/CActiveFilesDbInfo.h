#pragma once

#include <Poco/Data/Session.h>

namespace vx_transfers {

// A handle on the database session for the files in transfer; it runs no SQL of its own.
// Made afresh by each CDatabase::getActiveFilesInfo() call.
class CActiveFilesDbInfo {
public:
    // The session must outlive this object.
    explicit CActiveFilesDbInfo(Poco::Data::Session& session);

    CActiveFilesDbInfo(const CActiveFilesDbInfo&) = delete;
    CActiveFilesDbInfo& operator=(const CActiveFilesDbInfo&) = delete;

private:
    Poco::Data::Session& m_session;
};

}  // namespace vx_transfers
