// Instances of the filter classes in tests, 3D tables, and what the filter must make of a colour by
// them.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>

#include "Support.h"
#include "filters/Filters.h"

namespace test {

/// An instance of a filter class with its properties set.
inline host::InstanceRef newFilter(const PluginHost& setup, std::string_view className,
                                   const host::PropertyObject::Properties& properties = {}) {
  host::InstanceRef filter = setup.plugin.newInstance(className);
  for (const auto& [name, value] : properties) {
    EXPECT_TRUE(filter->setProperty(name, value)) << name;
  }
  return filter;
}

inline bool run(const PluginHost& setup, const host::InstanceRef& filter) {
  return setup.plugin.call(filter, "Run").boolean();
}

inline host::PictureRef destination(const host::InstanceRef& filter) {
  return filter->property("DestinationPicture").picture();
}

/// Colours of the destination after a successful run on `source`.
inline Pixels filtered(const PluginHost& setup, const host::InstanceRef& filter,
                       const host::PictureRef& source) {
  EXPECT_TRUE(filter->setProperty("SourcePicture", source));
  EXPECT_TRUE(run(setup, filter));
  return colors(destination(filter));
}

/// The colour that a filter makes of one colour.
inline Rgb filtered(PluginHost& setup, const host::InstanceRef& filter, Rgb color) {
  const Pixels result = filtered(setup, filter, setup.picture(1, 1, {opaque(color)}));
  return result.empty() ? Rgb{-1, -1, -1} : rgbOf(result[0]);
}

inline bool operator==(Rgb a, Rgb b) {
  return a.red == b.red && a.green == b.green && a.blue == b.blue;
}
inline void PrintTo(Rgb c, std::ostream* out) {
  *out << "(" << c.red << ", " << c.green << ", " << c.blue << ")";
}

// --- 3D tables ----------------------------------------------------------------------------------

/// A table as an instance holds it.
class LutTable {
 public:
  double& at(int r, int g, int b, int x) {
    return entries_[static_cast<size_t>(((r * Lut3DData::kAxis + g) * Lut3DData::kAxis + b) * 3 +
                                        x)];
  }
  double at(int r, int g, int b, int x) const {
    return const_cast<LutTable*>(this)->at(r, g, b, x);
  }

  template <typename F>
  static LutTable filled(F f) {
    LutTable table;
    for (int r = 0; r < Lut3DData::kAxis; ++r) {
      for (int g = 0; g < Lut3DData::kAxis; ++g) {
        for (int b = 0; b < Lut3DData::kAxis; ++b) {
          for (int x = 0; x < 3; ++x) table.at(r, g, b, x) = f(r, g, b, x);
        }
      }
    }
    return table;
  }

  static LutTable identity() {
    return filled([](int r, int g, int b, int x) { return 17.0 * std::array{r, g, b}[x]; });
  }

  static LutTable random(uint32_t seed, double least = -40, double most = 295) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> values(least, most);
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
inline double interpolated(const LutTable& table, Rgb color, int x) {
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

inline Rgb lookedUp(const LutTable& table, Rgb color) {
  const auto channel = [&](int x) {
    const double value = interpolated(table, color, x);
    return value > 255 ? 255 : value > 0 ? static_cast<int>(value) : 0;
  };
  return {channel(0), channel(1), channel(2)};
}

}  // namespace test
