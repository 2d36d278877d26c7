// What tests of several families share: a host with the plug-in loaded, the storages to try, and
// pictures to try them on.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "host/Host.h"
#include "host/plugin/Plugin.h"

namespace test {

using Pixels = std::vector<uint32_t>;  ///< canonical colours 0xAARRGGBB, row after row

/// A picture storage to try, under a name for test listings.
struct Layout {
  const char* name;
  host::PictureOptions options;
};

/// Every storage: cairo with and without alpha channel, drawable, record in one block, with
/// scattered rows and with alpha; all but drawables end at an unreadable page.
const std::vector<Layout>& allLayouts();
/// Those whose pixels can be changed in place.
const std::vector<Layout>& inPlaceLayouts();

/// The plug-in under test; ZVK_TEST_PLUGIN names another build of it.
const char* pluginFile();

/// A host and the plug-in in it, for pictures of one storage; new pictures have the same layout
/// (without alpha channel). Accounts must be balanced at the end of the test.
class PluginHost {
 public:
  explicit PluginHost(const host::PictureOptions& options, const char* file = pluginFile());
  explicit PluginHost(host::Settings settings, const char* file = pluginFile());
  ~PluginHost();

  host::PictureRef picture(int width, int height, const Pixels& pixels);
  /// The same in another layout of the same kind of application.
  host::PictureRef picture(int width, int height, const Pixels& pixels,
                           const host::PictureOptions& options);

  /// Calls a method of pictures on nil, as the host language can.
  host::Value callOnNil(std::string_view method, std::vector<host::Value> arguments);
  /// Expects that `call` raises an exception.
  template <typename Call>
  static void expectException(std::string_view className, std::string_view message, Call call) {
    try {
      call();
      ADD_FAILURE() << "instead of " << message << ", nothing was raised";
    } catch (const host::ExceptionRaised& raised) {
      EXPECT_EQ(raised.exception().className, className);
      EXPECT_EQ(raised.exception().message, message);
    }
  }

  host::Host host;
  host::Plugin plugin;
  host::PictureOptions options;
};

/// The same with the plug-in that is linked into the tests, whose routines can be called directly.
/// What it has found out of its host stays with the process.
class LinkedHost : public PluginHost {
 public:
  explicit LinkedHost(const host::PictureOptions& options) : PluginHost(options, nullptr) {}
  explicit LinkedHost(host::Settings settings) : PluginHost(std::move(settings), nullptr) {}
};

/// Skips a test of drawables where there is no display, unless ZVK_REQUIRE_DISPLAY is set: then it
/// fails.
bool storageAvailable(const host::PictureOptions& options);

#define ZVK_NEEDS_STORAGE(options) \
  if (!test::storageAvailable(options)) GTEST_SKIP() << "no X display for drawables"

/// Random pixels, opaque or with random alpha.
Pixels randomPixels(int width, int height, uint32_t seed, bool alpha = false);

/// A coordinate or size for rectangles on a side of this length: near its ends, or wild.
int edge(int size, std::mt19937& random);

struct Rgb {
  int red, green, blue;
};
constexpr Rgb rgbOf(uint32_t pixel) {
  return {static_cast<int>(pixel >> 16 & 0xFF), static_cast<int>(pixel >> 8 & 0xFF),
          static_cast<int>(pixel & 0xFF)};
}
constexpr uint32_t opaque(Rgb color) {
  return 0xFF000000U | static_cast<uint32_t>(color.red) << 16 |
         static_cast<uint32_t>(color.green) << 8 | static_cast<uint32_t>(color.blue);
}
constexpr uint32_t opaque(int red, int green, int blue) { return opaque(Rgb{red, green, blue}); }

/// f of every pixel's colour, opaque.
Pixels mapped(const Pixels& source, const std::function<Rgb(Rgb)>& f);

/// Colours of a result without its alpha.
Pixels colors(host::PictureRef picture);
/// Words of a picture as they lie in memory; of drawables the colours.
Pixels words(host::PictureRef picture);
/// The words in which operations write these colours: 255 in the fourth byte of cairo surfaces, 0
/// elsewhere.
Pixels written(Pixels pixels, const host::PictureOptions& options);

/// Base of tests that run once per layout.
class LayoutTest : public testing::TestWithParam<Layout> {
 protected:
  void SetUp() override { ZVK_NEEDS_STORAGE(GetParam().options); }
};

inline void PrintTo(const Layout& layout, std::ostream* out) { *out << layout.name; }
inline std::string layoutName(const testing::TestParamInfo<Layout>& info) {
  return info.param.name;
}

#define ZVK_ALL_LAYOUTS(Suite) \
  INSTANTIATE_TEST_SUITE_P(Storage, Suite, testing::ValuesIn(test::allLayouts()), test::layoutName)

}  // namespace test
