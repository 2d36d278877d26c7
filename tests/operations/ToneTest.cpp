#include <array>
#include <cmath>
#include <limits>
#include <random>

#include "Support.h"

namespace {

using namespace test;
using Real = long double;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kHuge = 1e300;  // large, but its products with channels are finite

// --- The curves as the manual states them -------------------------------------------------------

Real linear(Real v, double brightness) {
  const Real b = brightness;
  return b < 0 ? v * ((255 + b) / 255) : v * ((255 - b) / 255) + b;
}
Real contrast(Real v, double k) { return 127 + (v - 127) * (Real{k} + 1); }

/// One method: the arguments of one channel, and its value.
struct Curve {
  const char* method;
  int perChannel;  ///< arguments that each channel takes
  bool hasThreeValueForm;
  bool clamps;
  Real (*value)(Real v, const double* k);
};

const Curve kCurves[] = {
    {"ChangeBrightnessLinearZVK", 1, true, false,
     [](Real v, const double* k) { return linear(v, k[0]); }},
    {"ChangeBrightnessAbsoluteZVK", 1, true, true,
     [](Real v, const double* k) { return v + k[0]; }},
    {"ChangeContrastZVK", 1, true, true, [](Real v, const double* k) { return contrast(v, k[0]); }},
    {"ChangeContrastBrightnessLinearZVK", 2, true, true,
     [](Real v, const double* k) { return linear(contrast(v, k[0]), k[1]); }},
    {"ChangeContrastBrightnessAbsoluteZVK", 2, true, true,
     [](Real v, const double* k) { return contrast(v, k[0]) + k[1]; }},
    {"ChangeCustomZVK", 2, false, true, [](Real v, const double* k) { return k[0] * v + k[1]; }},
};

int toChannel(Real value, bool clamps) {
  if (std::isnan(value)) return 0;
  const Real whole = std::fmin(std::fmax(std::trunc(value), -2147483648.0L), 2147483647.0L);
  const auto integer = static_cast<int64_t>(whole);
  return static_cast<int>(clamps ? std::clamp<int64_t>(integer, 0, 255) : integer & 255);
}

/// Whether a result is right. A value that is a whole number but for the rounding error of doubles
/// gives that number; where the error may be larger or smaller than assumed, its neighbour will do.
bool isRight(const Curve& curve, int v, const double* k, int result) {
  const Real value = curve.value(v, k), nearest = std::round(value);
  const Real size = std::fmax(255, std::fmin(1e6L, std::fmax(std::fabs(curve.value(0, k)),
                                                             std::fabs(curve.value(255, k)))));
  const Real distance = std::fabs(value - nearest);
  if (distance < size * 0x1p-52L) return result == toChannel(nearest, curve.clamps);
  if (result == toChannel(value, curve.clamps)) return true;
  return distance < 1e-9L * std::fmax(1, std::fabs(value)) &&
         result == toChannel(nearest, curve.clamps);
}

/// Arguments of one channel.
using Arguments = std::array<double, 2>;

host::PictureRef call(const PluginHost& setup, const Curve& curve, host::PictureRef picture,
                      const std::vector<Arguments>& channels) {
  std::vector<host::Value> arguments;
  for (int i = 0; i < curve.perChannel; ++i) {
    for (const Arguments& k : channels) arguments.emplace_back(k[static_cast<size_t>(i)]);
  }
  return setup.plugin.invokeByName(picture, curve.method, arguments).value;
}

/// Checks a picture that a curve gave; `channels` are the arguments of red, green and blue.
void check(const Curve& curve, const Pixels& source, const Pixels& result,
           const std::vector<Arguments>& channels) {
  ASSERT_EQ(result.size(), source.size());
  for (size_t i = 0; i < source.size(); ++i) {
    for (int channel = 0; channel < 3; ++channel) {
      const int shift = 16 - 8 * channel;
      const auto v = static_cast<int>(source[i] >> shift & 255);
      const auto out = static_cast<int>(result[i] >> shift & 255);
      const double* k = channels[static_cast<size_t>(channel)].data();
      ASSERT_TRUE(isRight(curve, v, k, out))
          << curve.method << "(" << k[0] << ", " << k[1] << ") maps " << v << " to " << out;
    }
  }
}

/// Every level in every channel, in another order in each.
Pixels allLevels() {
  Pixels pixels;
  for (int v = 0; v < 256; ++v) pixels.push_back(opaque(v, 255 - v, (v * 7 + 3) & 255));
  return pixels;
}

Pixels repeated(const Pixels& pixels, int times) {
  Pixels all;
  for (int i = 0; i < times; ++i) all.insert(all.end(), pixels.begin(), pixels.end());
  return all;
}

TEST(Tone, EveryLevelUnderEveryArgument) {
  const double values[] = {0,      1,     -1,     0.5,       -0.5,       0.9,      -0.9, 127,
                           254.9,  255,   -255,   300,       -300,       1e6,      -3e9, 3e9,
                           1e-300, kHuge, -kHuge, kInfinity, -kInfinity, kNoNumber};
  PluginHost setup{host::PictureOptions{}};
  const Pixels levels = allLevels();
  const host::PictureRef picture = setup.picture(256, 1, levels);
  // Pictures of more pixels go another way.
  constexpr int kRows = 5;
  const host::PictureRef larger = setup.picture(256, kRows, repeated(levels, kRows));
  for (const Curve& curve : kCurves) {
    for (const double a : values) {
      for (const double b : values) {
        const Arguments k = {a, b};
        const Pixels result = call(setup, curve, picture, {k})->words();
        check(curve, levels, result, {k, k, k});
        ASSERT_EQ(call(setup, curve, larger, {k})->words(), repeated(result, kRows));
        if (curve.perChannel == 1) break;
      }
    }
  }
}

// Some curves meet a line in whole numbers at all levels, others go by the formula.
TEST(Tone, RandomCurvesAreExactAtEveryLevel) {
  constexpr int kCurvesOfEachKind = 10'000, kRows = 5;
  PluginHost setup{host::PictureOptions{}};
  const Pixels levels = allLevels();
  const host::PictureRef picture = setup.picture(256, kRows, repeated(levels, kRows));
  std::mt19937 random(11);
  // Of all sizes, and often such that levels meet whole numbers.
  const auto argument = [&](double most) {
    const double fine = std::uniform_real_distribution(-most, most)(random);
    const double coarse = std::round(fine * 20) / 20;
    return random() % 3 == 0 ? coarse : random() % 8 == 0 ? 50 * fine : fine;
  };
  for (const Curve& curve : kCurves) {
    // Contrast, then brightness; a custom curve's factor, then its offset.
    const bool contrastFirst = curve.method != std::string_view("ChangeBrightnessLinearZVK") &&
                               curve.method != std::string_view("ChangeBrightnessAbsoluteZVK");
    for (int i = 0; i < kCurvesOfEachKind; i += 3) {
      std::vector<Arguments> channels;
      for (int c = 0; c < (curve.hasThreeValueForm ? 3 : 1); ++c) {
        channels.push_back({argument(contrastFirst ? 3 : 255), argument(255)});
      }
      Pixels result = call(setup, curve, picture, channels)->words();
      result.resize(levels.size());
      channels.resize(3, channels.front());
      check(curve, levels, result, channels);
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
