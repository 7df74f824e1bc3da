#pragma once

/// What encoding or decoding a message came to. A failure leaves the receiver of the result as it was.
enum MessageStatus : int {
    kMessageOk = 0,
    kMessageMalformed = -2001,  ///< not well-formed XML, or with a document type or entities of its own
    kMessageWrongType = -2002,  ///< the root element is another message's, or nobody's
    kMessageIncomplete = -2003, ///< a field that the message must have is missing
    kMessageBadValue = -2004,   ///< a number that is none or out of its field's range, a broken escape, a field twice
    kMessageTooLarge = -2005,   ///< beyond a limit of XmlReader.h
    kMessageNoMemory = -2006
};

/// The status in a few words.
inline const char* messageStatusText(int status) {
    switch (status) {
    case kMessageOk:
        return "done";
    case kMessageMalformed:
        return "it is not well-formed XML";
    case kMessageWrongType:
        return "it is another message";
    case kMessageIncomplete:
        return "a field is missing in it";
    case kMessageBadValue:
        return "a value in it cannot be read";
    case kMessageTooLarge:
        return "it is too large";
    case kMessageNoMemory:
        return "there is not enough memory for it";
    default:
        return "unknown";
    }
}
