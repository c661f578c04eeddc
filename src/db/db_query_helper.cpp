#include "db/db_query_helper.h"

namespace vx_transfers {
namespace db_query_helper {

void combineDbStringFromList(const std::set<std::string>& ids, std::string& out) {
    if (ids.empty()) {
        return;
    }
    out.clear();
    for (const std::string& id : ids) {
        out += '"';
        out += id;
        out += "\",";
    }
    out.erase(out.size() - 1);
}

}  // namespace db_query_helper
}  // namespace vx_transfers
