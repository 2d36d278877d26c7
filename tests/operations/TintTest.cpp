#include "Support.h"

namespace {

using namespace test;

class TintTest : public LayoutTest {};

host::PictureRef tinted(PluginHost& setup, host::PictureRef picture, uint32_t grey, uint32_t tone) {
  return setup.plugin.callGlobal("TintPictureZVK", picture, host::Color{grey}, host::Color{tone});
}

// Weights of 0 and 1 leave no rounding: every result is a whole number.
TEST_P(TintTest, WeighsAndColoursBrightness) {
  PluginHost setup(GetParam().options);
  struct Case {
    uint32_t grey, tone;  // top bytes are ignored
    std::function<Rgb(Rgb)> f;
  };
  const auto sum = [](Rgb c) { return std::min(c.red + c.green + c.blue, 255); };
  const Case cases[] = {
      {0xFFFFFF, 0x12FFFFFF,
       [&](Rgb c) {
         return Rgb{sum(c), sum(c), sum(c)};
       }},
      {0x80FF0000, 0xFFFFFF,
       [](Rgb c) {
         return Rgb{c.red, c.red, c.red};
       }},
      {0x00FF00, 0xFF00FF,
       [](Rgb c) {
         return Rgb{c.green, 0, c.green};
       }},
      {0x0000FF, 0x00FF00,
       [](Rgb c) {
         return Rgb{0, c.blue, 0};
       }},
      {0x000000, 0xFFFFFF,
       [](Rgb) {
         return Rgb{0, 0, 0};
       }},
      {0xFFFFFF, 0x000000,
       [](Rgb) {
         return Rgb{0, 0, 0};
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.grey);
    expectMapping(setup,
                  {.call = [&](auto p) { return tinted(setup, p, c.grey, c.tone); }, .f = c.f});
  }
}

// The exact result is a fraction over 255 * 255. Where that is a whole number, rounding of the
// weights may truncate to the one below; everywhere else the exact integer must come out.
TEST(TintArithmeticTest, TruncatesTheExactValue) {
  PluginHost setup(host::PictureOptions{});
  std::mt19937 random(7);
  const Pixels source = randomPixels(200, 100, 8);
  const host::PictureRef picture = setup.picture(200, 100, source);
  for (int round = 0; round < 20; ++round) {
    const Rgb grey = rgbOf(static_cast<uint32_t>(random()));
    const Rgb tone = rgbOf(static_cast<uint32_t>(random()));
    const Pixels result = tinted(setup, picture, opaque(grey), opaque(tone))->pixels();
    for (size_t i = 0; i < source.size(); ++i) {
      const Rgb c = rgbOf(source[i]);
      const int level = c.red * grey.red + c.green * grey.green + c.blue * grey.blue;
      const auto good = [&](int got, int weight) {
        const int exact = level * weight;
        const int whole = std::min(exact / (255 * 255), 255);
        return got == whole || (exact % (255 * 255) == 0 && got == whole - 1);
      };
      const Rgb got = rgbOf(result[i]);
      ASSERT_TRUE(good(got.red, tone.red) && good(got.green, tone.green) &&
                  good(got.blue, tone.blue) && result[i] >> 24 == 255)
          << std::hex << source[i] << " with " << opaque(grey) << ", " << opaque(tone) << " gave "
          << result[i];
    }
  }
}

}  // namespace

ZVK_ALL_LAYOUTS(TintTest);
