#include "Formats.h"

namespace {

using namespace test;

Rgb inverted(Rgb c) { return {255 - c.red, 255 - c.green, 255 - c.blue}; }

Rgb greyInverted(Rgb c) { return c.red == c.green && c.green == c.blue ? inverted(c) : c; }

/// Every third pixel is grey, some of the others nearly so.
Pixels partlyGrey(int width, int height, uint32_t seed) {
  Pixels pixels = randomPixels(width, height, seed, true);
  for (size_t i = 0; i < pixels.size(); ++i) {
    const uint32_t grey = (pixels[i] & 0xFF000000) | (pixels[i] & 0xFF) * 0x010101;
    if (i % 3 == 0) pixels[i] = grey;
    if (i % 3 == 1) pixels[i] = grey ^ (1U << (seed + i) % 24);
  }
  return pixels;
}

class InversionTest : public FormatTest {};

TEST_P(InversionTest, WholePicturesAtEveryWidth) {
  for (const int width : widths()) {
    const Pixels source = partlyGrey(width, 2, static_cast<uint32_t>(width));
    const host::PictureRef picture = setup.picture(width, 2, source);
    const host::PictureRef result = setup.plugin.call(picture, "InvertZVK");
    ASSERT_TRUE(result);
    ASSERT_EQ(result->words(), written(mapped(source, inverted))) << "width " << width;
    ASSERT_EQ(result->hasAlpha(), GetParam().source.options.alpha);
    const host::PictureRef grey = setup.plugin.call(picture, "InvertGrayZVK");
    ASSERT_EQ(grey->words(), written(mapped(source, greyInverted))) << "width " << width;
    ASSERT_EQ(colors(setup.plugin.call(result, "InvertZVK")), colors(picture));
  }
}

/// A rectangle as given and the columns and rows that it covers in a picture of 9 x 5 pixels.
struct Rectangle {
  int left, top, width, height;
  int x0, y0, x1, y1;
};

constexpr int kMost = INT32_MAX, kLeast = INT32_MIN;

const Rectangle kRectangles[] = {
    {2, 1, 3, 2, 2, 1, 5, 3},
    {-10, 0, 12, 1, 0, 0, 2, 1},
    {0, -3, 9, 4, 0, 0, 9, 1},
    {7, 3, 100, 100, 7, 3, 9, 5},
    {9, 0, 5, 5, 0, 0, 0, 0},
    {0, 5, 5, 5, 0, 0, 0, 0},
    {-5, -5, 5, 5, 0, 0, 0, 0},
    {kMost, kMost, kMost, kMost, 0, 0, 0, 0},
    {kLeast, kLeast, kMost, kMost, 0, 0, 0, 0},
    {kLeast, 0, kMost, 5, 0, 0, 0, 0},
    {1, 1, kMost, kMost, 1, 1, 9, 5},
    {-1, -1, kMost, kMost, 0, 0, 9, 5},
    {8, 4, 1, 1, 8, 4, 9, 5},
};
// Sizes that stand for the whole extent, at either method.
const Rectangle kWholeOfInvert[] = {
    {0, 0, 0, 0, 0, 0, 9, 5}, {3, 2, 0, -1, 3, 2, 9, 5}, {-4, 0, kLeast, 2, 0, 0, 5, 2}};
const Rectangle kWholeOfGrey[] = {{0, 0, 0, 0, 0, 0, 0, 0},
                                  {0, 0, -1, -1, 0, 0, 9, 5},
                                  {3, 2, -1, 0, 0, 0, 0, 0},
                                  {-4, 0, kLeast, 2, 0, 0, 5, 2}};

TEST_P(InversionTest, RectanglesAreClippedAndTheRestStaysAsTheHostMadeIt) {
  setup.host.settings.freshPixel = 0x00ABCDEF;
  const Pixels source = partlyGrey(9, 5, 4);
  const host::PictureRef picture = setup.picture(9, 5, source);
  // A buffer writer starts black; other results are the host's new pictures.
  const bool buffered = GetParam().result.options.storage == host::Storage::kDrawable;
  const auto check = [&](const char* method, Rgb (*f)(Rgb), const Rectangle& r) {
    Pixels expected(45, buffered ? 0 : 0x00ABCDEF);
    const Pixels done = written(mapped(source, f));
    for (int y = r.y0; y < r.y1; ++y) {
      for (int x = r.x0; x < r.x1; ++x) {
        const auto i = static_cast<size_t>(9 * y + x);
        expected[i] = done[i];
      }
    }
    const host::PictureRef result =
        setup.plugin.call(picture, method, r.left, r.top, r.width, r.height);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->words(), expected)
        << method << " " << r.left << " " << r.top << " " << r.width << " " << r.height;
  };
  for (const Rectangle& r : kRectangles) {
    check("InvertZVK", inverted, r);
    check("InvertGrayZVK", greyInverted, r);
  }
  for (const Rectangle& r : kWholeOfInvert) check("InvertZVK", inverted, r);
  for (const Rectangle& r : kWholeOfGrey) check("InvertGrayZVK", greyInverted, r);
}

ZVK_ALL_FORMATS(InversionTest);

}  // namespace
