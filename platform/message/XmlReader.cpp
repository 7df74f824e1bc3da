#include "message/XmlReader.h"

#include <expat.h>

#include <cstring>
#include <memory>
#include <type_traits>

namespace hubxml {

namespace {

struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserHandle = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter>;

/// One reading: hands on what the parser finds and keeps to the limits. Nothing is thrown through the parser.
struct Reading {
    XML_Parser parser;
    ElementListener& listener;
    int status = kMessageOk;
    std::size_t depth = 0;
    std::size_t elements = 0;

    template <class Step> void take(const Step& step) noexcept {
        if (status != kMessageOk) // the parser still tells the end of an empty element
            return;
        try {
            status = step();
        } catch (...) { // of lack of memory
            status = kMessageNoMemory;
        }
        if (status != kMessageOk)
            XML_StopParser(parser, XML_FALSE);
    }

    static void start(void* self, const char* name, const char** attributes) {
        auto& reading = *static_cast<Reading*>(self);
        reading.take([&] {
            if (++reading.depth > kDepthMax || ++reading.elements > kElementsMax || !areWithinLimits(attributes))
                return static_cast<int>(kMessageTooLarge);
            return reading.listener.startElement(name, Attributes(attributes));
        });
    }
    static void end(void* self, const char* /*name*/) {
        auto& reading = *static_cast<Reading*>(self);
        reading.take([&] {
            --reading.depth;
            return reading.listener.endElement();
        });
    }
    static void refuse(void* self, const char* /*name*/, const char* /*system*/, const char* /*public*/, int) {
        static_cast<Reading*>(self)->take([] { return kMessageMalformed; });
    }
    /// The parser takes any version, XML 1.0 those of 1 alone.
    static void declaration(void* self, const char* version, const char* /*encoding*/, int /*standalone*/) {
        const std::string_view given(version);
        constexpr std::string_view kOne = "1.";
        if (!given.starts_with(kOne) || given == kOne ||
            given.find_first_not_of("0123456789", kOne.size()) != std::string_view::npos)
            static_cast<Reading*>(self)->take([] { return kMessageMalformed; });
    }
    static bool areWithinLimits(const char** attributes) {
        std::size_t count = 0;
        for (Attributes given(attributes); !given.atEnd(); given.next())
            if (++count > kAttributesMax || strnlen(given.value(), kAttributeBytesMax + 1) > kAttributeBytesMax)
                return false;
        return true;
    }
};

/// Which the parser tells by the first bytes, whatever encoding it is told.
bool isUtf16(std::string_view text) {
    return text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE") ||
           text.substr(0, 2).find('\0') != std::string_view::npos;
}

} // namespace

int readDocument(std::string_view text, ElementListener& listener) {
    if (text.size() > kDocumentBytesMax)
        return kMessageTooLarge;
    if (isUtf16(text))
        return kMessageMalformed;
    const ParserHandle parser(XML_ParserCreate("UTF-8"));
    if (parser == nullptr)
        return kMessageNoMemory;
    Reading reading{parser.get(), listener};
    XML_SetUserData(parser.get(), &reading);
    XML_SetElementHandler(parser.get(), &Reading::start, &Reading::end);
    XML_SetXmlDeclHandler(parser.get(), &Reading::declaration);
    XML_SetStartDoctypeDeclHandler(parser.get(), &Reading::refuse);
    // A null pointer, even of no bytes, is an error of its own there.
    const char* const bytes = text.empty() ? "" : text.data();
    if (XML_Parse(parser.get(), bytes, static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK)
        return kMessageOk;
    if (reading.status != kMessageOk)
        return reading.status;
    return XML_GetErrorCode(parser.get()) == XML_ERROR_NO_MEMORY ? kMessageNoMemory : kMessageMalformed;
}

} // namespace hubxml
