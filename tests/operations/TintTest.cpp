#include "Support.h"

namespace {

using namespace test;

host::PictureRef tinted(PluginHost& setup, host::PictureRef picture, uint32_t grey, uint32_t tone) {
  return setup.plugin.callGlobal("TintPictureZVK", picture, host::Color{grey}, host::Color{tone});
}

TEST(Tint, TruncatesTheExactValue) {
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
TEST(Tint, IsExactForEveryLevelAndWeight) {
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
