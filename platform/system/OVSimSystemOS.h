#pragma once

#include "PlatformExport.h"
#include "system/OVSimOS.h"

/// What the hub database knows of agent types. A local of its user, used by one thread; setFocus comes first.
///
///     OVSimSystemOS system;
///     system.setFocus(OVPI_Focus::getFocus(), OVPI_Focus::getFocus());
///     char name[512];
///     int size = sizeof name;
///     if (system.getAppTypeName(appTypeId, clientId, name, &size))
///         use(std::string_view(name, size));
class VSDKPLATFORM_API OVSimSystemOS : public OVSimOS {
  public:
    /// Writes the display name of an agent type into `buffer`, NUL-terminated UTF-8; a NULL name is empty. `*size` is
    /// the buffer's size in bytes, and becomes the length without the terminator. Every client has the same names;
    /// each call reads them anew.
    ///
    /// False, with buffer and size left as they were, when the type is not known, the database fails (logged, and kept
    /// by HubDatabase::lastFailure), there is no buffer or focus, or the name does not fit: a cut name would be another
    /// name. 257 bytes hold every name.
    bool getAppTypeName(int appTypeId, unsigned long clientId, char* buffer, int* size);
};
