#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Check.h"
#include "message/MessageTypes.h"
#include "message/XMLDecoder.h"
#include "message/XMLEncoder.h"

namespace {

constexpr std::array kTypes{&kUserEntityType,      &kGenericEntityType,       &kJobFilterType,   &kJobListRequestType,
                            &kJobResponseVSDKType, &kJobListResponseVSDKType, &kLoginRequestType};

std::string written(const CNMessageBase& message) {
    std::string text;
    check(XMLEncoder::serialize(&message, text, 0) == kMessageOk, "what was read can be written");
    return text;
}

} // namespace

/// Reading a text as whatever message it is, and as each, comes to the same, and what is read is written and read
/// again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::unique_ptr<CNMessageBase> read = XMLDecoder::unSerialize(text);
    const std::string again = read != nullptr ? written(*read) : std::string();
    for (const MessageType* const type : kTypes) {
        CNMessageBase receiver(*type);
        const int status = XMLDecoder::unSerialize(text, receiver);
        if (read != nullptr && &read->type() == type)
            check(status == kMessageOk && written(receiver) == again, "a receiver of the type gets the message");
        else
            check(read != nullptr ? status == kMessageWrongType : status != kMessageOk, "other receivers do not");
        std::string kept;
        if (status != kMessageOk)
            check(XMLEncoder::serialize(&receiver, kept, 0) ==
                      (type == &kJobListResponseVSDKType ? kMessageOk : kMessageIncomplete),
                  "a receiver that gets no message stays empty");
    }
    if (read == nullptr)
        return 0;
    check(XMLDecoder::unSerialize(again, *read) == kMessageOk, "what is written can be read");
    check(written(*read) == again, "it is written as before");
    return 0;
}
