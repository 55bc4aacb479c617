// The system's header, behind the one whose declarations it repeats unless they have come first.
#pragma once

#include <strmif.h>

#include_next <ksmedia.h>
