#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "FilterSupport.h"
#include "filters/Filters.h"

namespace {

using namespace test;

constexpr const char* kClass = "PictureLut3DZVK";
constexpr int kAxis = Lut3DData::kAxis;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A table as an instance holds it.
class Table {
 public:
  double& at(int r, int g, int b, int x) {
    return entries_[static_cast<size_t>(((r * kAxis + g) * kAxis + b) * 3 + x)];
  }
  double at(int r, int g, int b, int x) const { return const_cast<Table*>(this)->at(r, g, b, x); }

  template <typename F>
  static Table filled(F f) {
    Table table;
    for (int r = 0; r < kAxis; ++r) {
      for (int g = 0; g < kAxis; ++g) {
        for (int b = 0; b < kAxis; ++b) {
          for (int x = 0; x < 3; ++x) table.at(r, g, b, x) = f(r, g, b, x);
        }
      }
    }
    return table;
  }

  static Table identity() {
    return filled([](int r, int g, int b, int x) { return 17.0 * std::array{r, g, b}[x]; });
  }

  static Table random(uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> values(-40, 295);
    return filled([&](int, int, int, int) { return values(generator); });
  }

  /// Straight into the instance's data, which is quicker than 17,496 assignments.
  void putInto(const host::InstanceRef& filter) const {
    std::memcpy(filter->data() + offsetof(Lut3DData, table), entries_.data(),
                entries_.size() * sizeof(double));
  }

 private:
  std::vector<double> entries_ = std::vector<double>(Lut3DData::kEntries);
};

/// The weighted sum of four cells, case by case.
double interpolated(const Table& table, Rgb color, int x) {
  const int r0 = color.red / 17, g0 = color.green / 17, b0 = color.blue / 17;
  const int r1 = std::min(r0 + 1, 15), g1 = std::min(g0 + 1, 15), b1 = std::min(b0 + 1, 15);
  const int fr = color.red % 17, fg = color.green % 17, fb = color.blue % 17;
  const auto c = [&](int r, int g, int b) { return table.at(r, g, b, x); };
  const double low = c(r0, g0, b0), high = c(r1, g1, b1);
  double sum;
  if (fr > fg && fg > fb) {
    sum = low * (17 - fr) + c(r1, g0, b0) * (fr - fg) + c(r1, g1, b0) * (fg - fb) + high * fb;
  } else if (fr > fg && fr <= fb) {
    sum = low * (17 - fb) + c(r0, g0, b1) * (fb - fr) + c(r1, g0, b1) * (fr - fg) + high * fg;
  } else if (fr > fg) {
    sum = low * (17 - fr) + c(r1, g0, b0) * (fr - fb) + c(r1, g0, b1) * (fb - fg) + high * fg;
  } else if (fb > fg) {
    sum = low * (17 - fb) + c(r0, g0, b1) * (fb - fg) + c(r0, g1, b1) * (fg - fr) + high * fr;
  } else if (fb > fr) {
    sum = low * (17 - fg) + c(r0, g1, b0) * (fg - fb) + c(r0, g1, b1) * (fb - fr) + high * fr;
  } else {
    sum = low * (17 - fg) + c(r0, g1, b0) * (fg - fr) + c(r1, g1, b0) * (fr - fb) + high * fb;
  }
  return sum / 17;
}

Rgb lookedUp(const Table& table, Rgb color) {
  const auto channel = [&](int x) {
    const double value = interpolated(table, color, x);
    return value > 255 ? 255 : value > 0 ? static_cast<int>(value) : 0;
  };
  return {channel(0), channel(1), channel(2)};
}

class Lut3DTest : public LayoutTest {};

TEST_P(Lut3DTest, InterpolatesBetweenFourCellsAtEveryWidth) {
  PluginHost setup(GetParam().options);
  const Table table = Table::random(5);
  const host::InstanceRef filter = newFilter(setup, kClass);
  table.putInto(filter);
  for (const int width : {1, 2, 7, 8, 9, 31, 32, 33, 63, 64, 65, 127, 128, 200, 600}) {
    const Pixels source = randomPixels(width, 3, static_cast<uint32_t>(width), true);
    const host::PictureRef picture = setup.picture(width, 3, source);
    const Pixels expected = mapped(source, [&](Rgb c) { return lookedUp(table, c); });
    EXPECT_EQ(filtered(setup, filter, picture), colors(setup.picture(width, 3, expected)))
        << "width " << width;
  }
}

TEST_P(Lut3DTest, MakesOpaquePixelsAndKeepsTheAlphaChannel) {
  PluginHost setup(GetParam().options);
  const host::PictureRef source = setup.picture(70, 2, randomPixels(70, 2, 1, true));
  const host::InstanceRef filter = newFilter(setup, kClass, {{"SourcePicture", source}});
  ASSERT_TRUE(run(setup, filter));
  EXPECT_EQ(destination(filter)->hasAlpha(), source->hasAlpha());
  // Records without alpha carry 0 in the fourth byte, everything else 255.
  const bool record = GetParam().options.storage == host::Storage::kRecord;
  for (const uint32_t word : destination(filter)->words()) {
    if (GetParam().options.storage == host::Storage::kDrawable) break;
    ASSERT_EQ(word, record ? 0U : 0xFF000000U);
  }
}

class Lut3DClassTest : public testing::Test {
 protected:
  host::InstanceRef filterWith(const Table& table) {
    host::InstanceRef filter = newFilter(setup, kClass);
    table.putInto(filter);
    return filter;
  }
  Rgb mapped(const Table& table, Rgb color) { return filtered(setup, filterWith(table), color); }

