// Values written on the command line, read as what a declaration asks for.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Tool.h"
#include "host/files/PictureFile.h"
#include "host/plugin/Plugin.h"

namespace zvk {

/// What calls act on: a picture, or bytes where the input or the last result is not a picture.
struct Current {
  host::PictureRef picture;
  std::string bytes;
  std::string origin;        ///< for messages: the input's name, or the call that gave it
  bool transparent = false;  ///< of a picture: not all of it is opaque
};

/// A colour as a user writes it: &cRRGGBB, #rrggbb, #rgb, 0xRRGGBB or a name such as "orange".
std::optional<host::Color> parseColor(std::string_view text);
/// The same for an option; throws InputError.
host::Color colorOf(const std::string& text, const std::string& place);

class ArgumentReader {
 public:
  ArgumentReader(host::Host& host, const FileOptions& files) : host_(host), files_(files) {}

  /// Whether `text` stands for the current picture or bytes, which come when the call is made.
  static bool isCurrent(grammar::Type type, std::string_view text);
  /// Reads any other `text` as a value of `type`. `place` says in messages what it is for. Throws
  /// InputError or host::FileError.
  host::Value read(grammar::Type type, std::string_view text, const std::string& place);
  /// The current picture or bytes as a value of `type`.
  host::Value take(grammar::Type type, const Current& current, const std::string& place) const;

  /// A file's bytes; what can be read only once is kept.
  std::string bytesOf(const std::string& path);
  /// Decodes a picture into the host's kind of storage, with alpha channel where that storage and
  /// the file have one, or with `addAlpha`.
  host::LoadedPicture loadPicture(std::string_view bytes, const std::string& path,
                                  bool addAlpha = false) const;

 private:
  host::Value readFile(grammar::Type type, const std::string& path);
  host::BlockRef blockOf(std::string_view bytes) const;

  host::Host& host_;
  const FileOptions& files_;
  std::map<std::string, std::string> kept_;
};

}  // namespace zvk
