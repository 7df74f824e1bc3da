#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace hubdb {

/// A value bound to a statement. A text is borrowed: it must outlive the execution.
struct Value {
    enum class Type : std::uint8_t { kNull, kInt32, kInt64, kText, kIds };

    Type type;
    std::int64_t number;
    std::string_view text;

    static Value null() { return {Type::kNull, 0, {}}; }
    static Value int32(std::int32_t number) { return {Type::kInt32, number, {}}; }
    static Value int64(std::int64_t number) { return {Type::kInt64, number, {}}; }
    static Value ofText(std::string_view text) { return {Type::kText, 0, text}; }
    /// A set of ids, borrowed like a text; what stands for it is Connection::isIn().
    static Value ofIds(std::span<const std::int32_t> ids) {
        return {Type::kIds, 0, {reinterpret_cast<const char*>(ids.data()), ids.size_bytes()}};
    }
    std::span<const std::int32_t> ids() const {
        return {reinterpret_cast<const std::int32_t*>(text.data()), text.size() / sizeof(std::int32_t)};
    }
};

/// The values of one form, texts copied. Up to eight values and 256 bytes of text take no allocation, which is what
/// every point read needs.
class ValueList {
  public:
    ValueList() = default;
    ValueList(const ValueList&) = delete; // the values point into it
    ValueList& operator=(const ValueList&) = delete;

    void clear() {
        count_ = 0;
        textUsed_ = 0;
        more_.clear();
        longTexts_.clear();
    }

    void add(Value value) {
        if (count_ < few_.size()) {
            few_[count_] = value;
        } else {
            if (more_.empty())
                more_.assign(few_.begin(), few_.end());
            more_.push_back(value);
        }
        ++count_;
    }

    void addText(std::string_view text) {
        char* copy = nullptr;
        if (text.size() <= texts_.size() - textUsed_) {
            copy = texts_.data() + textUsed_;
            textUsed_ += text.size();
        } else {
            longTexts_.push_back(std::make_unique<char[]>(text.size()));
            copy = longTexts_.back().get();
        }
        if (!text.empty())
            std::memcpy(copy, text.data(), text.size());
        add(Value::ofText({copy, text.size()}));
    }

    std::span<const Value> view() const { return {more_.empty() ? few_.data() : more_.data(), count_}; }

  private:
    std::size_t count_ = 0;
    std::size_t textUsed_ = 0;
    std::vector<Value> more_; ///< all of them once they are more than few_ holds
    std::vector<std::unique_ptr<char[]>> longTexts_;
    std::array<Value, 8> few_;
    std::array<char, 256> texts_;
};

} // namespace hubdb
