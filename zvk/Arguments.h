// Values written on the command line, read as what a declaration asks for.
#pragma once

#include <string>
#include <string_view>

#include "host/plugin/Plugin.h"

namespace zvk {

/// What calls act on: a picture, or bytes where the input or the last result is not a picture.
struct Current {
  host::PictureRef picture;
  std::string bytes;
  std::string origin;  ///< for messages: the input's name, or the call that gave it
};

class ArgumentReader {
 public:
  ArgumentReader(host::Host& host, const Current& current) : host_(host), current_(current) {}

  /// Reads `text` as a value of `type`. `place` says in messages what it is for. Throws InputError
  /// or host::FileError.
  host::Value read(grammar::Type type, std::string_view text, const std::string& place) const;

  /// Loads a picture into the host's kind of storage, with alpha channel where that storage and the
  /// file have one.
  host::PictureRef loadPicture(const std::string& path) const;

 private:
  host::Value readFile(grammar::Type type, const std::string& path) const;
  host::Value readCurrent(grammar::Type type, const std::string& place) const;
  host::BlockRef blockOf(std::string_view bytes) const;

  host::Host& host_;
  const Current& current_;
};

}  // namespace zvk
