// Pictures in the terminal.
#pragma once

#include "host/pictures/Picture.h"

namespace zvk {

/// Shows a picture on standard output, as finely as the terminal can; in characters where standard
/// output is no terminal. Without colours where NO_COLOR is set. Throws std::runtime_error when the
/// library for it is not installed.
void preview(host::Picture& picture);

}  // namespace zvk
