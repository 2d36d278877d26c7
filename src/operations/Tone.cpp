#include <cmath>

#include "operations/Operations.h"
#include "pixels/ChannelTables.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

constexpr int32_t kLevels = 256;

/// A value for each channel.
struct PerChannel {
  double red, green, blue;

  static constexpr PerChannel same(double value) { return {value, value, value}; }
};

// --- Curves -------------------------------------------------------------------------------------

// Each curve maps a channel value to a value that is not yet converted to a channel. All of them
// are straight lines.

struct LinearBrightness {
  double scale, offset;

  explicit LinearBrightness(double brightness) noexcept
      : scale((255 + (brightness < 0 ? brightness : -brightness)) / 255),
        offset(brightness < 0 ? 0 : brightness) {}
  [[nodiscard]] double operator()(double v) const noexcept { return v * scale + offset; }
};

struct AbsoluteBrightness {
  double brightness;

  double operator()(double v) const noexcept { return v + brightness; }
};

struct Contrast {
  double factor;

  explicit Contrast(double contrast) noexcept : factor(contrast + 1) {}
  double operator()(double v) const noexcept { return 127 + (v - 127) * factor; }
};

struct Linear {
  double a, b;

  double operator()(double v) const noexcept { return a * v + b; }
};

template <typename Brightness>
struct ContrastThen {
  Contrast contrast;
  Brightness brightness;

  double operator()(double v) const noexcept { return brightness(contrast(v)); }
};

// --- Conversion to channels ---------------------------------------------------------------------

// A rule turns any computed value into a whole number: truncation toward zero, which saturates (NaN
// gives 0). `kept` leaves the channel of a number in 65536ths in its bits 16 to 23.

/// Clamps to 0..255.
struct Clamping {
  static constexpr bool kClamps = true;

  static int32_t whole(double value) noexcept {
    // The comparisons are false for NaN.
    const double positive = value > 0.0 ? value : 0.0;
    return static_cast<int32_t>(positive < 255.0 ? positive : 255.0);
  }
  static int32_t kept(int32_t parts) noexcept {
    return std::min(std::max(parts, 0), (kLevels << 16) - 1);
  }
};

/// Keeps the low 8 bits.
struct Wrapping {
  static constexpr bool kClamps = false;

  static int32_t whole(double value) noexcept {
    const double number = value == value ? value : 0.0;
    const double high = number < 2147483647.0 ? number : 2147483647.0;
    return static_cast<int32_t>(high > -2147483648.0 ? high : -2147483648.0);
  }
  static int32_t kept(int32_t parts) noexcept { return parts; }
};

/// What a curve makes of each level.
using Levels = int32_t[kLevels];

/// Values are lifted away from zero by more than their rounding error, and by far less than
/// anything else. So a value that is a whole number but for rounding gives that number.
template <typename Rule, typename Curve>
ZVK_CLONES void findLevels(Curve curve, Levels& levels, Rule) noexcept {
  // Where values are huge, those that matter, next to a pivot, are exact.
  constexpr double kRounding = 0x1p-50, kLargest = 0x1p30;
  const double ends = std::max(std::abs(curve(0)), std::abs(curve(kLevels - 1)));
  const double lift = std::max(ends < kLargest ? ends : kLargest, 255.0) * kRounding;
  for (int32_t v = 0; v < kLevels; ++v) {
    const double value = curve(v);
    levels[v] = Rule::whole(value + __builtin_copysign(lift, value));
  }
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
template <typename Rule>
ZVK_CLONES Bounds boundsOf(const Levels& levels, int32_t slope, Rule) noexcept {
  constexpr int32_t kLowest = -(1 << 30), kHighest = 1 << 30;
  Levels lowest, highest;
  for (int32_t v = 0; v < kLevels; ++v) {
    const int32_t start = levels[v] * kOne - v * slope;
    lowest[v] = Rule::kClamps && levels[v] <= 0 ? kLowest : start;
    highest[v] = Rule::kClamps && levels[v] >= 255 ? kHighest : start + kOne - 1;
  }
  Bounds bounds{kLowest, kHighest};
  for (int32_t v = 0; v < kLevels; ++v) {
    bounds.lowest = std::max(bounds.lowest, lowest[v]);
    bounds.highest = std::min(bounds.highest, highest[v]);
  }
  return bounds;
}

/// Finds the line that meets a curve from `first` to `last` at all levels, if there is one.
template <typename Rule>
bool findLine(const Levels& levels, double first, double last, Line& line) noexcept {
  // Within these limits nothing leaves 32 bits.
  constexpr double kLargest = 1 << 14, kSteepest = 120;
  // False, too, for what is not a number.
  if (!(std::abs(first) < kLargest && std::abs(last) < kLargest)) return false;
  const double slope = (last - first) / (kLevels - 1);
  if (std::abs(slope) > kSteepest) return false;
  line.slope = static_cast<int32_t>(slope * kOne + __builtin_copysign(0.5, slope));
  const Bounds bounds = boundsOf(levels, line.slope, Rule{});
  if (!bounds.meet()) return false;
  line.start = bounds.lowest + (bounds.highest - bounds.lowest) / 2;
  return true;
}

template <typename Rule>
struct Lines {
  Line red, green, blue;

  uint32_t operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    const auto kept = [](int32_t parts) { return static_cast<uint32_t>(Rule::kept(parts)); };
    return (kept(red(v.red)) & 0xFF0000) | (kept(green(v.green)) >> 8 & 0xFF00) |
           (kept(blue(v.blue)) >> 16 & 0xFF);
  }
};

