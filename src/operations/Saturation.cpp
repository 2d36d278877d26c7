#include <algorithm>

#include "operations/Operations.h"
#include "pixels/Channels.h"
#include "pixels/PixelRows.h"

namespace {

using namespace pixels;

/// In 255ths. From this factor on, every channel that differs from the mean is already driven to 0
/// or 255.
constexpr int32_t kFullFactor = 255 * 255;

/// (v - mean) * factor / 255 truncates toward zero. It is computed in single precision, exactly:
/// the quotient is a multiple of 1/255, the rounding error below 512 is less than 1/10,000, and
/// half a step away from zero lifts every quotient clear of the integer below it. Beyond 512, where
/// the error may be larger, the channel is driven to 0 or 255 either way.
struct Saturation {
  float factor;  ///< 1 changes nothing

  [[nodiscard]] int32_t channel(int32_t v, int32_t mean) const noexcept {
    constexpr float kHalfStep = 0.5F / 255;
    const float quotient = static_cast<float>(v - mean) * factor;
    const float lifted = quotient + __builtin_copysignf(kHalfStep, quotient);
    return clampedChannel(mean + static_cast<int32_t>(lifted));
  }
  uint32_t operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    // A third of the sum, exact for sums to 765.
    const int32_t mean = (v.red + v.green + v.blue) * 21846 >> 16;
    return pack({channel(v.red, mean), channel(v.green, mean), channel(v.blue, mean)});
  }
};

}  // namespace

REALpictureStruct* SaturationPicture(REALpictureStruct* self, HostLong amount) noexcept {
  const int64_t factor = std::clamp<int64_t>(int64_t{amount} + 255, -kFullFactor, kFullFactor);
  return mappedPicture(self, Saturation{static_cast<float>(factor) / 255});
}
