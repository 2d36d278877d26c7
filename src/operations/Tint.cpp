#include "operations/Operations.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

/// A colour's channels, in which single precision holds whole numbers.
struct Weights {
  float red, green, blue;

  explicit Weights(HostLong color) noexcept {
    const Rgb channels = unpack(static_cast<uint32_t>(color));
    red = static_cast<float>(channels.red);
    green = static_cast<float>(channels.green);
    blue = static_cast<float>(channels.blue);
  }
};

/// level * tone / 255^2, truncated, where `level` is the sum of the channels times the grey
/// weights.
///
/// In single precision, and yet exact. Levels are whole numbers below 2^18, their products with the
/// tone are exact below 2^24, and larger ones give more than 255 either way. The constant is
/// 1/255^2 less 1.2 billionths of it: so a product that is a multiple of 255^2 is rounded to its
/// whole quotient, and the one below it is further from it, by 1/255^2, than half the distance of
/// two numbers below 256.
struct Tint {
  Weights grey, tone;

  static uint32_t channel(float level, float factor) noexcept {
    constexpr float kScale = 1.0F / (255 * 255);
    return std::min(static_cast<uint32_t>(static_cast<int32_t>(level * factor * kScale)), 255U);
  }
  uint32_t operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    const float level = static_cast<float>(v.red) * grey.red +
                        static_cast<float>(v.green) * grey.green +
                        static_cast<float>(v.blue) * grey.blue;
    return channel(level, tone.red) << 16 | channel(level, tone.green) << 8 |
           channel(level, tone.blue);
  }
};

}  // namespace

REALpictureStruct* TintPicture(REALpictureStruct* source, HostLong greyBase,
                               HostLong sepiaBase) noexcept {
  return mappedPicture(source, Tint{Weights{greyBase}, Weights{sepiaBase}});
}
