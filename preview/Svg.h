#pragma once

#include <string>

#include "Picture.h"

// The picture as an SVG document of its own: every viewer draws it, in the sans-serif font that it has. Needs nothing
// else, no other program, file or script.
namespace preview {

std::string SvgOf(const Picture& picture);

}  // namespace preview
