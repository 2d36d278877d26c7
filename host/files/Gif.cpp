#include "Gif.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

namespace host {

namespace {

/// Bytes one after the other; zeros behind the end.
class Bytes {
 public:
  explicit Bytes(std::string_view bytes) : rest_(bytes) {}

  bool atEnd() const { return rest_.empty(); }
  unsigned next() {
    if (rest_.empty()) return 0;
    const auto byte = static_cast<unsigned char>(rest_.front());
    rest_.remove_prefix(1);
    return byte;
  }
  unsigned nextShort() {
    const unsigned low = next();
    return low | next() << 8;
  }
  void skip(size_t count) { rest_.remove_prefix(std::min(count, rest_.size())); }
  void skipColors(unsigned flags) {
    if ((flags & 0x80) != 0) skip(size_t{6} << (flags & 7));
  }
  /// The blocks up to the empty one, put together.
  std::string blocks() {
    std::string all;
    while (const unsigned size = next()) {
      all += rest_.substr(0, size);
      skip(size);
    }
    return all;
  }

 private:
  std::string_view rest_;
};

/// How many pixels the codes stand for; no more than that are of interest.
int64_t pixelsIn(std::string_view data, unsigned firstBits, int64_t enough) {
  constexpr unsigned kMostBits = 12, kMostCodes = 1 << kMostBits;
  std::array<int32_t, kMostCodes> lengths{};  // of what codes stand for
  const unsigned clear = 1U << firstBits, end = clear + 1;
  std::fill_n(lengths.begin(), clear, 1);
  unsigned codes = end + 1, bits = firstBits + 1, previous = kMostCodes;
  uint32_t buffer = 0;
  unsigned held = 0;
  int64_t pixels = 0;
  for (Bytes bytes(data); pixels < enough;) {
    for (; held < bits && !bytes.atEnd(); held += 8) buffer |= bytes.next() << held;
    if (held < bits) break;
    const unsigned code = buffer & ((1U << bits) - 1);
    buffer >>= bits;
    held -= bits;
    if (code == end) break;
    if (code == clear) {
      codes = end + 1;
      bits = firstBits + 1;
      previous = kMostCodes;
      continue;
    }
    const bool isFirst = previous == kMostCodes;
    if (code > codes || (code == codes && isFirst)) break;
    if (!isFirst && codes < kMostCodes) {
      lengths[codes++] = lengths[previous] + 1;
      if (codes == 1U << bits && bits < kMostBits) ++bits;
    }
    if (code >= codes) break;
    pixels += lengths[code];
    previous = code;
  }
  return pixels;
}

}  // namespace

bool isCutGif(std::string_view file) {
  constexpr size_t kSignature = 6, kPlace = 4;
  constexpr unsigned kExtension = 0x21, kPicture = 0x2C, kMostFirstBits = 11;
  if (!file.starts_with("GIF8")) return false;
  Bytes bytes(file);
  bytes.skip(kSignature + 4);  // behind the size
  const unsigned screen = bytes.next();
  bytes.skip(2);  // background and shape of pixels
  bytes.skipColors(screen);
  unsigned kind = bytes.next();
  for (; kind == kExtension; kind = bytes.next()) {
    bytes.next();
    bytes.blocks();
  }
  if (kind != kPicture) return false;
  bytes.skip(kPlace);
  const int64_t width = bytes.nextShort(), height = bytes.nextShort();
  bytes.skipColors(bytes.next());
  const unsigned firstBits = bytes.next();
  if (firstBits > kMostFirstBits) return true;
  return pixelsIn(bytes.blocks(), firstBits, width * height) < width * height;
}

}  // namespace host
