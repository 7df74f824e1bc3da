#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vcommand/Failures.h"
#include "vcommand/Value.h"

class Kind;

/// How a command line names an entity: a whole number is its id, any other text its name as lists show it, compared
/// byte by byte.
struct Selector {
    /// Throws a tools::CommandError for what names none.
    Selector(const Kind& kind, const std::string& text);

    std::string text;
    std::optional<int> id;
};

/// The ids of the entities from the top to the one in question: client, agent type ...
using Path = std::vector<int>;
/// Places in the path of a kind below a client, and of a snapshot.
enum PathPlace : std::size_t { kClient, kAgentType, kInstance, kBackupSet, kSubclient, kHubCell = 0, kJob };

/// An entity that was read, as far as commands need to know. Not to be kept.
class Entity {
  public:
    virtual ~Entity() = default;
    virtual int id() const = 0;
    virtual std::string name() const = 0;
    /// Appends the values of its kind's fields, or only those of a list.
    virtual void addTo(Row& row, bool alone) const = 0;
};

/// What of a list is to be read.
struct Reading {
    bool properties = false;     ///< else only ids
    bool all = false;            ///< also what is left out otherwise
    bool parents = false;        ///< for the sake of what is below
    std::optional<int> wanted{}; ///< the only id that is of interest
};

/// A kind of entity that commands list and show: what it is called, where it belongs, and how the library reads it.
/// All kinds live as long as the process.
class Kind {
  public:
    struct Names {
        const char* one;              ///< "backup set"
        const char* many;             ///< "backup sets"
        const char* about = "";       ///< what `list` says of itself
        const Kind* above = nullptr;  ///< what it belongs to; null at the top
        int fetchFailed = 0;          ///< the code of the catalogue for reads that fail
        const char* idColumn = "id";  ///< what its own ids are called
        std::optional<int> implied{}; ///< its id where a command line gives none
    };
    struct Named {
        int id;
        std::string name;
    };
    using Visit = std::function<void(const Entity&)>;

    virtual ~Kind() = default;
    Kind(const Kind&) = delete;
    Kind& operator=(const Kind&) = delete;

    const Names names;

    /// From the top to this kind.
    std::vector<const Kind*> chain() const;
    /// The ids along the chain, then, unless only ids are read, the fields.
    std::vector<Column> columns(bool properties, bool alone) const;

    /// Calls `visit` with each entity below those of the path. Throws a tools::CommandError when the database fails.
    virtual void list(const Path& at, const Reading& how, const Visit& visit) const = 0;
    /// Calls `visit` with the entity, its properties read for itself, and returns the library's code for that: what is
    /// not 0 left some unset. Throws as list() does.
    virtual int read(const Path& at, int id, const Visit& visit) const = 0;
    /// The entities that are meant, where that can be told without the list.
    virtual std::optional<std::vector<Named>> find(const Selector& /*selector*/) const { return std::nullopt; }
    /// The paths, itself included, of the entity with an id, where that can be told without walking down to it.
    virtual std::optional<std::vector<Path>> paths(int /*id*/) const { return std::nullopt; }
    /// Whether it is no more than a number, which a command line gives.
    virtual bool isNumber() const { return false; }

  protected:
    explicit Kind(const Names& given) : names(given) {}
    virtual void addFields(std::vector<Column>& columns, bool alone) const = 0;
};

/// What is only a number: there is no list of them.
class NumberKind final : public Kind {
  public:
    explicit NumberKind(const Names& given) : Kind(given) {}
    void list(const Path&, const Reading&, const Visit&) const override {}
    int read(const Path&, int, const Visit&) const override { return 0; }
    std::optional<std::vector<Named>> find(const Selector& selector) const override { return {{{*selector.id, ""}}}; }
    bool isNumber() const override { return true; }

  private:
    void addFields(std::vector<Column>&, bool) const override {}
};

