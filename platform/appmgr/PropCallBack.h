#pragma once

#include "PlatformExport.h"

/// Who is told of properties as they are read. A base of the objects that collect them; the answers are 0 to go on.
class VSDKPLATFORM_API PropCallBack {
  public:
    virtual ~PropCallBack() = default;
    /// One property: its name, its type (APP_*Prop.attrType), its value or null, and flags that are 0 here.
    virtual int getPropertiesCallback(const char* name, int type, const char* value, int flags) = 0;
    /// One property that has changed since it was read. Of no interest unless overridden.
    virtual int getPropertiesCallbackUpdate(const char* /*name*/, int /*type*/, const char* /*value*/, int /*flags*/) {
        return 0;
    }
};
