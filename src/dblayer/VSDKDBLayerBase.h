#pragma once

#include "VSDKExport.h"

/// The base of every entity, list, job-list, user and session class. It holds no data and adds nothing to the size of
/// what derives from it; nobody owns or deletes an object through it.
class VSDKDB_API VSDKDB_Base {};
