#include "vcommand/Walk.h"

#include <algorithm>
#include <set>

namespace {

std::string listed(const std::map<int, std::string>& ids) {
    constexpr std::size_t kShown = 10;
    std::string text;
    std::size_t count = 0;
    for (const auto& [id, name] : ids)
        if (count++ < kShown)
            text += (text.empty() ? "" : ", ") + std::to_string(id);
    return count <= kShown ? text : text + " and " + std::to_string(count - kShown) + " more";
}

} // namespace

void Walk::run(const Take& take) {
    take_ = &take;
    for (std::size_t place = scope_.chain.size(); place-- > 1 && !only_;)
        if (const auto& wanted = scope_.selectors[place]; wanted && wanted->id)
            only_ = scope_.chain[place]->paths(*wanted->id);
    below();
    check();
}

/// Goes through what is below the path.
void Walk::below() {
    if (wanted())
        if (const auto known = kind().find(*wanted())) {
            for (const auto& [id, name] : *known)
                found_[place()][id] = name;
            if (known->size() == 1)
                enter(known->front().id, nullptr);
            return;
        }
    if (only_ && (only_->empty() || place() < only_->front().size())) {
        std::set<int> ids;
        for (const Path& path : *only_)
            if (std::equal(path_.begin(), path_.end(), path.begin()))
                ids.insert(path[place()]);
        for (const int id : ids)
            consider(id, nullptr);
        return;
    }
    const bool byId = wanted() && wanted()->id;
    const bool byName = wanted() && !byId;
    const Reading how{.properties = byName || (isLast() && scope_.properties && !byId),
                      .all = scope_.all || wanted(),
                      .parents = !isLast(),
                      .wanted = byId ? wanted()->id : std::nullopt};
    kind().list(path_, how, [&](const Entity& entity) { consider(entity.id(), how.properties ? &entity : nullptr); });
}

void Walk::consider(int id, const Entity* listed) {
    if (done_)
        return;
    if (const auto& selector = wanted()) {
        if (selector->id ? id != *selector->id : nameOf(id, listed) != selector->text)
            return;
        if (auto& found = found_[place()]; !found.contains(id))
            found[id] = isLast() ? "" : nameOf(id, listed);
    }
    enter(id, listed);
}

/// Goes on with an entity that belongs to the scope.
void Walk::enter(int id, const Entity* listed) {
    if (!isLast()) {
        path_.push_back(id);
        below();
        path_.pop_back();
        return;
    }
    bool more = true;
    const auto take = [&](const Entity& entity) { more = (*take_)(path_, id, &entity); };
    if (!scope_.properties)
        more = (*take_)(path_, id, nullptr);
    else if (listed != nullptr && !scope_.alone)
        take(*listed);
    else
        code_ = kind().read(path_, id, take);
    // A name may turn out to be another entity's too.
    done_ =
        !more && std::ranges::all_of(scope_.selectors, [](const auto& selector) { return !selector || selector->id; });
}

std::string Walk::nameOf(int id, const Entity* listed) const {
    if (listed != nullptr)
        return listed->name();
    std::string name;
    (void)kind().read(path_, id, [&](const Entity& entity) { name = entity.name(); });
    return name;
}

void Walk::check() const {
    for (std::size_t place = 0; place < found_.size(); ++place) {
        const auto& selector = scope_.selectors[place];
        if (!selector)
            continue;
        const auto& names = scope_.chain[place]->names;
        if (found_[place].empty())
            throw tools::CommandError(
                tools::kExitNotFound,
                std::string("there is no ") + names.one +
                    (selector->id ? " with the id " + selector->text : " named '" + selector->text + "'"),
                tools::kInvalidArgument);
        if (found_[place].size() > 1)
            throw tools::CommandError(tools::kExitRefused,
                                      std::string("several ") + names.many + " are named '" + selector->text +
                                          "': use one of the ids " + listed(found_[place]),
                                      tools::kInvalidArgument);
    }
}
