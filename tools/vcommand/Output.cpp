#include "vcommand/Output.h"

#include <algorithm>
#include <cctype>

#include "common/Table.h"
#include "common/Tool.h"
#include "common/VSDKErrors.h"

namespace {

using Columns = std::vector<std::size_t>;

Columns columnsFor(const Answer& answer, bool brief) {
    if (answer.chosen)
        return *answer.chosen;
    Columns columns;
    for (std::size_t i = 0; i < answer.columns.size(); ++i)
        if (!brief || answer.columns[i].use == Use::kId || answer.columns[i].use == Use::kBrief)
            columns.push_back(i);
    return columns;
}

/// "storagePolicy" is "STORAGE POLICY".
std::string titleOf(const std::string& name) {
    std::string title;
    for (const char c : name) {
        const auto letter = static_cast<unsigned char>(c);
        if (std::isupper(letter) != 0)
            title += ' ';
        title += static_cast<char>(std::toupper(letter));
    }
    return title;
}

/// What a person reads.
std::string plain(const Value& value, Type type) {
    if (type != Type::kTime)
        return cellText(value, "; ");
    const auto time = std::get<std::int64_t>(value);
    return time == 0 ? "" : UnixTimeToLocTimeString(static_cast<unsigned long>(time));
}

Json jsonOf(const Value& value, Type type) {
    return std::visit(
        [type](const auto& held) -> Json {
            if constexpr (std::is_same_v<decltype(held), const std::vector<Item>&>) {
                const char* const number = type == Type::kReasons ? "code" : "id";
                const char* const text = type == Type::kReasons ? "text" : "name";
                Json all = Json::array();
                for (const Item& item : held)
                    all.push_back(item.id ? Json{{number, *item.id}, {text, item.text}} : Json(item.text));
                return all;
            } else {
                return held;
            }
        },
        value);
}

Json jsonOf(const Answer& answer, const Row& row, const Columns& columns) {
    Json object = Json::object();
    for (const std::size_t i : columns)
        object[answer.columns[i].name] = jsonOf(row[i], answer.columns[i].type);
    return object;
}

std::string dumped(const Json& document, int indent, bool& replaced) {
    try {
        return document.dump(indent);
    } catch (const Json::type_error&) {
        replaced = true;
        return document.dump(indent, ' ', false, Json::error_handler_t::replace);
    }
}

std::string csvField(const std::string& text) {
    if (text.find_first_of("\",\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + '"';
}

} // namespace

std::string tableText(const Answer& answer, std::size_t width) {
    const Columns shown = columnsFor(answer, true);
    std::vector<tools::Table::Column> titles;
    for (const std::size_t i : shown) {
        const auto& [name, type, use] = answer.columns[i];
        titles.push_back(
            {titleOf(name), type == Type::kNumber ? tools::Table::Align::kRight : tools::Table::Align::kLeft});
    }
    tools::Table table(std::move(titles));
    for (const Row& row : answer.rows) {
        std::vector<std::string> cells;
        for (const std::size_t i : shown)
            cells.push_back(plain(row[i], answer.columns[i].type));
        table.addRow(cells);
    }
    return table.text(width);
}

std::string fieldsText(const Answer& answer) {
    std::size_t width = 0;
    for (const Column& column : answer.columns)
        width = std::max(width, column.name.size());
    std::string text;
    const auto addLine = [&](const std::string& name, const std::string& value) {
        text += name + ":" + std::string(width - name.size() + 1, ' ') + (value.empty() ? "-" : tools::escaped(value)) +
                "\n";
    };
    for (const Row& row : answer.rows) {
        text += text.empty() ? "" : "\n";
        for (std::size_t i = 0; i < row.size(); ++i) {
            const auto& [name, type, use] = answer.columns[i];
            const auto* const items = std::get_if<std::vector<Item>>(&row[i]);
            if (items == nullptr || items->empty())
                addLine(name, plain(row[i], type));
            else
                for (const Item& item : *items)
                    addLine(name, itemText(item));
        }
    }
    return text;
}

std::string csvText(const Answer& answer) {
    const Columns shown = columnsFor(answer, false);
    std::string text;
    const auto addLine = [&](const auto& cell) {
        std::string line;
        for (std::size_t at = 0; at < shown.size(); ++at)
            (line += at == 0 ? "" : ",") += csvField(cell(shown[at]));
        text += line.empty() ? "\"\"\n" : line + "\n"; // an empty line is no record
    };
    addLine([&](std::size_t i) { return answer.columns[i].name; });
    for (const Row& row : answer.rows)
        addLine([&](std::size_t i) { return cellText(row[i], "\n"); });
    return text;
}

std::string jsonListText(const Answer& answer) {
    const Columns shown = columnsFor(answer, false);
    bool replaced = false;
    std::string text = "{\n";
    for (const auto& [name, value] : answer.scope)
        text += "  \"" + name + "\": " + dumped(value, -1, replaced) + ",\n";
    text += "  \"" + memberWord(answer.kind.names.many) + "\": [";
    const char* before = "\n    ";
    for (const Row& row : answer.rows) {
        text += before + dumped(jsonOf(answer, row, shown), -1, replaced);
        before = ",\n    ";
    }
    text += answer.rows.empty() ? "]" : "\n  ]";
    return text + (replaced ? ",\n  \"replaced\": true\n}\n" : "\n}\n");
}

Json jsonOf(const Answer& answer) {
    const Columns shown = columnsFor(answer, false);
    Json document = Json::object();
    for (const Row& row : answer.rows)
        document[memberWord(answer.kind.names.one)] = jsonOf(answer, row, shown);
    return document;
}

std::string jsonText(Json document) {
    constexpr int kIndent = 2;
    bool replaced = false;
    std::string text = dumped(document, kIndent, replaced);
    if (replaced) {
        document["replaced"] = true;
        text = dumped(document, kIndent, replaced);
    }
    return text + "\n";
}
