#include <algorithm>

#include "operations/Operations.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

/// In 255ths. From this factor on, every channel that differs from the mean is already driven to 0
/// or 255.
constexpr int32_t kFullFactor = 255 * 255;

/// (v - mean) * factor / 255 truncates toward zero. It is computed in single precision, exactly:
/// the factor is rounded away from zero, so a product that is a whole number never falls short of
/// it, and below 512 no error is as large as 1/255, the distance of all others from the next whole
/// number. Beyond 512, where it may be, the channel is driven to 0 or 255 either way.
struct Saturation {
  float factor;  ///< 1 changes nothing

  explicit Saturation(int64_t in255ths) noexcept {
    // Half a unit in the last place of a float more, then rounded: never nearer to zero.
    constexpr double kAway = 1 + 0x1p-24;
    factor = static_cast<float>(static_cast<double>(in255ths) / 255 * kAway);
  }
  [[nodiscard]] int32_t channel(int32_t v, int32_t mean) const noexcept {
    return clampedChannel(mean + static_cast<int32_t>(static_cast<float>(v - mean) * factor));
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
  return mappedPicture(self, Saturation(factor));
}
