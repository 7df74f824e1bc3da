#include "vcommand/Commands.h"

#include "db/HubDatabase.h"

namespace {

Row rowOf(const Path& path, int id, const Entity* entity, bool alone) {
    Row row;
    for (const int above : path)
        row.push_back(toValue(above));
    row.push_back(toValue(id));
    if (entity != nullptr)
        entity->addTo(row, alone);
    return row;
}

/// "client 2, agent type 33"
std::string placeOf(const Scope& scope, const Row& row) {
    std::string text;
    for (std::size_t place = 0; place + 1 < scope.chain.size(); ++place)
        text += (place == 0 ? "" : ", ") + std::string(scope.chain[place]->names.one) + " " + cellText(row[place], "");
    return text;
}

} // namespace

Answer listEntities(const Scope& scope, const Arrangement& arrangement) {
    HubDatabase::clearLastFailure();
    Answer answer{scope.kind, scope.kind.columns(scope.properties, false), {}, arrangement.columns()};
    Walk walk(scope);
    walk.run([&](const Path& path, int id, const Entity* entity) {
        if (Row row = rowOf(path, id, entity, false); arrangement.passes(row))
            answer.rows.push_back(std::move(row));
        return !arrangement.isEnough(answer.rows.size());
    });
    arrangement.arrange(answer.rows);

    for (std::size_t place = 0; place + 1 < scope.chain.size(); ++place) {
        if (!scope.selectors[place])
            continue;
        answer.columns[place].use = Use::kDetail; // a person has just said it
        const Kind& kind = *scope.chain[place];
        const auto& [id, name] = walk.found(place);
        answer.scope.emplace_back(memberWord(kind.names.one),
                                  kind.isNumber() ? Json(id) : Json{{kind.names.idColumn, id}, {"name", name}});
    }
    return answer;
}

Answer showEntity(const Scope& scope) {
    HubDatabase::clearLastFailure();
    Answer answer{scope.kind, scope.kind.columns(true, true), {}};
    Walk walk(scope);
    walk.run([&](const Path& path, int id, const Entity* entity) {
        answer.rows.push_back(rowOf(path, id, entity, true));
        return answer.rows.size() < 2;
    });
    if (answer.rows.size() > 1)
        throw tools::CommandError(tools::kExitRefused,
                                  std::string("there are several such ") + scope.kind.names.many + ", of " +
                                      placeOf(scope, answer.rows[0]) + " and of " + placeOf(scope, answer.rows[1]) +
                                      " for instance: say which by the options",
                                  tools::kInvalidArgument);
    if (walk.code() != 0)
        answer.incomplete.emplace(tools::kExitFailed, "not all of its properties could be read", walk.code());
    return answer;
}
