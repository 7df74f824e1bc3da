#include "db/engines/sqlite/SqliteFunctions.h"

#include <sys/random.h>

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "message/XmlReader.h"
#include "message/XmlText.h"

namespace hubdb {

namespace {

/// An argument's text; valid as long as the argument. Of NULL it is empty.
std::string_view textOf(sqlite3_value* value) {
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return bytes == nullptr ? std::string_view()
                            : std::string_view(bytes, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

void answer(sqlite3_context* context, std::string_view text) {
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

/// A function's work; nothing is thrown through SQLite.
template <class Work> void guarded(sqlite3_context* context, const Work& work) noexcept {
    try {
        work();
    } catch (...) { // of lack of memory
        sqlite3_result_error_nomem(context);
    }
}

/// randomblob(N), of which session tokens are made, from the system's cryptographic source, for N from 1 to 256. SQLite
/// seeds its own generator with the time where it cannot open that source.
void randomBlob(sqlite3_context* context, int /*arguments*/, sqlite3_value** values) {
    constexpr int kMost = 256; // what the source gives whole
    std::array<unsigned char, kMost> bytes{};
    const int size = sqlite3_value_int(values[0]);
    if (size > 0 && size <= kMost && getrandom(bytes.data(), static_cast<std::size_t>(size), 0) == size)
        sqlite3_result_blob(context, bytes.data(), size, SQLITE_TRANSIENT);
    else
        sqlite3_result_error(context, "randomblob gives 1 to 256 bytes, where the system has randomness", -1);
    explicit_bzero(bytes.data(), bytes.size());
}

/// hubXmlText(text)
void xmlText(sqlite3_context* context, int /*arguments*/, sqlite3_value** values) {
    guarded(context, [&] {
        if (sqlite3_value_type(values[0]) == SQLITE_NULL)
            return;
        constexpr std::size_t kKept = 4096;
        thread_local std::string escaped; // a list asks for it ten times a row
        escaped.clear();
        hubxml::appendText(escaped, textOf(values[0]));
        answer(context, escaped);
        if (escaped.size() > kKept)
            escaped = {};
    });
}

/// Collects the numbers in the attributes at a path "/root/element/@name".
class IdCollector final : public hubxml::ElementListener {
  public:
    explicit IdCollector(std::string_view path) {
        for (path.remove_prefix(1); path.find('/') != std::string_view::npos; path.remove_prefix(path.find('/') + 1))
            elements_.push_back(path.substr(0, path.find('/')));
        attribute_ = path.substr(1);
    }

    int startElement(const char* name, hubxml::Attributes attributes) override {
        if (depth_ == 0 && name != elements_.front())
            return kMessageWrongType;
        const bool onPath = matched_ == depth_ && depth_ < elements_.size() && name == elements_[depth_];
        ++depth_;
        if (!onPath)
            return kMessageOk;
        ++matched_;
        if (matched_ == elements_.size())
            for (; !attributes.atEnd(); attributes.next())
                if (attributes.name() == attribute_)
                    return collect(attributes.value());
        return kMessageOk;
    }

    int endElement() override {
        if (matched_ == depth_--)
            matched_ = depth_;
        return kMessageOk;
    }

    /// Empty for none.
    std::string json() const { return members_.empty() ? std::string() : "{" + members_ + "}"; }

  private:
    int collect(std::string_view list) {
        while (!list.empty()) {
            const std::string_view word = list.substr(0, list.find(' '));
            int id = 0;
            if (!hubxml::readNumber(word, id))
                return kMessageBadValue;
            ((((members_ += members_.empty() ? "" : ",") += '"') += std::to_string(id)) += "\":1");
            list.remove_prefix(word.size());
            if (list == " ")
                return kMessageBadValue;
            list.remove_prefix(list.empty() ? 0 : 1);
        }
        return kMessageOk;
    }

    std::vector<std::string_view> elements_;
    std::string_view attribute_;
    std::size_t depth_ = 0;   ///< open elements
    std::size_t matched_ = 0; ///< how many of them, from the root on, are those of the path
    std::string members_;
};

/// hubXmlIds(xml, path)
void xmlIds(sqlite3_context* context, int /*arguments*/, sqlite3_value** values) {
    guarded(context, [&] {
        IdCollector ids(textOf(values[1]));
        const int status = hubxml::readDocument(textOf(values[0]), ids);
        const std::string json = ids.json();
        if (status != kMessageOk)
            sqlite3_result_error(context, (std::string("the request is refused: ") + messageStatusText(status)).c_str(),
                                 -1);
        else if (!json.empty())
            answer(context, json);
    });
}

/// string_agg(text, separator): the texts of a group.
void addText(sqlite3_context* context, int /*arguments*/, sqlite3_value** values) {
    auto** const text = static_cast<std::string**>(sqlite3_aggregate_context(context, sizeof(std::string*)));
    guarded(context, [&] {
        if (text == nullptr)
            throw std::bad_alloc();
        if (*text == nullptr)
            *text = new std::string();
        else
            **text += textOf(values[1]);
        **text += textOf(values[0]);
    });
}

void endText(sqlite3_context* context) {
    auto** const held = static_cast<std::string**>(sqlite3_aggregate_context(context, 0));
    if (held == nullptr || *held == nullptr)
        return;
    const std::unique_ptr<std::string> text(*held);
    answer(context, *text);
}

} // namespace

int addSqliteFunctions(sqlite3* database) {
    struct Function {
        const char* name;
        int arguments;
        int flags;
        void (*call)(sqlite3_context*, int, sqlite3_value**);
        void (*step)(sqlite3_context*, int, sqlite3_value**);
        void (*end)(sqlite3_context*);
    };
    constexpr std::array kFunctions{
        Function{"randomblob", 1, 0, &randomBlob, nullptr, nullptr},
        Function{"hubXmlText", 1, SQLITE_DETERMINISTIC, &xmlText, nullptr, nullptr},
        Function{"hubXmlIds", 2, SQLITE_DETERMINISTIC, &xmlIds, nullptr, nullptr},
        Function{"string_agg", 2, SQLITE_DETERMINISTIC, nullptr, &addText, &endText},
    };
    for (const Function& function : kFunctions)
        if (const int code = sqlite3_create_function_v2(database, function.name, function.arguments,
                                                        SQLITE_UTF8 | SQLITE_INNOCUOUS | function.flags, nullptr,
                                                        function.call, function.step, function.end, nullptr);
            code != SQLITE_OK)
            return code;
    return SQLITE_OK;
}

} // namespace hubdb
