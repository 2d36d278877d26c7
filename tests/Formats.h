// Every pair of storages that a source and its result can have.
#pragma once

#include <numeric>

#include "Support.h"

namespace test {

struct FormatPair {
  const char* name;
  Layout source;
  Layout result;  ///< storage of new pictures
};

/// Alpha sources give alpha results; drawables and records cannot meet in one application.
inline const std::vector<FormatPair>& allFormatPairs() {
  static const std::vector<FormatPair> pairs = [] {
    const auto layout = [](std::string_view name) {
      for (const Layout& each : allLayouts()) {
        if (each.name == name) return each;
      }
      throw std::invalid_argument("no such layout");
    };
    const Layout cairo = layout("cairo"), drawable = layout("drawable");
    return std::vector<FormatPair>{
        {"cairoToCairo", cairo, cairo},
        {"cairoToDrawable", cairo, drawable},
        {"drawableToCairo", drawable, cairo},
        {"drawableToDrawable", drawable, drawable},
        {"alphaToAlpha", layout("cairoAlpha"), layout("cairoAlpha")},
        {"recordToRecord", layout("record"), layout("recordScattered")},
        {"alphaRecordToAlphaRecord", layout("recordAlpha"), layout("recordAlpha")},
    };
  }();
  return pairs;
}

/// Base of tests that run once per pair: sources in one storage, new pictures in the other.
class FormatTest : public testing::TestWithParam<FormatPair> {
 protected:
  FormatTest() : setup(GetParam().source.options) {
    setup.host.settings.newPictures = GetParam().result.options;
    setup.host.settings.newPictures.alpha = false;
  }
  void SetUp() override {
    ZVK_NEEDS_STORAGE(GetParam().source.options);
    ZVK_NEEDS_STORAGE(GetParam().result.options);
  }

  /// Widths around every vector length, 1 to 70: they show loops that mishandle their last pixels.
  /// Drawables take their time, so only some are tried.
  std::vector<int> widths() const {
    for (const Layout* layout : {&GetParam().source, &GetParam().result}) {
      if (layout->options.storage == host::Storage::kDrawable) return {1, 2, 3, 8, 17, 33, 70};
    }
    std::vector<int> all(70);
    std::iota(all.begin(), all.end(), 1);
    return all;
  }

  /// The words that a result of these opaque pixels holds, its fourth bytes included.
  Pixels written(Pixels pixels) const {
    const bool isWords = GetParam().result.options.storage == host::Storage::kCairo;
    for (uint32_t& pixel : pixels) pixel = (pixel & 0xFFFFFF) | (isWords ? 0xFF000000 : 0);
    return pixels;
  }

  PluginHost setup;
};

inline std::string formatName(const testing::TestParamInfo<FormatPair>& info) {
  return info.param.name;
}
inline void PrintTo(const FormatPair& pair, std::ostream* out) { *out << pair.name; }

#define ZVK_ALL_FORMATS(Suite)                                                        \
  INSTANTIATE_TEST_SUITE_P(Formats, Suite, testing::ValuesIn(test::allFormatPairs()), \
                           test::formatName)

}  // namespace test
