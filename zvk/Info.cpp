// zvk info: what pictures are.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "Arguments.h"
#include "Tool.h"

namespace zvk {

namespace {

/// Lowest, highest and mean value of a channel.
struct Range {
  uint32_t low = 255, high = 0;
  uint64_t sum = 0;

  void add(uint32_t value) {
    low = std::min(low, value);
    high = std::max(high, value);
    sum += value;
  }
};

struct Facts {
  host::LoadedPicture loaded;
  Range channels[4];       ///< blue, green, red, alpha
  size_t transparent = 0;  ///< pixels that are not opaque
  size_t pixels = 0;
};
constexpr const char* kChannels[] = {"blue", "green", "red", "alpha"};

Facts factsOf(ArgumentReader& reader, const std::string& path) {
  Facts facts{.loaded = reader.loadPicture(reader.bytesOf(path), path)};
  const std::vector<uint32_t> pixels = host::visiblePixels(*facts.loaded.picture);
  facts.pixels = pixels.size();
  for (const uint32_t pixel : pixels) {
    for (int i = 0; i < 4; ++i) facts.channels[i].add(pixel >> 8 * i & 255);
    facts.transparent += pixel >> 24 != 255;
  }
  return facts;
}

double rounded(double value) { return std::round(value * 100) / 100; }

nlohmann::ordered_json toJson(const Facts& facts, const std::string& name,
                              std::string_view storage) {
  const host::LoadedPicture& loaded = facts.loaded;
  nlohmann::ordered_json object;
  object["file"] = name;
  object["format"] = loaded.header.format;
  object["width"] = loaded.picture->width();
  object["height"] = loaded.picture->height();
  object["storage"] = storage;
  object["alpha"] = loaded.picture->hasAlpha();
  object["transparentPixels"] = facts.transparent;
  for (const int i : {2, 1, 0, 3}) {
    if (i == 3 && !loaded.picture->hasAlpha()) continue;
    const Range& range = facts.channels[i];
    object["channels"][kChannels[i]] = {
        {"low", range.low},
        {"high", range.high},
        {"mean", rounded(static_cast<double>(range.sum) / static_cast<double>(facts.pixels))}};
  }
  if (loaded.header.extras.dotsPerInchX > 0) {
    object["dotsPerInch"] = rounded(loaded.header.extras.dotsPerInchX);
  }
  object["colorProfileBytes"] = loaded.header.extras.colorProfile.size();
  if (!loaded.damage.empty()) object["damage"] = loaded.damage;
  return object;
}

void print(const Facts& facts, std::string_view storage) {
  const host::LoadedPicture& loaded = facts.loaded;
  printf("format %s\nsize %d x %d\n", loaded.header.format.c_str(), loaded.picture->width(),
         loaded.picture->height());
  if (loaded.header.orientation != 1) {
    printf("orientation %d in the file, upright here\n", loaded.header.orientation);
  }
  printf("storage %.*s\n", static_cast<int>(storage.size()), storage.data());
  if (loaded.picture->hasAlpha()) {
    printf("alpha yes, %.4g %% of all pixels not opaque\n",
           100 * static_cast<double>(facts.transparent) / static_cast<double>(facts.pixels));
  } else {
    printf("alpha no\n");
  }
  for (const int i : {2, 1, 0, 3}) {
    if (i == 3 && !loaded.picture->hasAlpha()) continue;
    const Range& range = facts.channels[i];
    printf("%s %u to %u, mean %.2f\n", kChannels[i], range.low, range.high,
           static_cast<double>(range.sum) / static_cast<double>(facts.pixels));
  }
  if (loaded.header.extras.dotsPerInchX > 0) {
    printf("dots per inch %.4g\n", loaded.header.extras.dotsPerInchX);
  }
  const size_t profile = loaded.header.extras.colorProfile.size();
  if (profile > 0) printf("colour profile %zu bytes\n", profile);
}

}  // namespace

int info(const CommonOptions& common, const InfoOptions& options) {
  const std::string_view storage = host::kStorageNames[static_cast<size_t>(common.storage)];
  int worst = kDone;
  bool first = true;
  for (const std::string& path : options.inputs) {
    const int status = guarded([&] {
      return inHost(common, [&](host::Host& host) {
        ArgumentReader reader(host, options.files);
        const Facts facts = factsOf(reader, path);
        if (options.json) {
          printf("%s\n", toJson(facts, host::inputName(path), storage).dump().c_str());
          return;
        }
        if (options.inputs.size() > 1) printf("%s%s\n", first ? "" : "\n", path.c_str());
        print(facts, storage);
        first = false;
      });
    });
    worst = std::max(worst, status);
  }
  return worst;
}

}  // namespace zvk