// --- Frames -------------------------------------------------------------------------------------

/// One channel's curve: its levels, and the line that meets them, if there is one.
template <typename Rule>
struct Channel {
  Levels levels;
  Line line{};
  bool straight;

  template <typename Curve>
  explicit Channel(Curve curve) noexcept {
    findLevels(curve, levels, Rule{});
    straight = findLine<Rule>(levels, curve(0), curve(kLevels - 1), line);
  }
};

ChannelTables tablesOf(const Levels& red, const Levels& green, const Levels& blue) noexcept {
  uint8_t bytes[3][kLevels];
  for (int32_t v = 0; v < kLevels; ++v) {
    bytes[0][v] = static_cast<uint8_t>(red[v]);
    bytes[1][v] = static_cast<uint8_t>(green[v]);
    bytes[2][v] = static_cast<uint8_t>(blue[v]);
  }
  return {bytes[0], bytes[1], bytes[2]};
}

/// By lines if they meet all three curves, else by tables of their levels.
template <typename Rule>
void mapTones(PictureEditor& reader, PictureEditor& writer, const Channel<Rule>& red,
              const Channel<Rule>& green, const Channel<Rule>& blue) noexcept {
  if (red.straight && green.straight && blue.straight) {
    return mapPixels(reader, writer, Lines<Rule>{red.line, green.line, blue.line});
  }
  const ChannelTables tables = tablesOf(red.levels, green.levels, blue.levels);
  mapPixels(reader, writer, LookUp{&tables});
}

template <typename Rule, typename Curve>
REALpictureStruct* toned(REALpictureStruct* self, const Curve& red, const Curve& green,
                         const Curve& blue) noexcept {
  return writtenPicture(self, [&](PictureEditor& reader, PictureEditor& writer) {
    mapTones(reader, writer, Channel<Rule>(red), Channel<Rule>(green), Channel<Rule>(blue));
  });
}

template <typename Curve, typename Rule = Clamping>
REALpictureStruct* toned(REALpictureStruct* self, PerChannel k) noexcept {
  return toned<Rule>(self, Curve{k.red}, Curve{k.green}, Curve{k.blue});
}

/// Contrast followed by a brightness curve.
template <typename Brightness>
REALpictureStruct* toned(REALpictureStruct* self, PerChannel k, PerChannel b) noexcept {
  using Both = ContrastThen<Brightness>;
  return toned<Clamping>(self, Both{Contrast{k.red}, Brightness{b.red}},
                         Both{Contrast{k.green}, Brightness{b.green}},
                         Both{Contrast{k.blue}, Brightness{b.blue}});
}

}  // namespace

REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* self, double b) noexcept {
  return toned<LinearBrightness, Wrapping>(self, PerChannel::same(b));
}
REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* self, double br, double bg,
                                         double bb) noexcept {
  return toned<LinearBrightness, Wrapping>(self, {br, bg, bb});
}

REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* self, double b) noexcept {
  return toned<AbsoluteBrightness>(self, PerChannel::same(b));
}
REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* self, double br, double bg,
                                         double bb) noexcept {
  return toned<AbsoluteBrightness>(self, {br, bg, bb});
}

REALpictureStruct* ContrastPicture1(REALpictureStruct* self, double k) noexcept {
  return toned<Contrast>(self, PerChannel::same(k));
}
REALpictureStruct* ContrastPicture3(REALpictureStruct* self, double kr, double kg,
                                    double kb) noexcept {
  return toned<Contrast>(self, {kr, kg, kb});
}

REALpictureStruct* ContrastLinBrightnessPicture1(REALpictureStruct* self, double k,
                                                 double b) noexcept {
  return ContrastLinBrightnessPicture3(self, k, k, k, b, b, b);
}
REALpictureStruct* ContrastLinBrightnessPicture3(REALpictureStruct* self, double kr, double kg,
                                                 double kb, double br, double bg,
                                                 double bb) noexcept {
  return toned<LinearBrightness>(self, {kr, kg, kb}, {br, bg, bb});
}

REALpictureStruct* ContrastAbsBrightnessPicture1(REALpictureStruct* self, double k,
                                                 double b) noexcept {
  return ContrastAbsBrightnessPicture3(self, k, k, k, b, b, b);
}
REALpictureStruct* ContrastAbsBrightnessPicture3(REALpictureStruct* self, double kr, double kg,
                                                 double kb, double br, double bg,
                                                 double bb) noexcept {
  return toned<AbsoluteBrightness>(self, {kr, kg, kb}, {br, bg, bb});
}

REALpictureStruct* TransformPicture(REALpictureStruct* self, double a, double b) noexcept {
  const Linear curve{a, b};
  return toned<Clamping>(self, curve, curve, curve);
}
