#pragma once

#include <gtest/gtest.h>

#include "CDatabaseTestAccess.h"
#include "CDbTestFolder.h"
#include "db/CDatabase.h"

namespace vx_transfers {

// Each test starts on a new, empty database file in the binary's application folder.
class CFreshDatabaseFixture : public ::testing::Test {
protected:
    void SetUp() override {
        CDbTestFolder::restoreAppFilesPath();
        CDatabaseTestAccess::deleteDatabase();
        m_db = CDatabase::getInstance();
        ASSERT_NE(m_db, nullptr);
        ASSERT_TRUE(CDatabaseTestAccess::hasSession());
    }

    void TearDown() override { CDatabaseTestAccess::close(); }

    CDatabase* m_db = nullptr;
};

}  // namespace vx_transfers
