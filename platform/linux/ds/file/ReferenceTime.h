// The unit of all times in the graph, as libavutil writes units: 100 nanoseconds.
#pragma once

extern "C" {
#include <libavutil/rational.h>
}

namespace Vimbrel {

constexpr AVRational hundreds{1, 10'000'000};

}  // namespace Vimbrel
