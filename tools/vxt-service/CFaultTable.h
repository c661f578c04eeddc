// Scripted misbehaviour: each fault applies to the next `count` requests that match its route,
// method and path, in the order the faults were added.
#ifndef VXT_SERVICE_CFAULTTABLE_H
#define VXT_SERVICE_CFAULTTABLE_H

#include <cstdint>
#include <list>
#include <mutex>
#include <string>

namespace vxt_service {

enum class FaultAction {
    None,
    CloseBeforeHeaders,
    CloseAfterHeaders,
    TruncateBody,
    IgnoreRange,
    RedirectLoop,
    ExpiredUrl,
};

struct FaultRule {
    std::string route = "any";
    std::string method;
    std::string pathContains;
    int count = 1;  // -1: until cleared
    int status = 0;
    unsigned int delayMs = 0;
    FaultAction action = FaultAction::None;
    std::uint64_t afterBytes = 0;
    std::string location;

    bool active() const { return status != 0 || delayMs != 0 || action != FaultAction::None; }
};

class CFaultTable {
public:
    // Route-name matching: "any", "rest" (every REST route), "data" (data.put and data.get).
    static bool routeMatches(const std::string& pattern, const std::string& route);
    static bool isRestRoute(const std::string& route);

    static const char* actionName(FaultAction action);
    // False for an unknown name.
    static bool actionFromName(const std::string& name, FaultAction& out);

    void add(const FaultRule& fault);
    void clear();
    // The first fault matching this request, with its count consumed; an inactive rule if none.
    FaultRule take(const std::string& route, const std::string& method, const std::string& target);

private:
    std::mutex m_mutex;
    std::list<FaultRule> m_faults;  // guarded by m_mutex
};

}  // namespace vxt_service

#endif
