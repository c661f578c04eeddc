#include "vxt-service/CFaultTable.h"

namespace vxt_service {
namespace {
struct ActionName {
    FaultAction action;
    const char* name;
};
constexpr ActionName kActionNames[] = {
    {FaultAction::None, "none"},
    {FaultAction::CloseBeforeHeaders, "close-before-headers"},
    {FaultAction::CloseAfterHeaders, "close-after-headers"},
    {FaultAction::TruncateBody, "truncate-body"},
    {FaultAction::IgnoreRange, "ignore-range"},
    {FaultAction::RedirectLoop, "redirect-loop"},
    {FaultAction::ExpiredUrl, "expired-url"},
};
}  // namespace

bool CFaultTable::isRestRoute(const std::string& route) {
    return route != "data.put" && route != "data.get" && route != "unknown" && route != "control";
}

bool CFaultTable::routeMatches(const std::string& pattern, const std::string& route) {
    if (pattern == "any" || pattern == route) return true;
    if (pattern == "rest") return isRestRoute(route);
    if (pattern == "data") return route == "data.put" || route == "data.get";
    return false;
}

const char* CFaultTable::actionName(FaultAction action) {
    for (const auto& entry : kActionNames) {
        if (entry.action == action) return entry.name;
    }
    return "none";
}

bool CFaultTable::actionFromName(const std::string& name, FaultAction& out) {
    for (const auto& entry : kActionNames) {
        if (name == entry.name) {
            out = entry.action;
            return true;
        }
    }
    return false;
}

void CFaultTable::add(const FaultRule& fault) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.push_back(fault);
}

void CFaultTable::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.clear();
}

FaultRule CFaultTable::take(const std::string& route, const std::string& method,
                            const std::string& target) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_faults.begin(); it != m_faults.end(); ++it) {
        if (!routeMatches(it->route, route)) continue;
        if (!it->method.empty() && it->method != method) continue;
        if (!it->pathContains.empty() && target.find(it->pathContains) == std::string::npos) {
            continue;
        }
        FaultRule hit = *it;
        if (it->count > 0 && --it->count == 0) m_faults.erase(it);
        return hit;
    }
    return FaultRule{"any", "", "", 0, 0, 0, FaultAction::None, 0, ""};
}

}  // namespace vxt_service
