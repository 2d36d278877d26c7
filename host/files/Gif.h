#pragma once

#include <string_view>

namespace host {

/// Whether the compressed data of a GIF file's first picture tells of fewer pixels than the picture
/// has, or of what cannot be: gdk-pixbuf leaves the rest transparent without a word. False for
/// other files and for those without a picture. Compression after T. A. Welch, "A Technique for
/// High-Performance Data Compression", IEEE Computer, June 1984.
bool isCutGif(std::string_view bytes);

}  // namespace host
