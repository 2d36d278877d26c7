#include "Support.h"

#include <cstdlib>

#include "frame/HostState.h"
#include "host/pictures/Display.h"
#include "plugin/PluginMain.h"

namespace test {

namespace {

using host::PictureOptions;
using host::Placement;
using host::Storage;

constexpr PictureOptions guarded(Storage storage, bool alpha, bool scattered, int padding) {
  return {.storage = storage,
          .alpha = alpha,
          .scatteredRows = scattered,
          .paddingWords = padding,
          .placement = storage == Storage::kDrawable ? Placement::kHeap : Placement::kGuarded};
}

host::Settings settingsFor(const PictureOptions& options) {
  host::Settings settings = host::Settings::forStorage(options.storage);
  settings.newPictures = options;
  settings.newPictures.alpha = false;
  return settings;
}

host::Plugin linkedPlugin() {
  IsDesktop = IsConsole = false;
  return host::Plugin(&REALPluginMain);
}

}  // namespace

const std::vector<Layout>& allLayouts() {
  static const std::vector<Layout> layouts = {
      {"cairoAlpha", guarded(Storage::kCairo, true, false, 0)},
      {"cairo", guarded(Storage::kCairo, false, false, 3)},
      {"drawable", guarded(Storage::kDrawable, false, false, 0)},
      {"record", guarded(Storage::kRecord, false, false, 0)},
      {"recordScattered", guarded(Storage::kRecord, false, true, 0)},
      {"recordAlpha", guarded(Storage::kRecord, true, true, 0)},
  };
  return layouts;
}

const std::vector<Layout>& inPlaceLayouts() {
  static const std::vector<Layout> layouts = [] {
    std::vector<Layout> result;
    for (const Layout& layout : allLayouts()) {
      if (layout.options.storage != Storage::kDrawable) result.push_back(layout);
    }
    return result;
  }();
  return layouts;
}

const char* pluginFile() {
  const char* other = getenv("ZVK_TEST_PLUGIN");
  return other != nullptr ? other : ZVK_PLUGIN_FILE;
}

PluginHost::PluginHost(const PictureOptions& pictureOptions, const char* file)
    : PluginHost(settingsFor(pictureOptions), file) {
  options = pictureOptions;
}

PluginHost::PluginHost(host::Settings settings, const char* file)
    : host(std::move(settings)),
      plugin(file ? host::Plugin(file) : linkedPlugin()),
      options(host.settings.newPictures) {}

PluginHost::~PluginHost() { EXPECT_THAT(host.accounts(), testing::IsEmpty()); }

host::PictureRef PluginHost::picture(int width, int height, const Pixels& pixels) {
  return picture(width, height, pixels, options);
}

host::PictureRef PluginHost::picture(int width, int height, const Pixels& pixels,
                                     const PictureOptions& pictureOptions) {
  return host.newPicture(width, height, pixels, pictureOptions);
}

host::Value PluginHost::callOnNil(std::string_view method, std::vector<host::Value> arguments) {
  const host::Method& found = plugin.choose(picture(1, 1, {0}), method, arguments.size());
  return plugin.invoke(found, nullptr, std::move(arguments)).value;
}

bool storageAvailable(const PictureOptions& options) {
  if (options.storage != Storage::kDrawable || host::displayAvailable()) return true;
  EXPECT_EQ(getenv("ZVK_REQUIRE_DISPLAY"), nullptr) << "the X display cannot be used";
  return false;
}

Pixels randomPixels(int width, int height, uint32_t seed, bool alpha) {
  std::mt19937 random(seed);
  Pixels pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
  for (uint32_t& pixel : pixels) {
    pixel = static_cast<uint32_t>(random());
    if (!alpha) pixel |= 0xFF000000U;
  }
  return pixels;
}

int edge(int size, std::mt19937& random) {
  constexpr int kWild[] = {INT32_MIN, INT32_MIN + 3, -1, 0, 1, INT32_MAX - 3, INT32_MAX};
  const auto value = static_cast<int>(random() % static_cast<uint32_t>(2 * size + 7)) - size;
  return random() % 4 != 0 ? value : kWild[random() % std::size(kWild)];
}

Pixels mapped(const Pixels& source, const std::function<Rgb(Rgb)>& f) {
  Pixels result;
  result.reserve(source.size());
  for (const uint32_t pixel : source) result.push_back(opaque(f(rgbOf(pixel))));
  return result;
}

Pixels colors(host::PictureRef picture) {
  if (!picture) return {};
  Pixels pixels = picture->pixels();
  for (uint32_t& pixel : pixels) pixel &= 0xFFFFFF;
  return pixels;
}

Pixels words(host::PictureRef picture) {
  if (!picture) return {};
  return picture->options().storage == Storage::kDrawable ? colors(picture) : picture->words();
}

Pixels written(Pixels pixels, const PictureOptions& options) {
  const uint32_t top = options.storage == Storage::kCairo ? 0xFF000000 : 0;
  for (uint32_t& pixel : pixels) pixel = (pixel & 0xFFFFFF) | top;
  return pixels;
}

}  // namespace test
