#pragma once

#include <memory>
#include <string_view>

#include "PlatformExport.h"
#include "message/CNMessageBase.h"

/// Reads messages from XML, whole or not at all. What is not well-formed, document types with their entities, and what
/// exceeds the limits of XmlReader.h is refused. Attributes and elements that the type does not know are passed over,
/// so that a sender may be newer. Any thread.
class VSDKPLATFORM_API XMLDecoder {
  public:
    /// A message of the type that the root element names; null, when there is none or the text is refused.
    static std::unique_ptr<CNMessageBase> unSerialize(std::string_view text);
    /// Replaces a message of a known type. 0, or a MessageStatus and `message` as it was.
    static int unSerialize(std::string_view text, CNMessageBase& message);

  private:
    class Reader;
};
