#include "vcommand/kinds/Paths.h"

#include <set>

#include "vcommand/Failures.h"

namespace {

constexpr std::size_t kAppTypeColumn = 2;
static_assert(std::string_view(APP_Application_t2::kColumns[kAppTypeColumn].name) == "appTypeId");

} // namespace

std::vector<Path> pathsOf(APP_Application& subclients, PathPlace last, int code) {
    std::set<Path> paths;
    subclients.setIsolationType(4);
    int state = 0;
    while (getNextRow(&subclients, &state, -1, 0) == kDbOk) {
        const APP_Application_t& row = *subclients.getDataPtr();
        const bool unset = subclients.getIndicator(kAppTypeColumn) < 0;
        Path path{row.clientId, unset ? -1 : row.appTypeId, row.instance, row.backupSet, row.id};
        path.resize(last + 1);
        paths.insert(path);
    }
    throwDatabaseFailure(code);
    return {paths.begin(), paths.end()};
}
