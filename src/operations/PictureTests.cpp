#include <cstdlib>

#include "operations/Operations.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

constexpr IsColor kIsWhite{kColorBits};
constexpr IsColor kIsBlack{0};

struct IsColorful {
  static constexpr int32_t kDarkest = 29;
  int32_t threshold;

  bool operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    const int32_t lightest = std::max(v.red, std::max(v.green, v.blue));
    const int32_t distance = std::max(std::abs(v.green - v.red), std::abs(v.green - v.blue));
    // Without a short cut, which would keep the loop from running on vectors.
    return (lightest > kDarkest) & (distance > threshold);
  }
};

bool allAre(IsColor test, REALpictureStruct* self) noexcept {
  ScopedReader reader(self);
  return reader && allPixels(reader.editor(), wholeOf(reader.editor()), test);
}

bool allAre(IsColor test, REALpictureStruct* self, HostLong left, HostLong top, HostLong width,
            HostLong height) noexcept {
  ScopedReader reader(self);
  if (!reader) return false;
  const Region region = clip(reader.editor(), left, top, width < 0 ? reader.width() : width,
                             height < 0 ? reader.height() : height);
  return allPixels(reader.editor(), region, test);
}

}  // namespace

HostBoolean isWhite2(REALpictureStruct* self) noexcept { return allAre(kIsWhite, self); }
HostBoolean isBlack2(REALpictureStruct* self) noexcept { return allAre(kIsBlack, self); }

HostBoolean isWhite(REALpictureStruct* self, HostLong left, HostLong top, HostLong width,
                    HostLong height) noexcept {
  return allAre(kIsWhite, self, left, top, width, height);
}
HostBoolean isBlack(REALpictureStruct* self, HostLong left, HostLong top, HostLong width,
                    HostLong height) noexcept {
  return allAre(kIsBlack, self, left, top, width, height);
}

double ColornessZVK(REALpictureStruct* self, HostLong threshold) noexcept {
  // Differences of channels lie within -255..255; beyond that a threshold changes nothing.
  constexpr HostLong kLimit = 256;
  ScopedReader reader(self);
  if (!reader) return 0.0;
  const auto pixels = int64_t{reader.width()} * reader.height();
  if (pixels <= 0) return 0.0;
  const IsColorful test{static_cast<int32_t>(std::clamp(threshold, -kLimit, kLimit))};
  const int64_t matches = countPixels(reader.editor(), wholeOf(reader.editor()), test);
  return static_cast<double>(matches) / static_cast<double>(pixels);
}
