#pragma once

#include <set>
#include <string>

namespace vx_transfers {
namespace db_query_helper {

// The text of an SQL IN list for the bulk removes: each id between double quotes, in the
// set's order, separated by commas ("a","b"). The ids are neither escaped nor bound, so only
// ids that the library made or got from the service may pass here. An empty set leaves
// `out` as it was.
void combineDbStringFromList(const std::set<std::string>& ids, std::string& out);

}  // namespace db_query_helper
}  // namespace vx_transfers
