#include "appmgr/ApplProperties.h"

ApplProperties::~ApplProperties() = default;
