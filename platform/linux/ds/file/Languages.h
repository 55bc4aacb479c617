// Languages of streams as locale identifiers.
#pragma once

#include <string_view>

#include "filters/FilterNames.h"

namespace Vimbrel {

// For a code of two or three letters, in either form of the three; 0 if it is not known.
LCID LocaleOfLanguage(std::string_view code);

}  // namespace Vimbrel
