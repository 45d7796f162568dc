#pragma once

#include "platform.h"

namespace abplatform {

// Whether a record meets a search element, or a combination of them (nested at most 64 deep).
bool matches(qint32 element, const Record& r, int depth = 0);

} // namespace abplatform
