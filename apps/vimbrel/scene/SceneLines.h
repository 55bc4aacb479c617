// Lines of a document, for messages about its values.
#pragma once

#include <string>

namespace studio {

// The line, counted from 1, of the value at a place as in "layers[2].rect", or of the nearest one
// around it that there is. `text` is a good document.
int LineOf(const std::string& text, const std::string& place);

}  // namespace studio
