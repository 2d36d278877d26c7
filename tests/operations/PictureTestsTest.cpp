#include "Support.h"

namespace {

using namespace test;
using host::PictureRef;

class PictureTestsTest : public LayoutTest {};

constexpr uint32_t kWhite = 0xFFFFFFFF, kBlack = 0xFF000000;

/// Whether all pixels of the rectangle have this colour, one by one.
bool allAre(const Pixels& pixels, int width, int height, uint32_t color, int64_t left, int64_t top,
            int64_t w, int64_t h) {
  const int64_t right = left + (w < 0 ? width : w), bottom = top + (h < 0 ? height : h);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool inside = x >= left && x < right && y >= top && y < bottom;
      if (inside && (pixels[static_cast<size_t>(y) * width + x] ^ color) & 0xFFFFFF) return false;
    }
  }
  return true;
}

// A picture with one odd pixel, whose difference is a single bit of a single channel, and whose
// alpha says nothing.
TEST_P(PictureTestsTest, FindsTheOddPixelOfWholePicturesAndRectangles) {
  PluginHost setup(GetParam().options);
  // Every access to a drawable waits for the display.
  const int rectangles = setup.options.storage == host::Storage::kDrawable ? 6 : 40;
  std::mt19937 random(3);
  const auto edge = [&](int size) {
    constexpr int kWild[] = {INT32_MIN, INT32_MIN + 3, -1, 0, 1, INT32_MAX - 3, INT32_MAX};
    const auto value = static_cast<int>(random() % static_cast<unsigned>(2 * size + 7)) - size;
    return random() % 4 != 0 ? value : kWild[random() % std::size(kWild)];
  };
  for (const auto& [width, height] : {std::pair{1, 1}, {6, 5}, {520, 3}}) {
    for (int round = 0; round < 6; ++round) {
      Pixels white(static_cast<size_t>(width) * height, kWhite & 0x80FFFFFF);
      Pixels black(white.size(), kBlack & 0x80FFFFFF);
      const size_t odd = random() % white.size();
      const uint32_t bit = 1U << (random() % 3 * 8);
      if (round > 0) white[odd] ^= bit, black[odd] ^= bit;
      const PictureRef whites = setup.picture(width, height, white);
      const PictureRef blacks = setup.picture(width, height, black);
      EXPECT_EQ(setup.plugin.call(whites, "isWhiteZVK").boolean(), round == 0);
      EXPECT_EQ(setup.plugin.call(blacks, "isBlackZVK").boolean(), round == 0);
      EXPECT_FALSE(setup.plugin.call(whites, "isBlackZVK").boolean());
      EXPECT_FALSE(setup.plugin.call(blacks, "isWhiteZVK").boolean());
      for (int i = 0; i < rectangles; ++i) {
        const int left = edge(width), top = edge(height), w = edge(width), h = edge(height);
        const bool expected = allAre(white, width, height, kWhite, left, top, w, h);
        const std::string where = testing::PrintToString(std::vector{left, top, w, h, int(odd)});
        ASSERT_EQ(setup.plugin.call(whites, "isWhiteZVK", left, top, w, h).boolean(), expected)
            << where;
        ASSERT_EQ(setup.plugin.call(blacks, "isBlackZVK", left, top, w, h).boolean(), expected)
            << where;
      }
    }
  }
}

double colorness(const Pixels& pixels, int64_t threshold) {
  const auto counts = [&](uint32_t pixel) {
    const Rgb c = rgbOf(pixel);
    if (c.red < 30 && c.green < 30 && c.blue < 30) return false;
    return std::abs(c.green - c.red) > threshold || std::abs(c.green - c.blue) > threshold;
  };
  return double(std::count_if(pixels.begin(), pixels.end(), counts)) / double(pixels.size());
}

TEST_P(PictureTestsTest, MeasuresColourfulness) {
  PluginHost setup(GetParam().options);
  // Values of 0 to 63, so that many pixels are dark and many differences are small.
  Pixels source = randomPixels(1100, 4, 11, true);
  for (uint32_t& pixel : source) pixel &= 0xFF3F3F3F;
  source[0] = opaque(29, 29, 29);
  source[1] = opaque(20, 25, 30);
  source[2] = opaque(255, 0, 255);
  source[3] = opaque(0, 255, 0);
  const PictureRef picture = setup.picture(1100, 4, source);
  for (const int threshold : {INT32_MIN, INT32_MIN + 1, -256, -255, -1, 0, 1, 9, 10, 11, 40, 62, 63,
                              254, 255, 256, INT32_MAX}) {
    // A negative threshold counts whatever is not dark, as -1 does.
    EXPECT_EQ(setup.plugin.call(picture, "ColornessZVK", threshold).number(),
              colorness(source, std::max(threshold, -1)))
        << threshold;
  }
  EXPECT_EQ(setup.plugin.call(picture, "ColornessZVK").number(), colorness(source, 10));
}

}  // namespace

ZVK_ALL_LAYOUTS(PictureTestsTest);
