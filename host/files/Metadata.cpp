// What pictures carry besides their pixels.
#include <cstring>

#include "Codec.h"

namespace host {

namespace {

/// The first directory of Exif data, which may begin with "Exif\0\0". What lies beyond its end
/// reads as 0.
class Exif {
 public:
  explicit Exif(std::string_view bytes) : bytes_(bytes) {
    constexpr std::string_view kStart("Exif\0\0", 6);
    if (bytes_.starts_with(kStart)) bytes_.remove_prefix(kStart.size());
    little_ = bytes_.starts_with("II");
    if (!little_ && !bytes_.starts_with("MM")) bytes_ = {};
  }

  size_t shortOf(unsigned tag) const { return number(valueOf(tag), 2); }
  double ratioOf(unsigned tag) const {
    const size_t at = number(valueOf(tag), 4);
    const size_t above = number(at, 4), below = number(at + 4, 4);
    return below == 0 ? 0 : static_cast<double>(above) / static_cast<double>(below);
  }

 private:
  /// Where a tag's value stands; beyond the end for tags that there are not.
  size_t valueOf(unsigned tag) const {
    constexpr unsigned kEntryBytes = 12;
    const size_t directory = number(4, 4);
    const size_t entries = number(directory, 2);
    for (size_t i = 0; i < entries; ++i) {
      const size_t entry = directory + 2 + i * kEntryBytes;
      if (number(entry, 2) == tag) return entry + 8;
    }
    return bytes_.size();
  }

  size_t number(size_t at, size_t count) const {
    if (at > bytes_.size() || count > bytes_.size() - at) return 0;
    size_t value = 0;
    for (size_t i = 0; i < count; ++i) {
      const size_t place = little_ ? at + count - 1 - i : at + i;
      value = value << 8 | static_cast<unsigned char>(bytes_[place]);
    }
    return value;
  }

  std::string_view bytes_;
  bool little_;
};

}  // namespace

int exifOrientation(std::string_view exif) {
  const size_t value = Exif(exif).shortOf(0x0112);
  return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

void Decoder::takeExif(std::string_view bytes) {
  constexpr unsigned kAcross = 0x011A, kDown = 0x011B, kUnit = 0x0128, kCentimetres = 3;
  const int orientation = exifOrientation(bytes);
  if (orientation != 1) header_.orientation = orientation;
  const Exif exif(bytes);
  const double unit = exif.shortOf(kUnit) == kCentimetres ? kInchInCentimetres : 1;
  const double across = unit * exif.ratioOf(kAcross), down = unit * exif.ratioOf(kDown);
  if (across <= 0 || down <= 0) return;
  header_.extras.dotsPerInchX = across;
  header_.extras.dotsPerInchY = down;
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
