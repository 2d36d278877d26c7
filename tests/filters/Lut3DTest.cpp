#include <array>
#include <limits>

#include "FilterSupport.h"

namespace {

using namespace test;

constexpr const char* kClass = "PictureLut3DZVK";
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class Lut3DTest : public testing::Test {
 protected:
  host::InstanceRef filterWith(const LutTable& table) {
    host::InstanceRef filter = newFilter(setup, kClass);
    table.putInto(filter);
    return filter;
  }
  Rgb mapped(const LutTable& table, Rgb color) { return filtered(setup, filterWith(table), color); }

  PluginHost setup{host::Settings::forStorage(host::Storage::kCairo)};
};

// All 2^24 colours; on 32 bits, where tests run emulated, every 61st strip of them.
TEST_F(Lut3DTest, GivesEveryColourBackThroughAnIdentityTable) {
  constexpr int kWidth = 4096, kHeight = 16, kStrips = (1 << 24) / (kWidth * kHeight);
  constexpr int kStep = sizeof(void*) == 4 ? 61 : 1;
  const host::InstanceRef filter = filterWith(LutTable::identity());
  Pixels strip(static_cast<size_t>(kWidth) * kHeight);
  for (int s = 0; s < kStrips; s += kStep) {
    for (size_t i = 0; i < strip.size(); ++i) {
      strip[i] = static_cast<uint32_t>(static_cast<size_t>(s) * strip.size() + i);
    }
    ASSERT_TRUE(filtered(setup, filter, setup.picture(kWidth, kHeight, strip)) == strip)
        << "strip " << s;
  }
}

TEST_F(Lut3DTest, ReadsAndAssignsEntriesWithinTheTable) {
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
  const LutTable counted =
      LutTable::filled([](int r, int g, int b, int x) { return r * 972 + g * 54 + b * 3 + x; });
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

TEST_F(Lut3DTest, TruncatesAndClamps) {
  const auto constant = [](double value) {
    return LutTable::filled([=](int, int, int, int) { return value; });
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

TEST_F(Lut3DTest, IgnoresEntriesBeyondTheLastGridPoint) {
  LutTable table = LutTable::random(6);
  const Pixels source = randomPixels(256, 64, 7);
  Pixels edges = source;
  for (size_t i = 0; i < edges.size(); ++i) edges[i] |= 0xFFU << 8 * (i % 3);
  const host::PictureRef picture = setup.picture(256, 64, edges);
  const Pixels before = filtered(setup, filterWith(table), picture);
  const LutTable spoilt = LutTable::filled([&](int r, int g, int b, int x) {
    return r > 15 || g > 15 || b > 15 ? kNaN : table.at(r, g, b, x);
  });
  EXPECT_EQ(filtered(setup, filterWith(spoilt), picture), before);
}

// Of large pictures the grid is looked at first: it is tame to its last point, or it is not.
TEST_F(Lut3DTest, LimitsWhatTheLastGridPointGives) {
  LutTable table = LutTable::filled([](int, int, int, int) { return 255.0; });
  for (int x = 0; x < 3; ++x) table.at(15, 15, 15, x) = 300;
  EXPECT_EQ(filtered(setup, filterWith(table), setup.picture(100, 50, Pixels(5000, ~0U))),
            Pixels(5000, 0xFFFFFF));
}

// Infinities and what is no number reach exactly the colours whose sum they take part in.
TEST_F(Lut3DTest, SurvivesTablesWithoutNumbers) {
  std::mt19937 random(8);
  const LutTable healthy = LutTable::random(9);
  const LutTable table = LutTable::filled([&](int r, int g, int b, int x) {
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