  PluginHost setup{host::Settings::forStorage(host::Storage::kCairo)};
};

// All 2^24 colours; on 32 bits, where tests run emulated, every 61st strip of them.
TEST_F(Lut3DClassTest, GivesEveryColourBackThroughAnIdentityTable) {
  constexpr int kWidth = 4096, kHeight = 16, kStrips = (1 << 24) / (kWidth * kHeight);
  constexpr int kStep = sizeof(void*) == 4 ? 61 : 1;
  const host::InstanceRef filter = filterWith(Table::identity());
  Pixels strip(static_cast<size_t>(kWidth) * kHeight);
  for (int s = 0; s < kStrips; s += kStep) {
    for (size_t i = 0; i < strip.size(); ++i) {
      strip[i] = static_cast<uint32_t>(static_cast<size_t>(s) * strip.size() + i);
    }
    ASSERT_TRUE(filtered(setup, filter, setup.picture(kWidth, kHeight, strip)) == strip)
        << "strip " << s;
  }
}

TEST_F(Lut3DClassTest, ReadsAndAssignsEntriesWithinTheTable) {
  const host::InstanceRef filter = newFilter(setup, kClass);
  const auto read = [&](int r, int g, int b, int x) {
    return setup.plugin.call(filter, "Table", r, g, b, x).number();
  };
  const auto assign = [&](int r, int g, int b, int x, double value) {
    setup.plugin.assignTo(filter, "Table", value, r, g, b, x);
  };
  assign(1, 2, 3, 0, 0.5);
  assign(17, 17, 17, 2, -7.25);
  EXPECT_EQ(read(1, 2, 3, 0), 0.5);
  EXPECT_EQ(read(17, 17, 17, 2), -7.25);
  EXPECT_EQ(read(3, 2, 1, 0), 0.0);
  // Each entry lies at its own place.
  const Table counted =
      Table::filled([](int r, int g, int b, int x) { return r * 972 + g * 54 + b * 3 + x; });
  counted.putInto(filter);
  EXPECT_EQ(read(1, 0, 0, 0), 972);
  EXPECT_EQ(read(0, 1, 0, 0), 54);
  EXPECT_EQ(read(0, 0, 1, 0), 3);
  EXPECT_EQ(read(0, 0, 0, 1), 1);

  constexpr int kExtreme = std::numeric_limits<int>::min();
  const std::array<int, 4> outside[] = {
      {18, 0, 0, 0}, {0, 18, 0, 0}, {0, 0, 18, 0}, {0, 0, 0, 3},        {-1, 0, 0, 0},
      {0, -1, 0, 0}, {1, 0, -1, 0}, {1, 0, 0, -1}, {kExtreme, 0, 0, 0}, {0, 0, 0, kExtreme}};
  for (const auto& [r, g, b, x] : outside) {
    assign(r, g, b, x, 1e6);
    EXPECT_EQ(read(r, g, b, x), 0.0);
  }
  std::vector<double> entries(Lut3DData::kEntries);
  std::memcpy(entries.data(), filter->data() + offsetof(Lut3DData, table),
              entries.size() * sizeof(double));
  for (size_t i = 0; i < entries.size(); ++i) ASSERT_EQ(entries[i], static_cast<double>(i));
}

// What is assigned takes part where its indices say: red is the first index, output red the first
// channel.
TEST_F(Lut3DClassTest, MapsThroughAssignedEntries) {
  const host::InstanceRef filter = newFilter(setup, kClass);
  const double values[] = {10.9, 20.1, 99.9999};
  for (int x = 0; x < 3; ++x) setup.plugin.assignTo(filter, "Table", values[x], 15, 0, 1, x);
  EXPECT_EQ(filtered(setup, filter, {255, 0, 17}), (Rgb{10, 20, 99}));
  EXPECT_EQ(filtered(setup, filter, {17, 0, 255}), (Rgb{0, 0, 0}));
}

TEST_F(Lut3DClassTest, TruncatesAndClamps) {
  const auto constant = [](double value) {
    return Table::filled([=](int, int, int, int) { return value; });
  };
  // At a grid point one cell has all the weight and three have none; 0 times infinity is no number.
  struct Case {
    double value;
    int atGridPoint, between;
  };
  constexpr Case kCases[] = {
      {254.9, 254, 254},   {99.9999, 99, 99},   {0.999, 0, 0}, {255, 255, 255},
      {255.5, 255, 255},   {1.7e308, 255, 255}, {-0.5, 0, 0},  {-1.7e308, 0, 0},
      {kInfinity, 0, 255}, {-kInfinity, 0, 0},  {kNaN, 0, 0},
  };
  for (const auto& [value, atGridPoint, between] : kCases) {
    EXPECT_EQ(mapped(constant(value), {51, 17, 238}), (Rgb{atGridPoint, atGridPoint, atGridPoint}))
        << value;
    EXPECT_EQ(mapped(constant(value), {50, 100, 190}), (Rgb{between, between, between})) << value;
  }
  // The next double below a whole number stays below it at a grid point.
  for (const double whole : {1.0, 2.0, 100.0, 128.0, 249.0, 255.0}) {
    const int below = static_cast<int>(whole) - 1;
    EXPECT_EQ(mapped(constant(std::nextafter(whole, 0.0)), {34, 255, 0}),
              (Rgb{below, below, below}));
  }
}

TEST_F(Lut3DClassTest, IgnoresEntriesBeyondTheLastGridPoint) {
  Table table = Table::random(6);
  const Pixels source = randomPixels(256, 64, 7);
  Pixels edges = source;
  for (size_t i = 0; i < edges.size(); ++i) edges[i] |= 0xFFU << 8 * (i % 3);
  const host::PictureRef picture = setup.picture(256, 64, edges);
  const Pixels before = filtered(setup, filterWith(table), picture);
  const Table spoilt = Table::filled([&](int r, int g, int b, int x) {
    return r > 15 || g > 15 || b > 15 ? kNaN : table.at(r, g, b, x);
  });
  EXPECT_EQ(filtered(setup, filterWith(spoilt), picture), before);
}

// Infinities and what is no number reach exactly the colours whose sum they take part in.
TEST_F(Lut3DClassTest, SurvivesTablesWithoutNumbers) {
  std::mt19937 random(8);
  const Table healthy = Table::random(9);
  const Table table = Table::filled([&](int r, int g, int b, int x) {
    constexpr double kOdd[] = {kNaN, kInfinity, -kInfinity};
    return random() % 20 == 0 ? kOdd[random() % 3] : healthy.at(r, g, b, x);
  });
  Pixels source = randomPixels(512, 64, 10);
  // A few remainders only, so that many are equal.
  for (uint32_t& pixel : source) pixel &= 0x717171;
  EXPECT_EQ(filtered(setup, filterWith(table), setup.picture(512, 64, source)),
            colors(setup.picture(512, 64,
                                 test::mapped(source, [&](Rgb c) { return lookedUp(table, c); }))));
}

}  // namespace

ZVK_ALL_LAYOUTS(Lut3DTest);
