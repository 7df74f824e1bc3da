#include "db/engines/sqlite/EmbeddedProcedures.h"

#include <map>
#include <mutex>

#include "schema/Procedures.h"

namespace hubdb {

namespace {

struct Registry {
    std::mutex mutex;
    std::map<std::string, std::string> texts;

    Registry() {
        for (const auto& procedure : procedureTexts())
            texts.emplace(procedure.name, procedure.sql);
    }
};

Registry& registry() {
    static Registry instance;
    return instance;
}

} // namespace

void EmbeddedProcedures::add(const std::string& name, const std::string& sql) {
    const std::lock_guard lock(registry().mutex);
    registry().texts[name] = sql;
}

std::string EmbeddedProcedures::find(const std::string& name) {
    const std::lock_guard lock(registry().mutex);
    const auto found = registry().texts.find(name);
    return found == registry().texts.end() ? std::string() : found->second;
}

} // namespace hubdb
