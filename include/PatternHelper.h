#pragma once

#include "TarvUtilExport.h"

// A token that a host passes to StimPattern::TypeID. It has no members; TypeID only checks whether the pointer to
// it is null. Safe to use from any thread.
class TARVUTIL_EXPORT PatternHelper
{
 public:
    PatternHelper();
};
