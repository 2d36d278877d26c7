#include <cmath>

#include "operations/Operations.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

constexpr int32_t kLevels = 256;

/// One channel's curve: a value that is not yet converted to a channel. All of them are contrast
/// around a pivot, then brightness; what a curve does without, changes nothing.
struct Curve {
  double pivot = 0, factor = 1, level = 0;  ///< (v - pivot) * factor + level
  double scale = 1, offset = 0;             ///< of that

  double operator()(double v) const noexcept {
    return ((v - pivot) * factor + level) * scale + offset;
  }
};

Curve linearBrightness(double brightness, Curve curve = {}) noexcept {
  curve.scale = (255 + (brightness < 0 ? brightness : -brightness)) / 255;
  curve.offset = brightness < 0 ? 0 : brightness;
  return curve;
}

Curve absoluteBrightness(double brightness, Curve curve = {}) noexcept {
  curve.offset = brightness;
  return curve;
}

Curve contrast(double amount) noexcept {
  return {.pivot = 127, .factor = amount + 1, .level = 127};
}

// --- Conversion to channels ---------------------------------------------------------------------

// Any computed value becomes a whole number by truncation toward zero within limits; NaN gives 0.
// Of that, a channel keeps the low 8 bits.

struct Limits {
  double low, high;
};
constexpr Limits kClamped{0, 255};
/// Those of 32 bits.
constexpr Limits kWrapped{-2147483648.0, 2147483647.0};

/// A curve by the formula itself. Values are lifted away from zero by more than their rounding
/// error, and by less than a billionth. So a value that is a whole number but for rounding gives
/// that number.
struct Formula {
  Curve curve;
  Limits limits;
  double lift;

  Formula(const Curve& c, const Limits& l) noexcept : curve(c), limits(l) {
    // Where values are larger, those that matter, next to the pivot, are exact.
    constexpr double kRounding = 0x1p-50, kLargest = 0x1p20;
    const double ends = std::max(std::abs(curve(0)), std::abs(curve(kLevels - 1)));
    lift = std::max(ends < kLargest ? ends : kLargest, 255.0) * kRounding;
  }
  [[nodiscard]] int32_t whole(int32_t v) const noexcept {
    const double value = curve(v);
    const double lifted = value + __builtin_copysign(lift, value);
    const double number = lifted == lifted ? lifted : 0.0;
    const double high = number < limits.high ? number : limits.high;
    return static_cast<int32_t>(high > limits.low ? high : limits.low);
  }
};

struct Formulas {
  Formula red, green, blue;

  uint32_t operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    return pack({red.whole(v.red) & 0xFF, green.whole(v.green) & 0xFF, blue.whole(v.blue) & 0xFF});
  }
};

/// What a curve makes of each level.
using Levels = int32_t[kLevels];

ZVK_CLONES void findLevels(const Formula& formula, Levels& levels) noexcept {
  for (int32_t v = 0; v < kLevels; ++v) levels[v] = formula.whole(v);
}

// --- Curves in whole numbers --------------------------------------------------------------------

/// The line (v * slope + start) >> 16.
struct Line {
  int32_t slope, start;

  [[nodiscard]] int32_t operator()(int32_t v) const noexcept { return v * slope + start; }
};

constexpr int32_t kOne = 1 << 16;

/// Where a line must start to meet the curve.
struct Bounds {
  int32_t lowest, highest;

  [[nodiscard]] bool meet() const noexcept { return lowest <= highest; }
};

/// The starts with which a line of this slope gives these numbers. Beyond where clamping begins,
/// one bound is enough.
ZVK_CLONES Bounds boundsOf(const Levels& levels, int32_t slope, bool clamps) noexcept {
  constexpr int32_t kLowest = -(1 << 30), kHighest = 1 << 30;
  Levels lowest, highest;
  for (int32_t v = 0; v < kLevels; ++v) {
    const int32_t start = levels[v] * kOne - v * slope;
    lowest[v] = clamps && levels[v] <= 0 ? kLowest : start;
    highest[v] = clamps && levels[v] >= 255 ? kHighest : start + kOne - 1;
  }
  Bounds bounds{kLowest, kHighest};
  for (int32_t v = 0; v < kLevels; ++v) {
    bounds.lowest = std::max(bounds.lowest, lowest[v]);
    bounds.highest = std::min(bounds.highest, highest[v]);
  }
  return bounds;
}

/// Finds the line that meets a curve at all levels, if there is one.
bool findLine(const Formula& formula, bool clamps, Line& line) noexcept {
  // Within these limits nothing leaves 32 bits.
  constexpr double kLargest = 1 << 14, kSteepest = 120;
  const double first = formula.curve(0), last = formula.curve(kLevels - 1);
  // False, too, for what is not a number.
  if (!(std::abs(first) < kLargest && std::abs(last) < kLargest)) return false;
  const double slope = (last - first) / (kLevels - 1);
  if (std::abs(slope) > kSteepest) return false;
  line.slope = static_cast<int32_t>(slope * kOne + __builtin_copysign(0.5, slope));
  Levels levels;
  findLevels(formula, levels);
  const Bounds bounds = boundsOf(levels, line.slope, clamps);
  if (!bounds.meet()) return false;
  line.start = bounds.lowest + (bounds.highest - bounds.lowest) / 2;
  return true;
}

