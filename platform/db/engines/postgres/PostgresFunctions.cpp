#include "db/engines/postgres/PostgresFunctions.h"

#include <algorithm>

#include "db/engines/postgres/PostgresSql.h"
#include "message/XmlText.h"
#include "schema/Procedures.h"

namespace hubdb {

namespace {

struct Definition {
    std::string name;
    std::string arguments; ///< their types
    std::string result;
    const char* language;
    const char* volatility;
    std::string body;
};

FunctionText textOf(const Definition& function) {
    const std::string call = function.name + "(" + function.arguments + ")";
    return {function.name,
            function.arguments + " returns " + function.result + " " + function.language + " " + function.volatility,
            function.body,
            "DROP FUNCTION IF EXISTS " + call + "; CREATE FUNCTION " + call + " RETURNS " + function.result +
                " LANGUAGE " + function.language + " " + function.volatility + " AS $vsdk$" + function.body +
                "$vsdk$; REVOKE ALL ON FUNCTION " + call + " FROM PUBLIC"};
}

std::string resultType(const OVDBRowDeclaration& procedure) {
    std::string columns;
    for (const auto& column : procedure.columns)
        columns += (columns.empty() ? "TABLE(" : ", ") + std::string(column.name) + " " + postgresType(column);
    return columns.empty() ? "SETOF text" : columns + ")";
}

std::string quoted(const std::string& text) {
    return "'" + text + "'"; // of nothing that holds a quote
}

/// hubXmlText: what hubxml::appendText() makes of each character that it changes, the backslash first and the & before
/// what writes one.
Definition xmlText() {
    std::string replaced = "$1";
    const auto replace = [&replaced](const std::string& character) {
        std::string escape;
        hubxml::appendText(escape, character);
        replaced = "replace(" + replaced + ", " + quoted(character) + ", " + quoted(escape) + ")";
    };
    for (const char c : std::string("\\&<>\""))
        replace({c});
    for (char c = 1; c < ' '; ++c)
        replace({c});
    replace("\xEF\xBF\xBE");
    replace("\xEF\xBF\xBF");
    return {"hubXmlText", "text",
            "text",       "sql",
            "IMMUTABLE",  R"(SELECT CASE WHEN $1 ~ '[\x01-\x1F&<>"\\\uFFFE\uFFFF]' THEN )" + replaced + " ELSE $1 END"};
}

Definition xmlIds() {
    return {"hubXmlIds", "text, text", "json", "plpgsql", "STABLE", R"(
DECLARE
    root text := split_part($2, '/', 2);
    document xml;
    ids text[];
BEGIN
    IF $1 ~ '^(\s|<\?.*?\?>|<!--.*?-->)*<!DOCTYPE' THEN -- before its entities are expanded
        RAISE EXCEPTION 'the request is refused: it has a document type';
    END IF;
    document := XMLPARSE(DOCUMENT $1);
    IF NOT xpath_exists('/' || root, document) THEN
        RAISE EXCEPTION 'the request is refused: it is another message than %', root;
    END IF;
    ids := ARRAY(SELECT id FROM unnest(xpath($2, document)) list, unnest(string_to_array(CAST(list AS text), ' ')) id);
    IF EXISTS (SELECT FROM unnest(ids) id WHERE id !~ '^-?[0-9]+$') THEN
        RAISE EXCEPTION 'the request is refused: a value in it cannot be read';
    END IF;
    RETURN (SELECT json_object_agg(CAST(id AS integer), 1) FROM unnest(ids) id);
END)"};
}

} // namespace

std::string postgresType(const OVDBColumn& column) {
    return !column.isInteger() ? "text" : column.kind == OVDBColumnKind::kInt ? "integer" : "bigint";
}

std::vector<FunctionText> postgresFunctions(std::span<const OVDBRowDeclaration* const> procedures) {
    std::vector<FunctionText> functions{textOf(xmlText()), textOf(xmlIds())};
    const auto texts = procedureTexts();
    for (const OVDBRowDeclaration* const procedure : procedures) {
        const auto text = std::ranges::find(texts, procedure->object, &ProcedureText::name);
        if (text != texts.end())
            functions.push_back(textOf({std::string(text->name), text->inputs, resultType(*procedure), "sql",
                                        procedure->readsOnly ? "STABLE" : "VOLATILE", postgresSql(text->sql)}));
    }
    return functions;
}

} // namespace hubdb
