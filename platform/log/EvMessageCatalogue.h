#pragma once

#include <map>
#include <string>

#include "PlatformExport.h"

/// The texts of the event messages: English built in, another language when the host installs it. Process-wide; any
/// thread may use it at any time.
///
/// A text is UTF-8 and holds these placeholders, which `EvEvent::evPrintf` fills; any other text stands as it is:
///
///   %1 .. %9   the insertion argument of that place, so that a translation may change the order. An argument that is
///              empty or was not given takes one blank before its placeholder away with it.
///   %lu        the numeric argument, in decimal
///   %%         a percent sign
class VSDKPLATFORM_API EvMessageCatalogue {
  public:
    /// Puts `texts`, by message identifier, in front of the English ones; identifiers that it lacks stay English.
    /// Replaces what was installed before; an empty map returns to English.
    static void setTranslation(std::map<unsigned long, std::string> texts);

    /// The text of `id`; for an identifier that nobody knows, a text that says so and names it in hexadecimal.
    static std::string text(unsigned long id);
};