template <bool clamps>
struct Lines {
  Line red, green, blue;

  uint32_t operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    return (kept(red(v.red)) & 0xFF0000) | (kept(green(v.green)) >> 8 & 0xFF00) |
           (kept(blue(v.blue)) >> 16 & 0xFF);
  }

 private:
  /// The channel in bits 16 to 23.
  static uint32_t kept(int32_t parts) noexcept {
    constexpr int32_t kMost = (kLevels << 16) - 1;
    return static_cast<uint32_t>(clamps ? std::min(std::max(parts, 0), kMost) : parts);
  }
};

// --- Frames -------------------------------------------------------------------------------------

/// By lines if they meet all three curves, else by the formula; where there are few pixels, it
/// takes longer to find lines.
template <bool clamps>
void mapTones(PictureEditor& reader, PictureEditor& writer, const Formulas& formulas) noexcept {
  constexpr int64_t kFew = 4 * kLevels;
  Lines<clamps> lines;
  const bool found =
      int64_t{writer.width} * writer.height > kFew && findLine(formulas.red, clamps, lines.red) &&
      findLine(formulas.green, clamps, lines.green) && findLine(formulas.blue, clamps, lines.blue);
  if (found) {
    mapPixels(reader, writer, lines);
  } else {
    mapPixels(reader, writer, formulas);
  }
}

template <bool clamps = true>
REALpictureStruct* toned(REALpictureStruct* self, const Curve& red, const Curve& green,
                         const Curve& blue) noexcept {
  const Limits limits = clamps ? kClamped : kWrapped;
  const Formulas formulas{{red, limits}, {green, limits}, {blue, limits}};
  return writtenPicture(self, [&](PictureEditor& reader, PictureEditor& writer) {
    mapTones<clamps>(reader, writer, formulas);
  });
}

template <bool clamps = true>
REALpictureStruct* toned(REALpictureStruct* self, const Curve& curve) noexcept {
  return toned<clamps>(self, curve, curve, curve);
}

}  // namespace

REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* self, double brightness) noexcept {
  return toned<false>(self, linearBrightness(brightness));
}
REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* self, double brightnessRed,
                                         double brightnessGreen, double brightnessBlue) noexcept {
  return toned<false>(self, linearBrightness(brightnessRed), linearBrightness(brightnessGreen),
                      linearBrightness(brightnessBlue));
}

REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* self, double brightness) noexcept {
  return toned(self, absoluteBrightness(brightness));
}
REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* self, double brightnessRed,
                                         double brightnessGreen, double brightnessBlue) noexcept {
  return toned(self, absoluteBrightness(brightnessRed), absoluteBrightness(brightnessGreen),
               absoluteBrightness(brightnessBlue));
}

REALpictureStruct* ContrastPicture1(REALpictureStruct* self, double amount) noexcept {
  return toned(self, contrast(amount));
}
REALpictureStruct* ContrastPicture3(REALpictureStruct* self, double contrastRed,
                                    double contrastGreen, double contrastBlue) noexcept {
  return toned(self, contrast(contrastRed), contrast(contrastGreen), contrast(contrastBlue));
}

REALpictureStruct* ContrastLinBrightnessPicture1(REALpictureStruct* self, double amount,
                                                 double brightness) noexcept {
  return ContrastLinBrightnessPicture3(self, amount, amount, amount, brightness, brightness,
                                       brightness);
}
REALpictureStruct* ContrastLinBrightnessPicture3(REALpictureStruct* self, double contrastRed,
                                                 double contrastGreen, double contrastBlue,
                                                 double brightnessRed, double brightnessGreen,
                                                 double brightnessBlue) noexcept {
  return toned(self, linearBrightness(brightnessRed, contrast(contrastRed)),
               linearBrightness(brightnessGreen, contrast(contrastGreen)),
               linearBrightness(brightnessBlue, contrast(contrastBlue)));
}

REALpictureStruct* ContrastAbsBrightnessPicture1(REALpictureStruct* self, double amount,
                                                 double brightness) noexcept {
  return ContrastAbsBrightnessPicture3(self, amount, amount, amount, brightness, brightness,
                                       brightness);
}
REALpictureStruct* ContrastAbsBrightnessPicture3(REALpictureStruct* self, double contrastRed,
                                                 double contrastGreen, double contrastBlue,
                                                 double brightnessRed, double brightnessGreen,
                                                 double brightnessBlue) noexcept {
  return toned(self, absoluteBrightness(brightnessRed, contrast(contrastRed)),
               absoluteBrightness(brightnessGreen, contrast(contrastGreen)),
               absoluteBrightness(brightnessBlue, contrast(contrastBlue)));
}

REALpictureStruct* TransformPicture(REALpictureStruct* self, double a, double b) noexcept {
  return toned(self, Curve{.factor = a, .level = b});
}
