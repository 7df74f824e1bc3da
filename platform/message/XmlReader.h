#pragma once

#include <charconv>
#include <cstddef>
#include <string_view>

#include "message/MessageStatus.h"

namespace hubxml {

/// What reading refuses with kMessageTooLarge.
inline constexpr std::size_t kDocumentBytesMax = std::size_t{1} << 30;
inline constexpr std::size_t kAttributeBytesMax = std::size_t{4} << 20;
inline constexpr std::size_t kElementsMax = 4'000'000;
inline constexpr std::size_t kAttributesMax = 64; ///< of one element
inline constexpr std::size_t kDepthMax = 16;

/// The attributes of an element, in the document's order. Valid for the call.
class Attributes {
  public:
    explicit Attributes(const char* const* pairs) : pairs_(pairs) {}
    bool atEnd() const { return *pairs_ == nullptr; }
    void next() { pairs_ += 2; }
    const char* name() const { return pairs_[0]; }
    const char* value() const { return pairs_[1]; }

  private:
    const char* const* pairs_; ///< name, value, ..., null
};

/// Hears what is in a document. An answer other than kMessageOk ends the reading with that status.
class ElementListener {
  public:
    virtual ~ElementListener() = default;
    virtual int startElement(const char* name, Attributes attributes) = 0;
    virtual int endElement() = 0;
};

/// Reads a document of UTF-8; what declares another encoding is read as UTF-8 too, UTF-16 is refused. Texts between
/// elements, comments and processing instructions say nothing here.
int readDocument(std::string_view text, ElementListener& listener);

/// A whole number in decimal digits, which may have a minus. False for everything else, and beyond the type's range.
template <class Number> bool readNumber(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && at == end;
}

} // namespace hubxml
