#include "PatternHelper.h"

PatternHelper::PatternHelper() = default;
