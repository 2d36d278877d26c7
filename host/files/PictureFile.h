// Pictures in files: JPEG and PNG through their own libraries, the others through gdk-pixbuf.
#pragma once

#include <optional>
#include <string>

#include "Codec.h"
#include "host/Host.h"

namespace host {

/// How a file becomes a picture.
struct LoadOptions {
  /// Storage and layout. With `alpha`, a file with alpha channel gives a picture with one, and
  /// cairo keeps its colours premultiplied; all others give one without.
  PictureOptions layout;
  bool addAlpha = false;           ///< an alpha channel also where the file has none
  bool damaged = false;            ///< takes what is there of a damaged file
  uint32_t background = 0xFFFFFF;  ///< lies below transparent parts where there is no alpha channel
};

struct LoadedPicture {
  PictureRef picture;
  PictureHeader header;             ///< as the file tells it; the picture lies upright
  bool transparent = false;         ///< not all of it is opaque in the file
  std::string damage;               ///< what was wrong with a damaged file; empty when nothing was
  std::vector<std::string> losses;  ///< what the file has and the picture has not
};

/// Whether the bytes begin like a picture that can be loaded.
bool isPicture(std::string_view bytes);
/// "JPEG, PNG, BMP, ...", what can be loaded here.
std::string readableFormats();

/// What the file tells of a picture before its pixels are decoded. Throws FileError when it begins
/// like none.
PictureHeader pictureHeader(std::string_view bytes, const std::string& name);

/// Decodes a picture. `name` is for messages. Throws FileError when it is no picture, larger than a
/// host's pictures can be, or damaged; std::bad_alloc when memory is short.
LoadedPicture loadPicture(Host& host, std::string_view bytes, const std::string& name,
                          const LoadOptions& options);
/// The same for a file, in this layout.
PictureRef loadPicture(Host& host, const std::string& path, const PictureOptions& layout);

/// Why a picture of this size cannot be made; empty when it can.
std::string sizeProblem(const Host& host, int width, int height);

/// How a picture becomes a file.
struct SaveOptions {
  std::string format;   ///< "png", "jpeg", "bmp" or "tiff"; empty: as the file's name says
  int quality = 92;     ///< of JPEG, 1 to 100
  int compression = 1;  ///< of PNG, 0 to 9
  uint32_t background = 0xFFFFFF;  ///< lies below transparent parts where the format has no alpha
  PictureExtras extras;
};

/// A format that can be written.
struct FileFormat {
  const char* name;  ///< "jpeg"
  bool alpha;
  bool extras;  ///< keeps colour profile and dots per inch
};
/// The format of an ending, such as "jpg" in any case; null when none has it.
const FileFormat* formatOfEnding(std::string_view ending);
std::vector<std::string> writableEndings();
/// The format for a file; throws FileError when its name, or `format`, tells none.
const FileFormat& formatFor(const std::string& path, const std::string& format);

/// Saves a picture; its separate mask, where it has one, becomes the alpha channel. Files are
/// replaced as replaceFile does. Throws FileError.
void savePicture(Picture& picture, const std::string& path, const SaveOptions& options = {});

/// The words 0xAARRGGBB that saving as PNG would write.
std::vector<uint32_t> visiblePixels(Picture& picture);

/// Whether not all of a picture is opaque.
bool isTransparent(Picture& picture);

}  // namespace host
