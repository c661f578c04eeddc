#pragma once

#include <Poco/Data/Session.h>
#include <Poco/Data/Statement.h>
#include <Poco/Mutex.h>

#include <exception>
#include <set>
#include <string>
#include <vector>

#include "db/CDbSessionLock.h"
#include "db/DbTypeHandlers.h"
#include "db/db_query_helper.h"
#include "platform/Log.h"

namespace vx_transfers {

// What every table class does with SQL: build a statement, bind, run it at once, and on
// failure log the table's words and the exception's what() at error level and go on. The
// table classes above it supply their statements, their words and their bindings; `Row` is
// the record that their INSERT binds and their SELECT * extracts.
//
// Every statement is its own transaction. Persistence is best effort: a failed statement
// loses its row and the state in memory goes on.
//
// Locks: `Mutex` is the table's own lock (Poco::FastMutex for the file and channel tables,
// taken by each public operation for the whole of it; Poco::NullMutex for the group tables,
// which run under the calling group's lock). Below it, each statement takes the leaf
// CDbSessionLock, which is let go before anything is logged. No operation holds two tables.
template <typename Row, typename Mutex>
class CDbTable {
public:
    CDbTable(const CDbTable&) = delete;
    CDbTable& operator=(const CDbTable&) = delete;

protected:
    using ScopedLock = typename Mutex::ScopedLock;

    // Creates the table if it is not there yet.
    CDbTable(Poco::Data::Session& session, const std::string& createSql, const char* createFailure)
        : m_session(session) {
        execute(createFailure, createSql);
    }
    ~CDbTable() = default;

    // Runs `sql` at once with the given bindings and extractions (use(), bind(), into()).
    // False if it failed, which has then been logged as `failureText` + what().
    template <typename... Parts>
    bool execute(const char* failureText, const std::string& sql, Parts... parts) {
        try {
            Poco::FastMutex::ScopedLock statementLock(CDbSessionLock::mutex());
            Poco::Data::Statement statement(m_session);
            statement << sql;
            static_cast<void>((statement, ..., parts));
            statement, Poco::Data::Keywords::now;
            return true;
        } catch (const std::exception& e) {
            VXT_LOG_ERROR(failureText << e.what());
            return false;
        }
    }

    bool insertRow(const char* failureText, const std::string& sql, const Row& row) {
        return execute(failureText, sql, Poco::Data::Keywords::bind(row));
    }

    // Appends the rows that the SELECT gave to `out`, even those read before a failure.
    bool selectRows(const char* failureText, const std::string& sql, std::vector<Row>& out) {
        std::vector<Row> rows;
        const bool done = execute(failureText, sql, Poco::Data::Keywords::into(rows));
        out.insert(out.end(), rows.begin(), rows.end());
        return done;
    }

    // `sqlHead` ends in "IN (": the id list and the closing parenthesis are appended, not
    // bound. An empty set runs nothing.
    bool removeByIds(const char* failureText, const std::string& sqlHead,
                     const std::set<std::string>& ids) {
        if (ids.empty()) {
            return true;
        }
        std::string list;
        db_query_helper::combineDbStringFromList(ids, list);
        return execute(failureText, sqlHead + list + ")");
    }

    Poco::Data::Session& m_session;  // used only under CDbSessionLock
    Mutex m_mutex;
};

}  // namespace vx_transfers
