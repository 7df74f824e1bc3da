#pragma once

#include "message/CNMessageBase.h"

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
