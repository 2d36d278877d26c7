#include "Support.h"

namespace {

using namespace test;

class InversionTest : public LayoutTest {};

Rgb inverted(Rgb c) { return {255 - c.red, 255 - c.green, 255 - c.blue}; }

// Widths around every vector length show loops that mishandle their last pixels.
TEST_P(InversionTest, InvertsEveryPixelAtEveryWidth) {
  PluginHost setup(GetParam().options);
  for (int width = 1; width <= 70; ++width) {
    const Pixels source = randomPixels(width, 2, static_cast<uint32_t>(width), true);
    const host::PictureRef picture = setup.picture(width, 2, source);
    const host::PictureRef result = setup.plugin.call(picture, "InvertZVK");
    ASSERT_TRUE(result);
    ASSERT_EQ(colors(result), colors(setup.picture(width, 2, mapped(source, inverted))))
        << "width " << width;
  }
}

}  // namespace

ZVK_ALL_LAYOUTS(InversionTest);
