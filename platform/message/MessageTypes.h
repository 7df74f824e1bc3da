#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "message/XmlReader.h"

struct MessageType;

enum class MessageFieldKind : std::uint8_t {
    kInt32,
    kInt64,
    kText,     ///< bytes, any
    kIntList,  ///< of 32 bits
    kMessage,  ///< one child
    kMessages, ///< any number of children
};

/// A field of a message: an attribute, or one or more child elements.
struct MessageField {
    int number;       ///< by which programs know it: an integer and a text may have the same
    const char* name; ///< of the attribute, or of the child's element
    MessageFieldKind kind;
    bool required = false;                             ///< a message without it is neither written nor read
    const MessageType* child = nullptr;                ///< of kMessage and kMessages
    std::size_t bytesMax = hubxml::kAttributeBytesMax; ///< of kText: longer ones are not read

    bool isChild() const { return child != nullptr; }
};

/// A type of message. All types live as long as the process.
struct MessageType {
    int tag;
    const char* name; ///< of the root element
    bool oldWay;      ///< of the older kind, whose passwords travel as plain attributes
    std::span<const MessageField> fields;
};

/// The declarations of all types of messages: what docs/messages.md shows follows from them.
extern const MessageType kUserEntityType;
extern const MessageType kGenericEntityType;
extern const MessageType kJobFilterType;
extern const MessageType kJobListRequestType;
extern const MessageType kJobResponseVSDKType;
extern const MessageType kJobListResponseVSDKType;
extern const MessageType kLoginRequestType;

/// The type with a root element of this name, or with this tag; null for none.
const MessageType* findMessageType(const char* name);
const MessageType* findMessageType(int tag);
