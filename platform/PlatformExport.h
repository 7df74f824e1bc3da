#pragma once

/// Marks what libvsdkplatform exports; everything else in it is hidden.
#if defined(__GNUC__)
#define VSDKPLATFORM_API __attribute__((visibility("default")))
#else
#define VSDKPLATFORM_API
#endif
