#include "operations/Operations.h"
#include "pixels/ChannelTables.h"
#include "pixels/Channels.h"
#include "pixels/PixelRows.h"

namespace {

using namespace pixels;

/// A value for each channel.
struct PerChannel {
  double red, green, blue;

  static constexpr PerChannel same(double value) { return {value, value, value}; }
};

// Each curve maps a channel value to a value that is not yet converted to a channel.

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
  // From an integer channel, the difference is taken before the conversion.
  template <typename V>
  double operator()(V v) const noexcept {
    return 127 + (v - 127) * factor;
  }
};

struct Linear {
  double a, b;

  double operator()(double v) const noexcept { return a * v + b; }
};

template <typename First, typename Second>
struct Then {
  First first;
  Second second;

  double operator()(int32_t v) const noexcept { return second(first(v)); }
};

/// One curve per channel, and the conversion of its values.
template <typename Rule, typename Curve>
struct ToneKernel {
  Curve red, green, blue;

  uint32_t operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    return pack({Rule::any(red(v.red)), Rule::any(green(v.green)), Rule::any(blue(v.blue))});
  }
};

template <typename Rule, typename Curve>
REALpictureStruct* toned(REALpictureStruct* self, Curve red, Curve green, Curve blue) noexcept {
  const ToneKernel<Rule, Curve> kernel{red, green, blue};
  return writtenPicture(self, [=](PictureEditor& reader, PictureEditor& writer) {
    mapChannels(reader, writer, kernel);
  });
}

template <typename Curve, typename Rule = ClampingRule>
REALpictureStruct* toned(REALpictureStruct* self, PerChannel k) noexcept {
  return toned<Rule>(self, Curve{k.red}, Curve{k.green}, Curve{k.blue});
}

/// Contrast followed by a brightness curve.
template <typename Brightness>
REALpictureStruct* toned(REALpictureStruct* self, PerChannel k, PerChannel b) noexcept {
  using Both = Then<Contrast, Brightness>;
  return toned<ClampingRule>(self, Both{Contrast{k.red}, Brightness{b.red}},
                             Both{Contrast{k.green}, Brightness{b.green}},
                             Both{Contrast{k.blue}, Brightness{b.blue}});
}

}  // namespace

REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* self, double b) noexcept {
  return toned<LinearBrightness, WrappingRule>(self, PerChannel::same(b));
}
REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* self, double br, double bg,
                                         double bb) noexcept {
  return toned<LinearBrightness, WrappingRule>(self, {br, bg, bb});
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
  return toned<ClampingRule>(self, curve, curve, curve);
}
