#include "db/DBForm.h"

#include <cctype>
#include <mutex>
#include <unordered_map>

#include "db/DBStatus.h"
#include "db/DBText.h"

namespace hubdb {

namespace {

/// Forms that the program uses are literals, a few hundred at most; the bound only keeps texts that are made at run
/// time from growing without end.
constexpr std::size_t kFormsMax = 1024;

std::shared_ptr<const Form> fromProcessCache(const char* text) {
    static std::mutex mutex;
    static std::unordered_map<std::string, std::shared_ptr<const Form>> forms;
    const std::lock_guard lock(mutex);
    if (const auto found = forms.find(text); found != forms.end())
        return found->second;
    if (forms.size() >= kFormsMax)
        forms.clear();
    return forms.emplace(text, std::make_shared<const Form>(text)).first->second;
}

bool isNameCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

} // namespace

std::shared_ptr<const Form> Form::of(const char* text) {
    if (text == nullptr) {
        static const auto kNone = std::make_shared<const Form>("%"); // refused like any text that is no form
        return kNone;
    }
    // A literal's address is a good first guess; the text decides.
    struct Guess {
        const char* address = nullptr;
        std::shared_ptr<const Form> form;
    };
    thread_local std::array<Guess, 64> guesses;
    Guess& guess = guesses[(reinterpret_cast<std::uintptr_t>(text) >> 3U) % guesses.size()];
    if (guess.address == text && guess.form->text_ == text)
        return guess.form;
    guess.form = fromProcessCache(text);
    guess.address = text;
    return guess.form;
}

Form::Form(const char* text) : text_(text) {
    error_ = compile();
    if (!error_.empty()) {
        sql_.clear();
        conversions_.clear();
    }
}

std::string Form::compile() {
    const std::string& in = text_;
    const auto startsWith = [&in](std::size_t at, std::string_view what) {
        return in.compare(at, what.size(), what) == 0;
    };
    const auto placeholder = [this](Conversion conversion) {
        conversions_.push_back(conversion);
        sql_ += "? ";
    };
    for (std::size_t i = 0; i < in.size();) {
        const char c = in[i];
        if (c == 'N' && i + 1 < in.size() && in[i + 1] == '\'' && (i == 0 || !isNameCharacter(in[i - 1]))) {
            ++i; // a national literal is a literal: all texts are UTF-8
            continue;
        }
        if (c == '\'') {
            if (startsWith(i, "'%s'")) {
                placeholder(Conversion::kText);
                i += 4;
                continue;
            }
            std::string literal;
            std::size_t end = i + 1;
            for (; end < in.size(); ++end) {
                if (in[end] == '\'' && !startsWith(end, "''"))
                    break;
                literal += in[end];
                if (in[end] == '\'')
                    literal += in[++end];
                else if (in[end] == '%' && !startsWith(end++, "%%"))
                    return "a conversion inside a literal must be the whole literal: '%s'";
            }
            if (end >= in.size())
                return "a literal does not end";
            sql_ += '\'' + literal + '\'';
            i = end + 1;
            continue;
        }
        if (c == '%') {
            static constexpr std::pair<std::string_view, Conversion> kConversions[] = {
                {"%d", Conversion::kInt},        {"%i", Conversion::kInt},        {"%u", Conversion::kUnsigned},
                {"%ld", Conversion::kLong},      {"%li", Conversion::kLong},      {"%lu", Conversion::kLong},
                {"%lld", Conversion::kLongLong}, {"%lli", Conversion::kLongLong}, {"%llu", Conversion::kLongLong}};
            bool known = false;
            for (const auto& [spelling, conversion] : kConversions) {
                if (!startsWith(i, spelling))
                    continue;
                placeholder(conversion);
                i += spelling.size();
                known = true;
                break;
            }
            if (known)
                continue;
            if (startsWith(i, "%%")) {
                sql_ += '%';
                i += 2;
                continue;
            }
            return startsWith(i, "%s") ? "%s stands for a value only in its quotes: '%s'"
                                       : "a conversion other than %d, %u, %ld, %lu, %lld, %llu and '%s'";
        }
        // An engine would take these for parameters, quotes, comments or the end of the statement.
        if (std::string_view("?$:@#;\"`[]").find(c) != std::string_view::npos || startsWith(i, "--") ||
            startsWith(i, "/*"))
            return std::string("a form holds no '") + c + "'";
        sql_ += c;
        ++i;
    }
    return {};
}

int Form::collect(std::va_list arguments, ValueList& values) const {
    values.clear();
    for (const auto conversion : conversions_) {
        switch (conversion) {
        case Conversion::kInt:
            values.add(Value::int32(va_arg(arguments, int)));
            break;
        case Conversion::kUnsigned:
            values.add(Value::int64(va_arg(arguments, unsigned)));
            break;
        case Conversion::kLong:
            values.add(Value::int64(va_arg(arguments, long)));
            break;
        case Conversion::kLongLong:
            values.add(Value::int64(va_arg(arguments, long long)));
            break;
        case Conversion::kText: {
            const char* text = va_arg(arguments, const char*);
            if (text == nullptr || !isWholeText(text)) {
                values.clear();
                return kDbBadText;
            }
            values.addText(text);
            break;
        }
        }
    }
    return kDbOk;
}

} // namespace hubdb
