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

TEST(TintArithmeticTest, TruncatesTheExactValue) {
  PluginHost setup(host::PictureOptions{});
  std::mt19937 random(7);
  const Pixels source = randomPixels(200, 100, 8);
  const host::PictureRef picture = setup.picture(200, 100, source);
  for (int round = 0; round < 50; ++round) {
    const Rgb grey = rgbOf(static_cast<uint32_t>(random()));
    const Rgb tone = rgbOf(static_cast<uint32_t>(random()));
    const Pixels result = tinted(setup, picture, opaque(grey), opaque(tone))->pixels();
    for (size_t i = 0; i < source.size(); ++i) {
      const Rgb c = rgbOf(source[i]);
      const int level = c.red * grey.red + c.green * grey.green + c.blue * grey.blue;
      const auto exact = [&](int weight) { return std::min(level * weight / (255 * 255), 255); };
      ASSERT_EQ(result[i], opaque({exact(tone.red), exact(tone.green), exact(tone.blue)}))
          << std::hex << source[i] << " with " << opaque(grey) << ", " << opaque(tone);
    }
  }
}

// Red alone is the level, so that every level there is meets every weight; the quotients next to
// whole numbers are where single precision could fail.
TEST(TintArithmeticTest, IsExactForEveryLevelAndWeight) {
  PluginHost setup(host::PictureOptions{});
  Pixels source;
  for (int level = 0; level < 256; ++level) source.push_back(opaque(level, level, level));
  const host::PictureRef picture = setup.picture(256, 1, source);
  for (int grey = 0; grey < 256; ++grey) {
    for (int tone = 0; tone < 256; ++tone) {
      const Pixels result =
          tinted(setup, picture, opaque(grey, grey, grey), opaque(tone, tone, tone))->pixels();
      for (int level = 0; level < 256; ++level) {
        const int exact = std::min(3 * level * grey * tone / (255 * 255), 255);
        ASSERT_EQ(result[static_cast<size_t>(level)], opaque(exact, exact, exact))
            << level << " with " << grey << ", " << tone;
      }
    }
  }
}

}  // namespace

ZVK_ALL_LAYOUTS(TintTest);
