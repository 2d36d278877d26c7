#include "Output.h"

#include <unistd.h>

#include <filesystem>

#include "Arguments.h"
#include "Speech.h"

namespace zvk {

namespace {

/// The format that a file's name tells; null when it tells none.
const host::FileFormat* formatOfName(const std::string& path) {
  const std::string ending = std::filesystem::path(path).extension();
  return ending.empty() ? nullptr : host::formatOfEnding(ending.substr(1));
}

void noteMeaningless(const host::FileFormat& format, const std::string& path,
                     const FileOptions& files) {
  const std::string written = host::outputName(path) + " is written as " + format.name;
  const host::FileFormat* named = formatOfName(path);
  if (named != nullptr && named != &format) {
    note(written + ", though its name says " + named->name);
  }
  const struct {
    bool given;
    std::string_view name, format;
  } options[] = {{files.quality.has_value(), "--quality", "jpeg"},
                 {files.compression.has_value(), "--compression", "png"}};
  for (const auto& option : options) {
    if (!option.given || option.format == format.name) continue;
    note(written + "; " + std::string(option.name) + " is for " + std::string(option.format));
  }
}

void noteLosses(host::Picture& picture, const host::FileFormat& format, const std::string& path,
                const FileOptions& files, const host::PictureExtras& extras) {
  const std::string keeps = host::outputName(path) + ": " + format.name + " keeps no ";
  if (!format.alpha && files.background.empty() && host::isTransparent(picture)) {
    note(keeps + "alpha; transparent parts are laid over white (--background)");
  }
  if (format.extras) return;
  if (!extras.colorProfile.empty()) note(keeps + "colour profile");
  if (extras.dotsPerInchX > 0) note(keeps + "dots per inch");
}

}  // namespace

void requireOutput(const std::string& path, const FileOptions& files, bool picture) {
  if (path == host::kStandard && isatty(STDOUT_FILENO) != 0) {
    throw InputError("-o -: standard output is a terminal; possible are -o FILE, | and >");
  }
  if (picture) {
    host::formatFor(path, files.format);
  } else if (!files.format.empty()) {
    throw InputError("--format " + files.format + ": the result is bytes, not a picture");
  } else if (formatOfName(path) != nullptr) {
    throw InputError(path + ": the result is bytes, not a picture; its name needs another ending");
  }
  host::requireWritable(path);
}

void saveResult(host::Picture& picture, const std::string& path, const FileOptions& files,
                const host::PictureExtras& extras) {
  const Stage stage("writing " + host::outputName(path));
  const host::FileFormat& format = host::formatFor(path, files.format);
  noteMeaningless(format, path, files);
  noteLosses(picture, format, path, files, extras);
  host::SaveOptions options{.format = files.format, .extras = extras};
  options.quality = files.quality.value_or(options.quality);
  options.compression = files.compression.value_or(options.compression);
  if (!files.background.empty()) {
    options.background = colorOf(files.background, "--background").rgb;
  }
  host::savePicture(picture, path, options);
}

}  // namespace zvk
