#include "Support.h"

namespace {

using namespace test;

/// In 64 bits, so that no amount overflows.
Rgb saturated(Rgb c, int64_t amount) {
  const int64_t mean = (c.red + c.green + c.blue) / 3;
  const auto channel = [&](int64_t v) {
    return static_cast<int>(std::clamp<int64_t>(mean + (v - mean) * (amount + 255) / 255, 0, 255));
  };
  return {channel(c.red), channel(c.green), channel(c.blue)};
}

// Red is the column and the mean is the row wherever such a colour exists, so that every
// difference from the mean meets every amount.
TEST(Saturation, IsExactForEveryDifferenceAndAmount) {
  PluginHost setup(host::PictureOptions{});
  Pixels source;
  for (int mean = 0; mean < 256; ++mean) {
    for (int red = 0; red < 256; ++red) {
      const int rest = std::clamp(3 * mean - red + red % 3, 0, 510);
      source.push_back(opaque(red, rest / 2, rest - rest / 2));
    }
  }
  const host::PictureRef picture = setup.picture(256, 256, source);
  // Around 64770 the factor reaches 255 * 255, from where on it makes no difference; from about
  // 12,000,000 on products leave 32 bits.
  for (const int amount : {INT32_MIN,
                           INT32_MIN + 1,
                           -12'700'000,
                           -65281,
                           -65280,
                           -65279,
                           -510,
                           -256,
                           -255,
                           -254,
                           -128,
                           -1,
                           0,
                           1,
                           100,
                           254,
                           255,
                           256,
                           64769,
                           64770,
                           64771,
                           12'700'000,
                           INT32_MAX - 255,
                           INT32_MAX}) {
    const host::PictureRef result = setup.plugin.call(picture, "ChangeSaturationZVK", amount);
    const Pixels expected = mapped(source, [&](Rgb c) { return saturated(c, amount); });
    ASSERT_TRUE(result && result->pixels() == expected) << amount;
  }
}

}  // namespace
