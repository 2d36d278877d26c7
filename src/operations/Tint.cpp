#include "operations/Operations.h"
#include "pixels/Channels.h"
#include "pixels/PixelRows.h"

namespace {

using namespace pixels;

/// A colour's channels as factors 0..1.
struct Weights {
  double red, green, blue;

  explicit Weights(HostLong color) noexcept {
    const Rgb channels = unpack(static_cast<uint32_t>(color));
    red = channels.red / 255.0;
    green = channels.green / 255.0;
    blue = channels.blue / 255.0;
  }
};

struct Tint {
  Weights grey, tone;

  uint32_t operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    const double level = v.red * grey.red + v.green * grey.green + v.blue * grey.blue;
    // The level is at most 765, and so are its products.
    return pack({ClampingRule::bounded(level * tone.red), ClampingRule::bounded(level * tone.green),
                 ClampingRule::bounded(level * tone.blue)});
  }
};

}  // namespace

REALpictureStruct* TintPicture(REALpictureStruct* source, HostLong greyBase,
                               HostLong sepiaBase) noexcept {
  return mappedPicture(source, Tint{Weights{greyBase}, Weights{sepiaBase}});
}