/// A column after the ids: its name, its use, and where its value comes from, which is a member of the element or a
/// function of the element or of path and element.
template <class Element> struct Field {
    template <class Get>
    Field(const char* name, Use use, Get get)
        : column{name, typeOf<decltype(from(get, {}, std::declval<const Element&>()))>(), use},
          value([get](const Path& at, const Element& element) { return toValue(from(get, at, element)); }) {}
    template <class Get> Field(const char* name, Use use, Type type, Get get) : Field(name, use, get) {
        column.type = type;
    }

    Column column;
    std::function<Value(const Path&, const Element&)> value;

  private:
    template <class Get> static decltype(auto) from(const Get& get, const Path& at, const Element& element) {
        if constexpr (std::is_invocable_v<const Get&, const Path&, const Element&>)
            return get(at, element);
        else
            return std::invoke(get, element);
    }
};

/// How the library reads the entities of a kind into objects of a class.
template <class Element> struct Reader {
    std::function<int(const Element&)> id;
    std::function<std::string(const Path&, const Element&)> name;
    std::function<void(const Path&, const Reading&, const std::function<void(Element&)>&)> list;
    /// An entity by its id, and the fetch of its properties; of no kind whose list reads all.
    std::function<Element(const Path&, int)> make{};
    std::function<int(Element&)> fetch{};
    std::function<std::optional<std::vector<Kind::Named>>(const Selector&)> find{};
    std::function<std::vector<Path>(int)> paths{};
};

template <class Element> class KindOf final : public Kind {
  public:
    KindOf(const Names& given, Reader<Element> reader, std::vector<Field<Element>> fields)
        : Kind(given), reader_(std::move(reader)), fields_(std::move(fields)) {}

    void list(const Path& at, const Reading& how, const Visit& visit) const override {
        reader_.list(at, how, [&](const Element& element) {
            throwDatabaseFailure(names.fetchFailed); // before what is below is read
            visit(View(*this, at, element));
        });
        throwDatabaseFailure(names.fetchFailed);
    }

    int read(const Path& at, int id, const Visit& visit) const override {
        if (!reader_.make) {
            list(at, {.properties = true}, [&](const Entity& entity) {
                if (entity.id() == id)
                    visit(entity);
            });
            return 0;
        }
        Element element = reader_.make(at, id);
        const int code = reader_.fetch(element);
        throwDatabaseFailure(names.fetchFailed);
        visit(View(*this, at, element));
        throwDatabaseFailure(names.fetchFailed); // of the fields that read more
        return code;
    }

    std::optional<std::vector<Named>> find(const Selector& selector) const override {
        if (reader_.find)
            return reader_.find(selector);
        if (names.above != nullptr || !selector.id)
            return std::nullopt;
        std::vector<Named> found; // also what the list leaves out; what it lists without properties is found there
        if (read({}, *selector.id, [&](const Entity& it) { found.push_back({it.id(), it.name()}); }) != 0)
            return std::nullopt;
        return found;
    }
    std::optional<std::vector<Path>> paths(int id) const override {
        return reader_.paths ? std::optional(reader_.paths(id)) : std::nullopt;
    }

  private:
    class View final : public Entity {
      public:
        View(const KindOf& kind, const Path& at, const Element& element) : kind_(kind), at_(at), element_(element) {}
        int id() const override { return kind_.reader_.id(element_); }
        std::string name() const override { return kind_.reader_.name(at_, element_); }
        void addTo(Row& row, bool alone) const override {
            for (const auto& field : kind_.fields_)
                if (alone || field.column.use != Use::kAlone)
                    row.push_back(field.value(at_, element_));
        }

      private:
        const KindOf& kind_;
        const Path& at_;
        const Element& element_;
    };

    void addFields(std::vector<Column>& columns, bool alone) const override {
        for (const auto& field : fields_)
            if (alone || field.column.use != Use::kAlone)
                columns.push_back(field.column);
    }

    Reader<Element> reader_;
    std::vector<Field<Element>> fields_;
};

/// "backupset", as the command line has it.
std::string commandWord(const char* words);
/// "backupSet", as JSON and columns have it.
std::string memberWord(const char* words);

/// All kinds, in the order in which help shows them.
const std::vector<const Kind*>& kinds();
