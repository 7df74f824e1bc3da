#pragma once

/// Marks what libvsdkdb exports; everything else in it is hidden.
#if defined(__GNUC__)
#define VSDKDB_API __attribute__((visibility("default")))
#else
#define VSDKDB_API
#endif
