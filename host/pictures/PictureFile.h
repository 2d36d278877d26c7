// Picture files, through gdk-pixbuf.
#pragma once

#include <stdexcept>
#include <string>

#include "host/Host.h"

namespace host {

/// A file that cannot be read or written; the text names it and the cause.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Whether the file begins like a picture that can be loaded. Throws FileError when it cannot be
/// opened.
bool isPictureFile(const std::string& path);

/// Loads a picture into `options`' storage. With `options.alpha`, a file with alpha channel gives a
/// picture with alpha channel, its colours premultiplied as cairo keeps them; all other files, and
/// all files without `options.alpha`, give one without, transparent parts laid over white.
PictureRef loadPicture(Host& host, const std::string& path, PictureOptions options);

/// Saves as what the file name's ending says (.png, .jpg, .bmp, .tif; PNG without an ending). An
/// existing file is replaced only when everything was written; pipes and devices are written to.
/// Throws FileError.
void savePicture(Picture& picture, const std::string& path);

/// Reads a whole file, or replaces one the way savePicture does. Both throw FileError.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, std::string_view bytes);

}  // namespace host
