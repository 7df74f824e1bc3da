#pragma once

#include <string>

#include "PlatformExport.h"
#include "message/CNMessageBase.h"

/// Writes messages as XML: the root element has the type's name, integers, texts and lists of integers (blanks between
/// them) are attributes, child messages elements of the field's name; all in the order of the type's fields, without
/// whitespace between elements and without a declaration. Any thread.
class VSDKPLATFORM_API XMLEncoder {
  public:
    /// Appends the message to `text`. 0, or a MessageStatus: a field that must be set is not, or an attribute, as it is
    /// written, is longer than 4 MiB; `text` then ends where the fault was met. `options` is not used.
    static int serialize(const CNMessageBase* message, std::string& text, int options);

  private:
    class Writer;
};
