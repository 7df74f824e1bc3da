#pragma once

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "vcommand/Kind.h"

/// Which entities a command is about.
struct Scope {
    explicit Scope(const Kind& target) : kind(target), chain(target.chain()), selectors(chain.size()) {}

    const Kind& kind;
    std::vector<const Kind*> chain;
    std::vector<std::optional<Selector>> selectors; ///< along the chain; none: all that there are
    bool properties = true;
    bool all = false;   ///< also subclients that lists leave out
    bool alone = false; ///< one entity is wanted, with all that can be read of it
};

/// Finds the entities of a scope by walking the library's lists from the top down, in their order.
class Walk {
  public:
    /// What is done with an entity: its path without itself, its id, and itself, which is null where nothing but ids
    /// is read. False: no more are needed.
    using Take = std::function<bool(const Path&, int id, const Entity*)>;

    explicit Walk(const Scope& scope) : scope_(scope), found_(scope.chain.size()) {}

    /// Throws a tools::CommandError when the database fails, when nothing is what a selector says, and when what it
    /// says is ambiguous.
    void run(const Take& take);

    /// What the selector at a place of the chain has found.
    const std::pair<const int, std::string>& found(std::size_t place) const { return *found_.at(place).begin(); }
    /// The library's code for the properties of the entity that was read for itself last.
    int code() const { return code_; }

  private:
    void below();
    void consider(int id, const Entity* listed);
    void enter(int id, const Entity* listed);
    std::string nameOf(int id, const Entity* listed) const;
    void check() const;

    std::size_t place() const { return path_.size(); }
    const Kind& kind() const { return *scope_.chain[place()]; }
    const std::optional<Selector>& wanted() const { return scope_.selectors[place()]; }
    bool isLast() const { return place() + 1 == scope_.chain.size(); }

    const Scope& scope_;
    const Take* take_ = nullptr;
    Path path_;                                     ///< where the walk is
    std::optional<std::vector<Path>> only_;         ///< where an id that is wanted lies
    std::vector<std::map<int, std::string>> found_; ///< by selectors, along the chain
    int code_ = 0;
    bool done_ = false;
};
