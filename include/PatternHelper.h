#pragma once

#include "TarvUtilExport.h"

// A token that a host hands to StimPattern::TypeID. It holds nothing; only whether the pointer to it is null
// counts. Safe to use from any thread.
class TARVUTIL_EXPORT PatternHelper
{
 public:
    PatternHelper();
};
