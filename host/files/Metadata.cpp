// What pictures carry besides their pixels.
#include <cstring>

#include "Codec.h"

namespace host {

int exifOrientation(std::string_view exif) {
  constexpr unsigned kOrientation = 0x0112, kEntryBytes = 12;
  constexpr std::string_view kStart("Exif\0\0", 6);
  if (exif.starts_with(kStart)) exif.remove_prefix(kStart.size());
  const bool little = exif.starts_with("II");
  if (!little && !exif.starts_with("MM")) return 1;
  const auto number = [&](size_t at, size_t bytes) -> size_t {
    if (at > exif.size() || bytes > exif.size() - at) return 0;
    size_t value = 0;
    for (size_t i = 0; i < bytes; ++i) {
      const size_t place = little ? at + bytes - 1 - i : at + i;
      value = value << 8 | static_cast<unsigned char>(exif[place]);
    }
    return value;
  };
  const size_t directory = number(4, 4);
  const size_t entries = number(directory, 2);
  for (size_t i = 0; i < entries; ++i) {
    const size_t entry = directory + 2 + i * kEntryBytes;
    if (number(entry, 2) != kOrientation) continue;
    const size_t value = number(entry + 8, 2);
    return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
  }
  return 1;
}

void Decoder::takeProfile(std::string_view profile) {
  constexpr size_t kHeader = 128, kColorSpace = 16, kSignature = 36;
  if (profile.size() < kHeader || profile.substr(kSignature, 4) != "acsp") {
    noteLoss("the colour profile is not valid and is left out");
  } else if (profile.substr(kColorSpace, 4) != "RGB ") {
    noteLoss("the colour profile is not for RGB and is left out");
  } else {
    header_.extras.colorProfile = profile;
  }
}

}  // namespace host
