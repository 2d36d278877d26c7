#include "operations/SampleRendering.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "Support.h"

namespace {

using namespace test;
using host::BlockRef;
using host::Color;
using host::PictureRef;
using host::Placement;
using testing::ElementsAre;
using testing::HasSubstr;

using Bytes = std::vector<uint8_t>;

constexpr Color kBack{0x102030}, kFore{0xA0B0C0}, kOutline{0xF04020};

struct Request {
  int count = 0, smooth = 1, width = 0, height = 0, outline = 0;
};

PictureRef render(PluginHost& setup, const BlockRef& block, const Request& r) {
  return setup.plugin.callGlobal("RenderSamplesZVK", block, r.count, r.smooth, r.width, r.height,
                                 r.outline, kBack, kFore, kOutline);
}

PictureRef render(PluginHost& setup, const Bytes& bytes, const Request& r) {
  return render(setup, setup.host.newBlock(bytes, Placement::kGuarded), r);
}

// --- The plain model ----------------------------------------------------------------------------

struct Canvas {
  int width, height;
  Pixels pixels;

  Canvas(int w, int h, uint32_t color)
      : width(w), height(h), pixels(static_cast<size_t>(w) * static_cast<size_t>(h), color) {}

  uint32_t& at(int x, int y) {
    return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
  void blend(int x, int y, int weight) {
    if (x < 0 || y < 0 || x >= width || y >= height) return;
    const Rgb outline = rgbOf(kOutline.rgb), old = rgbOf(at(x, y));
    const auto mix = [&](int o, int p) { return (o * (255 - weight) + p * weight) / 255; };
    at(x, y) = opaque(mix(outline.red, old.red), mix(outline.green, old.green),
                      mix(outline.blue, old.blue)) &
               0xFFFFFF;
  }
};

/// Wu's line with its wrapping 16-bit accumulator, one pixel after the other.
void wuLine(Canvas& canvas, int x0, int y0, int x1, int y1) {
  if (y0 > y1) std::swap(x0, x1), std::swap(y0, y1);
  canvas.blend(x0, y0, 0);
  const int xdir = x1 < x0 ? -1 : 1;
  const auto dx = static_cast<uint16_t>(std::abs(x1 - x0)), dy = static_cast<uint16_t>(y1 - y0);
  if (dx == 0 || dy == 0 || dx == dy) {
    while (x0 != x1 || y0 != y1) {
      if (dx != 0) x0 += xdir;
      if (dy != 0) ++y0;
      canvas.blend(x0, y0, 0);
    }
    return;
  }
  const bool steep = dy > dx;
  const auto step = static_cast<uint16_t>(steep ? dx * 65536U / dy : dy * 65536U / dx);
  uint16_t accumulator = 0;
  for (int i = std::max(dx, dy) - 1; i > 0; --i) {
    const uint16_t old = accumulator;
    accumulator = static_cast<uint16_t>(accumulator + step);
    const bool wrapped = accumulator <= old;
    if (steep || wrapped) ++y0;
    if (!steep || wrapped) x0 += xdir;
    const int weight = accumulator / 256;
    canvas.blend(x0, y0, weight);
    canvas.blend(steep ? x0 + xdir : x0, steep ? y0 : y0 + 1, 255 - weight);
  }
  canvas.blend(x1, y1, 0);
}

double rowOf(double mid, double value) {
  return std::isfinite(value) ? std::clamp(std::trunc(mid + value), -32768.0, 32767.0) : mid;
}

/// The rows of both series in each column.
using Rows = std::vector<std::array<double, 2>>;

Rows modelRows(const Bytes& bytes, const Request& r) {
  const int64_t records = static_cast<int64_t>(bytes.size()) / 2;
  const auto value = [&](int64_t k, size_t which) {
    const auto byte = k < records ? bytes[2 * static_cast<size_t>(k) + which] : 0;
    return static_cast<double>(static_cast<int8_t>(byte));
  };
  const double a = 2.0 / (r.smooth + 1.0);
  double peak = 100;
  std::array<double, 2> averages = {value(0, 1), value(0, 0)};
  Rows rows(static_cast<size_t>(r.width));
  rows[0] = averages;
  for (int64_t k = 1; k <= r.count && k <= std::max<int64_t>(records, 1); ++k) {
    for (size_t i = 0; i < 2 && k < records; ++i)
      averages[i] = averages[i] * (1 - a) + value(k, i) * a;
    peak = std::max(peak, averages[1]);
    rows[static_cast<size_t>((k - 1) * r.width / r.count)] = averages;
  }
  for (auto& column : rows) {
    for (double& v : column) v = rowOf(r.height / 2, v * 0.5 / peak * r.height);
  }
  return rows;
}

Pixels model(const Bytes& bytes, Request r) {
  if (r.count < 1) r.count = static_cast<int>(bytes.size() / 2);
  if (r.height < 1) r.height = 500;
  if (r.width < 1) r.width = r.count;
  const int mid = r.height / 2;
  Canvas canvas(r.width, r.height, kBack.rgb);
  const Rows rows = modelRows(bytes, r);
  for (int x = 0; x < r.width; ++x) {
    for (const double row : rows[static_cast<size_t>(x)]) {
      const int y = static_cast<int>(row), last = std::min(r.height - 1, std::max(y, mid));
      for (int i = std::max(0, std::min(y, mid)); i <= last; ++i) canvas.at(x, i) = kFore.rgb;
    }
  }
  std::array<int, 2> from = {mid, mid};
  for (int x = 0; x < r.width && r.outline == 1; ++x) {
    for (size_t i = 0; i < 2; ++i) {
      const int y = static_cast<int>(rows[static_cast<size_t>(x)][i]);
      wuLine(canvas, std::max(x - 1, 0), std::exchange(from[i], y), x, y);
    }
  }
  return canvas.pixels;
}

/// Noise, a decaying swing, or full swings from sample to sample.
Bytes samples(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  Bytes bytes(size);
  for (size_t i = 0; i < size; ++i) {
    const double place = static_cast<double>(i), decay = -4 / static_cast<double>(size);
    const double swing = 120 * std::sin(0.05 * place) * std::exp(decay * place);
    const uint8_t kinds[] = {static_cast<uint8_t>(random()),
                             static_cast<uint8_t>(static_cast<int8_t>(swing)),
                             static_cast<uint8_t>(i / 2 % 2 == 0 ? 0x80 : 0x7F)};
    bytes[i] = kinds[seed % 3];
  }
  return bytes;
}

// --- Pictures against the model -----------------------------------------------------------------

class SampleRenderingTest : public LayoutTest {
 protected:
  void expectModel(PluginHost& setup, const Bytes& bytes, const Request& r) {
    const PictureRef picture = render(setup, bytes, r);
    ASSERT_TRUE(picture);
    ASSERT_TRUE(words(picture) == written(model(bytes, r), picture->options()))
        << bytes.size() << " bytes, count " << r.count << ", smooth " << r.smooth << ", " << r.width
        << " x " << r.height;
  }
};

TEST_P(SampleRenderingTest, DrawsTheModelsPictureAtEverySmoothing) {
  PluginHost setup(GetParam().options);
  for (int smooth = -3; smooth <= 50; ++smooth) {
    const auto seed = static_cast<uint32_t>(smooth + 3);
    expectModel(setup, samples(1201, seed),
                {.smooth = smooth, .width = 61, .height = 90, .outline = smooth & 1});
  }
}

// Fewer samples than columns, more, and as many; fewer and more than the block, which ends at an
// unreadable page, holds; widths around the blocks that rows are written in.
TEST_P(SampleRenderingTest, MapsAnyCountOntoAnyWidth) {
  PluginHost setup(GetParam().options);
  const Bytes bytes = samples(402, 4);
  for (size_t size = 0; size <= 7; ++size) {
    for (const int count : {0, 1, 3, 50}) {
      expectModel(setup, samples(size, 6 + static_cast<uint32_t>(size) * 3),
                  {.count = count, .smooth = 3, .width = 20, .height = 20, .outline = 1});
    }
  }
  for (const int count : {0, 1, 2, 40, 199, 200, 201, 202, 300, 2'147'483'647}) {
    for (const int width : {1, 7, 512, 513}) {
      expectModel(setup, bytes,
                  {.count = count, .smooth = 2, .width = width, .height = 33, .outline = 1});
    }
  }
  expectModel(setup, bytes, {.count = 5, .smooth = 2, .width = 32'767, .height = 1});
  // Sizes that are missing come from the block.
  expectModel(setup, samples(301, 1), {.count = -1, .width = -5, .height = 0, .outline = 1});
  // Guarding each row of a picture this high takes more mappings than a process may have.
  host::PictureOptions options = GetParam().options;
  if (options.scatteredRows) options.placement = Placement::kHeap;
  PluginHost high(options);
  expectModel(high, bytes, {.count = 5, .smooth = 2, .width = 2, .height = 32'767, .outline = 1});
}

ZVK_ALL_LAYOUTS(SampleRenderingTest);

TEST(SampleRendering, FollowsProductsBeyond32BitsExactly) {
  PluginHost setup(host::PictureOptions{});
  for (const uint32_t seed : {0U, 1U}) {
    const Bytes bytes = samples(2'000'003, seed);
    const Request request{.smooth = 9, .width = 32'000, .height = 10};
    EXPECT_TRUE(colors(render(setup, bytes, request)) == model(bytes, request));
  }
}

TEST(SampleRendering, SilenceAfterSoundStaysExact) {
  PluginHost setup(host::PictureOptions{});
  Bytes bytes(60'000);
  for (size_t i = 0; i < 600; ++i) bytes[i] = i % 2 == 0 ? 0x7F : 0x80;
  bytes[59'000] = 90;
  for (const int smooth : {2, 20, 500}) {
    const Request request{.smooth = smooth, .width = 3'000, .height = 1'000, .outline = 1};
    EXPECT_TRUE(colors(render(setup, bytes, request)) == model(bytes, request)) << smooth;
  }
}

// --- Lines --------------------------------------------------------------------------------------

Pixels drawnLine(PluginHost& setup, int size, int x0, int y0, int x1, int y1) {
  const Rgb color = rgbOf(kOutline.rgb);
  gOutLineColorR = color.red, gOutLineColorG = color.green, gOutLineColorB = color.blue;
  const PictureRef picture = setup.host.newPicture(size, size);
  PictureEditor editor;
  EXPECT_TRUE(GetPictureEditor(editor, picture.handle()));
  DrawWuLine(editor, x0, y0, x1, y1);
  ClosePictureEditor(editor);
  return colors(picture);
}

// Most of the lines lie partly or far outside.
TEST(WuLine, DrawsEveryDirectionAsTheAccumulatorDoes) {
  LinkedHost setup(host::PictureOptions{});
  std::mt19937 random(5);
  for (int i = 0; i < 600; ++i) {
    const int reach = i % 4 == 0 ? 30'000 : 40;
    const auto coordinate = [&] {
      return static_cast<int>(random() % (2U * static_cast<unsigned>(reach))) - reach / 2;
    };
    const int x0 = coordinate(), y0 = coordinate();
    const int x1 = i % 5 == 0 ? x0 : coordinate(), y1 = i % 7 == 0 ? y0 : coordinate();
    Canvas expected(20, 20, 0);
    wuLine(expected, x0, y0, x1, y1);
    ASSERT_EQ(drawnLine(setup, 20, x0, y0, x1, y1), expected.pixels)
        << x0 << "," << y0 << " to " << x1 << "," << y1;
  }
}

// --- Outlines by the host's pen -----------------------------------------------------------------

class ThickOutlineTest : public LayoutTest {};

TEST_P(ThickOutlineTest, DrawsBothSeriesInTurnCentredOnTheirRows) {
  PluginHost setup(GetParam().options);
  const Bytes bytes{0, 0, 100, 50, 100, 50};
  setup.host.clearCalls();
  const PictureRef picture =
      render(setup, bytes, {.count = 2, .smooth = 3, .width = 2, .height = 100, .outline = 5});
  std::vector<std::string> calls = setup.host.callTexts();
  calls.erase(calls.begin(), std::find_if(calls.begin(), calls.end(), [](const std::string& call) {
                return call.starts_with("pluginPictureGraphicsGetter");
              }));
  const auto line = [](const char* ends) {
    return testing::AllOf(HasSubstr("RuntimeGraphicsDrawLine"), HasSubstr(ends));
  };
  EXPECT_THAT(calls, ElementsAre(HasSubstr("pluginPictureGraphicsGetter(" + picture->name()),
                                 HasSubstr("\"ForeColor\", " + std::to_string(kOutline.rgb)),
                                 HasSubstr("\"PenHeight\", 5"), HasSubstr("\"PenWidth\", 5"),
                                 line(", -2, 48, -2, 73)"), line(", -2, 48, -2, 60)"),
                                 line(", -2, 73, -1, 85)"), line(", -2, 60, -1, 66)"),
                                 HasSubstr("REALUnlockObject(graphics")));
  // The second line's pen reaches into column 0 too.
  for (int y = 0; y < 100; ++y) {
    EXPECT_EQ((picture->pixel(0, y) & 0xFFFFFF) == kOutline.rgb, y >= 48 && y <= 89) << y;
  }
}

TEST_P(ThickOutlineTest, WithoutGraphicsThePictureHasNoOutline) {
  PluginHost setup(GetParam().options);
  const Bytes bytes = samples(200, 0);
  const Pixels plain = colors(render(setup, bytes, {.width = 30, .height = 40}));
  EXPECT_NE(colors(render(setup, bytes, {.width = 30, .height = 40, .outline = 2})), plain);
  setup.host.failCall("pluginPictureGraphicsGetter");
  EXPECT_EQ(colors(render(setup, bytes, {.width = 30, .height = 40, .outline = 2})), plain);
  EXPECT_EQ(colors(render(setup, bytes, {.width = 30, .height = 40, .outline = -1})), plain);
}

ZVK_ALL_LAYOUTS(ThickOutlineTest);

// --- Failures -----------------------------------------------------------------------------------

TEST(SampleRendering, NilSamplesRaise) {
  PluginHost setup(host::PictureOptions{});
  setup.expectException("NilObjectException", "memoryblock is nil", [&] {
    setup.plugin.callGlobal("RenderSamplesZVK", nullptr, 0, 1, 10, 10, 0);
  });
}

TEST(SampleRendering, ImpossiblePicturesAreNil) {
  PluginHost setup(host::PictureOptions{});
  const BlockRef block = setup.host.newBlock(samples(100, 0));
  for (const int size : {32'768, 268'435'453, 268'435'454, 2'147'483'647}) {
    EXPECT_FALSE(render(setup, block, {.width = size, .height = 1})) << "width " << size;
    EXPECT_FALSE(render(setup, block, {.width = 1, .height = size})) << "height " << size;
    EXPECT_FALSE(render(setup, block, {.count = size, .height = 1})) << "count " << size;
  }
  EXPECT_FALSE(render(setup, setup.host.newBlock(1), {}));
  setup.host.failCall("newPicture");
  EXPECT_FALSE(render(setup, block, {}));
  block->hideAddress = true;
  EXPECT_FALSE(render(setup, block, {}));
}

// Without the service for sizes a count that the program names is all there is to go by.
TEST(SampleRendering, HostsThatTellNoSizesLeaveTheCountToTheProgram) {
  PluginHost setup(host::PictureOptions{});
  setup.host.withhold("memoryBlockGetSize");
  const Bytes bytes = samples(100, 0);
  EXPECT_FALSE(render(setup, bytes, {}));
  EXPECT_EQ(colors(render(setup, bytes, {.count = 50, .width = 9, .height = 9})),
            model(bytes, {.count = 50, .width = 9, .height = 9}));
}

}  // namespace
