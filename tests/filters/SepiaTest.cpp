#include <limits>

#include "FilterSupport.h"

namespace {

using namespace test;

constexpr const char* kClass = "PictureSepiaZVK";
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr Rgb kWhite{255, 255, 255};

struct Factors {
  double red = 0.299, green = 0.587, blue = 0.114;
};

host::InstanceRef newSepia(const PluginHost& setup, Factors factors, Rgb offsets) {
  return newFilter(setup, kClass,
                   {{"FactorRed", factors.red},
                    {"FactorGreen", factors.green},
                    {"FactorBlue", factors.blue},
                    {"SepiaRed", offsets.red},
                    {"SepiaGreen", offsets.green},
                    {"SepiaBlue", offsets.blue}});
}

TEST(Sepia, StartsWithLuminanceWeightsThatReachTheirOwnChannels) {
  PluginHost setup(host::Settings::forStorage(host::Storage::kCairo));
  const host::InstanceRef fresh = newFilter(setup, kClass);
  EXPECT_EQ(fresh->property("FactorRed").number(), 0.299);
  EXPECT_EQ(fresh->property("FactorGreen").number(), 0.587);
  EXPECT_EQ(fresh->property("FactorBlue").number(), 0.114);
  // In 1024ths, truncated: 306, 601 and 116.
  EXPECT_EQ(filtered(setup, fresh, kWhite), (Rgb{254, 254, 254}));
  EXPECT_EQ(filtered(setup, fresh, {255, 0, 0}), (Rgb{76, 76, 76}));
  EXPECT_EQ(filtered(setup, fresh, {0, 255, 0}), (Rgb{149, 149, 149}));
  EXPECT_EQ(filtered(setup, fresh, {0, 0, 255}), (Rgb{28, 28, 28}));

  const host::InstanceRef noGreen = newFilter(setup, kClass, {{"FactorGreen", 0.0}});
  EXPECT_EQ(filtered(setup, noGreen, {0, 255, 0}), (Rgb{0, 0, 0}));
  EXPECT_EQ(filtered(setup, noGreen, {0, 0, 255}), (Rgb{28, 28, 28}));
  const host::InstanceRef noBlue = newFilter(setup, kClass, {{"FactorBlue", 0.0}});
  EXPECT_EQ(filtered(setup, noBlue, {0, 255, 0}), (Rgb{149, 149, 149}));
  EXPECT_EQ(filtered(setup, noBlue, {0, 0, 255}), (Rgb{0, 0, 0}));

  const host::InstanceRef warm =
      newFilter(setup, kClass, {{"SepiaRed", 40}, {"SepiaGreen", 20}, {"SepiaBlue", -20}});
  EXPECT_EQ(filtered(setup, warm, kWhite), (Rgb{255, 255, 234}));
  EXPECT_EQ(filtered(setup, warm, {0, 0, 0}), (Rgb{40, 20, 0}));
}

struct ExtremeCase {
  const char* what;
  Factors factors;
  Rgb offsets;
  Rgb color;
  Rgb expected;
};

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();

const ExtremeCase kExtremes[] = {
    {"below a 1024th", {0.00097, 0, 0}, {0, 0, 0}, kWhite, {0, 0, 0}},
    {"a sum just below zero is zero", {-0.001, 0, 0}, {5, 5, 5}, {1, 0, 0}, {5, 5, 5}},
    {"just below minus one", {-0.00391, 0, 0}, {5, 5, 5}, kWhite, {5, 5, 5}},
    {"negative", {-1, 0, 0}, {300, 100, 0}, {200, 0, 0}, {100, 0, 0}},
    // 8,421,504 1024ths are the most that 255 of one channel can take in 32 bits.
    {"largest exact", {8224.125, 0, 0}, {-2097151 + 9, 0, kLowest}, kWhite, {9, 255, 0}},
    {"largest exact on one step", {8224.125, 0, 0}, {-8224 + 7, -8224, 0}, {1, 0, 0}, {7, 0, 255}},
    {"beyond, white", {1e9, 1e9, 1e9}, {0, -2000, -3000000}, kWhite, {255, 255, 0}},
    {"beyond, opposed", {1e9, -1e9, 0}, {77, 77, 77}, {90, 90, 0}, {77, 77, 77}},
    {"beyond, negative", {-1e300, 0, 0}, {255, 255, 255}, {1, 0, 0}, {0, 0, 0}},
    {"opposed, within the range", {8789, -8691, 0}, {0, 0, 0}, {100, 100, 0}, kWhite},
    {"opposed, beyond the range", {8789, -8691, 0}, {0, 0, 0}, {255, 0, 0}, kWhite},
    {"large, within the range", {8789, 0, 0}, {-5000, -8789, 0}, {1, 0, 0}, {255, 0, 255}},
    {"infinite", {kInfinity, 0, 0}, {0, 0, 0}, {1, 0, 0}, {255, 255, 255}},
    {"minus infinite", {0, -kInfinity, 0}, {255, 255, 255}, {0, 1, 0}, {0, 0, 0}},
    {"not a number", {kNaN, kNaN, 1}, {0, 0, 1}, {200, 200, 50}, {50, 50, 51}},
    {"extreme offsets", {1, 0, 0}, {kHighest, kLowest, 0}, kWhite, {255, 0, 255}},
    {"extreme all over", {1e9, 1e9, 1e9}, {kLowest, kHighest, kLowest}, kWhite, {0, 255, 0}},
};

TEST(Sepia, SaturatesWhatLeavesTheRange) {
  PluginHost setup(host::Settings::forStorage(host::Storage::kCairo));
  for (const ExtremeCase& c : kExtremes) {
    EXPECT_EQ(filtered(setup, newSepia(setup, c.factors, c.offsets), c.color), c.expected)
        << c.what;
  }
}

}  // namespace
