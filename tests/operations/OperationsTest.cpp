// Every operation that works pixel by pixel, as a row of one table: how it is called, what it makes
// of a colour, and where. Each row is run in every storage, on transparent pictures of every width,
// with rows that lie anywhere or are missing, and on pictures so large that results are streamed.
#include <algorithm>
#include <functional>

#include "filters/FilterSupport.h"

namespace {

using namespace test;
using host::BlockRef;
using host::Color;
using host::PictureOptions;
using host::PictureRef;
using host::Storage;

using Pictures = std::array<PictureRef, 3>;
/// The sources' colours 0xRRGGBB at one place.
using Colors = std::array<uint32_t, 3>;
using Formula = std::function<uint32_t(const Colors&)>;

struct Region {
  int left = 0, top = 0, right = INT32_MAX, bottom = INT32_MAX;

  bool holds(int x, int y) const { return x >= left && x < right && y >= top && y < bottom; }
};

struct Operation {
  const char* name;
  std::function<PictureRef(const PluginHost&, const Pictures&)> call;
  Formula formula;
  size_t sources = 1;
  bool keepsAlpha = true;  ///< the result has an alpha channel where the first source has one
  Region written = {};     ///< other pixels of the result stay as the host made them
};

// --- The table ----------------------------------------------------------------------------------

constexpr uint32_t kSearched = 0x336699;

Formula ofColor(std::function<Rgb(Rgb)> f) {
  return [f](const Colors& c) { return opaque(f(rgbOf(c[0]))) & 0xFFFFFF; };
}

/// A method on the first picture.
template <typename... A>
Operation method(const char* name, Formula formula, A... arguments) {
  return {.name = name,
          .call = [=](const PluginHost& setup, const Pictures& p) -> PictureRef {
            return setup.plugin.call(p[0], name, arguments...);
          },
          .formula = std::move(formula)};
}
Operation withoutAlpha(Operation operation) {
  operation.keepsAlpha = false;
  return operation;
}
Operation within(Region region, Operation operation) {
  operation.written = region;
  return operation;
}

Rgb inverted(Rgb c) { return {255 - c.red, 255 - c.green, 255 - c.blue}; }
Rgb greyInverted(Rgb c) { return c.red == c.green && c.green == c.blue ? inverted(c) : c; }

Rgb saturated(Rgb c) {
  const int mean = (c.red + c.green + c.blue) / 3;
  const auto channel = [mean](int v) {
    return std::clamp(mean + (v - mean) * (90 + 255) / 255, 0, 255);
  };
  return {channel(c.red), channel(c.green), channel(c.blue)};
}

Rgb tinted(Rgb c) {
  const int level = c.red * 0x4C + c.green * 0x96 + c.blue * 0x1D;
  const auto channel = [level](int tone) { return std::min(level * tone / (255 * 255), 255); };
  return {channel(0xFF), channel(0xE0), channel(0xB0)};
}

Rgb sepia(Rgb c) {
  const int grey = (c.red * -1280 + c.green * 2560 + c.blue * 64) / 1024;
  const auto channel = [grey](int offset) { return std::clamp(offset + grey, 0, 255); };
  return {channel(40), channel(-20), channel(300)};
}

/// A curve of each level; those that do not clamp keep the low 8 bits.
Formula toned(bool clamps, int (*curve)(int v)) {
  return ofColor([=](Rgb c) -> Rgb {
    const auto channel = [=](int v) {
      return clamps ? std::clamp(curve(v), 0, 255) : curve(v) & 255;
    };
    return {channel(c.red), channel(c.green), channel(c.blue)};
  });
}

uint32_t lighter(const Colors& c) {
  const Rgb a = rgbOf(c[0]), b = rgbOf(c[1]);
  return opaque(std::max(a.red, b.red), std::max(a.green, b.green), std::max(a.blue, b.blue)) &
         0xFFFFFF;
}

/// A global method of the first so many pictures and of colours.
template <typename... A>
Operation global(const char* name, size_t sources, Formula formula, A... colors) {
  return {.name = name,
          .call = [=](const PluginHost& setup, const Pictures& p) -> PictureRef {
            std::vector<host::Value> arguments(p.begin(), p.begin() + ptrdiff_t(sources));
            for (const Color& color : std::initializer_list<Color>{colors...}) {
              arguments.emplace_back(color);
            }
            return setup.plugin.invokeByName({}, name, arguments).value;
          },
          .formula = std::move(formula),
          .sources = sources};
}

Operation replaced(const char* name, uint32_t bits) {
  return {.name = name,
          .call = [=](const PluginHost& setup, const Pictures& p) -> PictureRef {
            return setup.plugin.call(p[0], name, p[1]);
          },
          .formula = [=](const Colors& c) { return (c[0] & ~bits) | (c[1] & bits); },
          .sources = 2,
          .keepsAlpha = false};
}

BlockRef tableOf(const PluginHost& setup, int factor, int offset) {
  std::vector<uint8_t> table(256);
  for (size_t v = 0; v < 256; ++v) table[v] = static_cast<uint8_t>(factor * int(v) + offset);
  return setup.plugin.host().newBlock(table, host::Placement::kGuarded);
}

Operation filter(const char* name, Formula formula, host::PropertyObject::Properties properties,
                 std::function<void(const host::InstanceRef&)> prepare = {}) {
  return {.name = name,
          .call =
              [=](const PluginHost& setup, const Pictures& p) {
                const host::InstanceRef instance = newFilter(setup, name, properties);
                if (prepare) prepare(instance);
                instance->setProperty("SourcePicture", p[0]);
                return run(setup, instance) ? destination(instance) : PictureRef();
              },
          .formula = std::move(formula)};
}

Operation lut3D(double least, double most, Region region, int maxX) {
  const auto table = std::make_shared<LutTable>(LutTable::random(5, least, most));
  return within(
      region, filter(
                  "PictureLut3DZVK",
                  [=](const Colors& c) { return opaque(lookedUp(*table, rgbOf(c[0]))) & 0xFFFFFF; },
                  {{"MinX", region.left}, {"MinY", region.top}, {"MaxX", maxX}},
                  [=](const host::InstanceRef& instance) { table->putInto(instance); }));
}

const std::vector<Operation>& operations() {
  static const std::vector<Operation> kOperations = {
      method("InvertZVK", ofColor(inverted)),
      within({3, 1, 12, 2}, method("InvertZVK", ofColor(inverted), 3, 1, 9, 1)),
      method("InvertGrayZVK", ofColor(greyInverted)),
      within({0, 0, 5, 2}, method("InvertGrayZVK", ofColor(greyInverted), -2, 0, 7, 2)),
      method("ChangeSaturationZVK", ofColor(saturated), 90),
      method("ChangeBrightnessLinearZVK",
             toned(false, [](int v) { return (300 * 255 - 45 * v) / 255; }), 300.0),
      method("ChangeContrastZVK", toned(true, [](int v) { return (4 * 127 + (v - 127) * 9) / 4; }),
             1.25),
      method("ChangeCustomZVK", toned(true, [](int v) { return (5 * v - 80) / 4; }), 1.25, -20.0),
      method(
          "ReplaceColorZVK", [](const Colors& c) { return c[0] == kSearched ? 0xFE8040 : c[0]; },
          Color{0x80000000 | kSearched}, Color{0xFFFE8040}),
      withoutAlpha(method(
          "ExtractColorZVK",
          [](const Colors& c) { return c[0] == kSearched ? 0xFE8040 : 0x123456; }, Color{kSearched},
          Color{0x70FE8040}, Color{0x12123456})),
      {.name = "TransformColorsZVK",
       .call = [](const PluginHost& setup, const Pictures& p) -> PictureRef {
         return setup.plugin.call(p[0], "TransformColorsZVK", tableOf(setup, 7, 3),
                                  tableOf(setup, -1, 255), tableOf(setup, 3, 0x55));
       },
       .formula =
           [](const Colors& c) {
             const Rgb v = rgbOf(c[0]);
             return opaque((7 * v.red + 3) & 255, (3 * v.green + 0x55) & 255, 255 - v.blue) &
                    0xFFFFFF;
           },
       .keepsAlpha = false},
      global("TintPictureZVK", 1, ofColor(tinted), Color{0x804C961D}, Color{0x10FFE0B0}),
      withoutAlpha(global("MergePictureZVK", 2, lighter)),
      // Red, then blue, then green.
      withoutAlpha(global("CombinePicturesZVK", 3,
                          [](const Colors& c) {
                            return (c[0] & 0xFF0000) | (c[1] & 0x0000FF) | (c[2] & 0x00FF00);
                          })),
      replaced("ReplaceRedChannelZVK", 0xFF0000),
      replaced("ReplaceGreenChannelZVK", 0x00FF00),
      replaced("ReplaceBlueChannelZVK", 0x0000FF),
      withoutAlpha(within({2, 1, 9}, filter("PictureSepiaZVK", ofColor(sepia),
                                            {{"FactorRed", -1.25},
                                             {"FactorGreen", 2.5},
                                             {"FactorBlue", 0.0625},
                                             {"SepiaRed", 40},
                                             {"SepiaGreen", -20},
                                             {"SepiaBlue", 300},
                                             {"MinX", 2},
                                             {"MinY", 1},
                                             {"MaxX", 9}}))),
      lut3D(-40, 295, {}, 0),
      lut3D(0, 255, {1, 1, INT32_MAX}, 0),
  };
  return kOperations;
}

// --- Pictures -----------------------------------------------------------------------------------

/// Words of every kind that an operation tells from others: greys, colours that are almost grey,
/// the colour that is searched for; under fourth bytes that mean nothing.
Pixels variedWords(int width, int height, uint32_t seed) {
  std::minstd_rand random(seed + 1);
  Pixels words(static_cast<size_t>(width) * static_cast<size_t>(height));
  for (uint32_t& word : words) {
    const auto value = static_cast<uint32_t>(random());
    const uint32_t grey = (value & 0xFF) * 0x010101;
    const uint32_t kinds[] = {value & 0xFFFFFF, grey, grey ^ 1U << value % 24, kSearched};
    word = value >> 7 << 24 | kinds[value >> 12 & 3];
  }
  return words;
}

/// What lies in which storage. Pictures of one application can be mixed.
struct Mixture {
  const char* name;
  std::array<PictureOptions, 3> sources;
  PictureOptions results;
};

constexpr host::Placement kGuarded = host::Placement::kGuarded;
constexpr PictureOptions kCairo{.paddingWords = 3, .placement = kGuarded};
constexpr PictureOptions kCairoAlpha{.alpha = true, .placement = kGuarded};
constexpr PictureOptions kDrawable{.storage = Storage::kDrawable};
constexpr PictureOptions kRecord{.storage = Storage::kRecord, .placement = kGuarded};
constexpr PictureOptions kPaddedRecord{
    .storage = Storage::kRecord, .paddingWords = 2, .placement = kGuarded};
constexpr PictureOptions kScattered{
    .storage = Storage::kRecord, .scatteredRows = true, .placement = kGuarded};
constexpr PictureOptions kAlphaRecord{
    .storage = Storage::kRecord, .alpha = true, .scatteredRows = true, .placement = kGuarded};

const Mixture kMixtures[] = {
    {"cairo", {kCairo, kDrawable, kCairoAlpha}, kCairo},
    {"cairoWithAlpha", {kCairoAlpha, kCairo, kDrawable}, kCairoAlpha},
    {"cairoToDrawable", {kCairo, kCairoAlpha, kDrawable}, kDrawable},
    {"drawableToCairo", {kDrawable, kCairo, kCairo}, kCairo},
    {"drawable", {kDrawable, kDrawable, kDrawable}, kDrawable},
    {"record", {kRecord, kRecord, kRecord}, kRecord},
    {"paddedRecord", {kPaddedRecord, kScattered, kAlphaRecord}, kScattered},
    {"scatteredRecord", {kScattered, kRecord, kPaddedRecord}, kPaddedRecord},
    {"recordWithAlpha", {kAlphaRecord, kScattered, kRecord}, kRecord},
};

constexpr uint32_t kFresh = 0x5A3C1E77;

host::Settings settingsFor(const PictureOptions& results) {
  host::Settings settings = host::Settings::forStorage(results.storage);
  settings.newPictures = results;
  settings.newPictures.alpha = false;
  settings.freshPixel = kFresh;
  settings.logging = false;
  return settings;
}

/// Sources and the words that they hold.
struct Scene {
  PluginHost& setup;
  int width, height;
  std::array<Pixels, 3> words;
  Pictures pictures;

  Scene(PluginHost& host, const std::array<PictureOptions, 3>& options, int w, int h)
      : setup(host), width(w), height(h) {
    for (size_t i = 0; i < 3; ++i) {
      words[i] = variedWords(w, h, static_cast<uint32_t>(3 * w + int(i)));
      pictures[i] = setup.host.newPicture(w, h, options[i]);
      pictures[i]->setWords(words[i]);
    }
  }

  /// Whether a result is what the table says, but for a row that is as `lost` in memory.
  testing::AssertionResult isRight(const Operation& operation, const PictureRef& result,
                                   int lostRow = -1, uint32_t lost = kFresh) const {
    if (!result) return testing::AssertionFailure() << "no result";
    const bool alpha = operation.keepsAlpha && pictures[0]->hasAlpha();
    if (result->hasAlpha() != alpha) return testing::AssertionFailure() << "alpha channel";
    const Storage storage = result->options().storage;
    const bool drawable = storage == Storage::kDrawable;
    const uint32_t top = storage == Storage::kCairo ? 0xFF000000 : 0;
    const Pixels found = test::words(result);
    size_t i = 0;
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x, ++i) {
        const Colors colors{words[0][i] & 0xFFFFFF, words[1][i] & 0xFFFFFF, words[2][i] & 0xFFFFFF};
        // Buffers that become drawables start black.
        uint32_t expected = drawable ? 0 : kFresh;
        if (operation.written.holds(x, y)) expected = top | operation.formula(colors);
        if (y == lostRow) expected = lost;
        if (found[i] != expected) {
          return testing::AssertionFailure() << std::hex << found[i] << " instead of " << expected
                                             << std::dec << " at " << x << ", " << y;
        }
      }
    }
    return isIntact(*result) ? testing::AssertionSuccess()
                             : testing::AssertionFailure() << "written beside the pixels";
  }

  /// Whether nobody wrote to the sources, or to what surrounds them.
  testing::AssertionResult areUnchanged() const {
    for (size_t i = 0; i < 3; ++i) {
      Pixels before = words[i];
      if (pictures[i]->options().storage == Storage::kDrawable) {
        for (uint32_t& word : before) word &= 0xFFFFFF;
      }
      if (test::words(pictures[i]) != before || !isIntact(*pictures[i])) {
        return testing::AssertionFailure() << "source " << i;
      }
    }
    return testing::AssertionSuccess();
  }

  /// cairo keeps no account of what lies behind its rows, which was zero.
  static bool isIntact(host::Picture& picture) {
    if (!picture.surroundingsIntact()) return false;
    if (picture.options().storage != Storage::kCairo) return true;
    for (int y = 0; y < picture.height(); ++y) {
      const uint8_t* end = picture.storage().row(y) + 4 * picture.width();
      if (std::any_of(end, end + 4 * picture.options().paddingWords, [](auto b) { return b; })) {
        return false;
      }
    }
    return true;
  }
};

// --- Runs ---------------------------------------------------------------------------------------

class OperationsTest : public testing::TestWithParam<Mixture> {
 protected:
  void SetUp() override {
    if (usesDrawables()) ZVK_NEEDS_STORAGE(kDrawable);
  }
  static bool usesDrawables() { return GetParam().results.storage != Storage::kRecord; }

  PluginHost setup{settingsFor(GetParam().results)};
};

// Widths around every vector length, 1 to 70, and those around blocks of byte triples. Every access
// to a drawable waits for the display, so that some must do.
TEST_P(OperationsTest, EveryPixelAtEveryWidth) {
  std::vector<int> widths = {1, 2, 8, 17, 21, 33, 513, 1030};
  if (!usesDrawables()) {
    widths = {127, 511, 512, 513, 1030};
    for (int width = 1; width <= 70; ++width) widths.push_back(width);
  }
  for (const int width : widths) {
    const Scene scene(setup, GetParam().sources, width, 3);
    for (const Operation& operation : operations()) {
      ASSERT_TRUE(scene.isRight(operation, operation.call(setup, scene.pictures)))
          << operation.name << ", width " << width;
    }
    ASSERT_TRUE(scene.areUnchanged()) << width;
  }
}

INSTANTIATE_TEST_SUITE_P(Storage, OperationsTest, testing::ValuesIn(kMixtures),
                         [](const auto& mixture) { return std::string(mixture.param.name); });

TEST(Operations, LeaveOutRowsWithoutMemory) {
  for (const PictureOptions& options : {kRecord, kScattered}) {
    PluginHost setup(settingsFor(options));
    const Scene scene(setup, {options, options, options}, 5, 3);
    for (const Operation& operation : operations()) {
      for (int missing = 0; missing < 3; ++missing) {
        SCOPED_TRACE(operation.name);
        for (size_t source = 0; source < operation.sources; ++source) {
          uint8_t** rows = scene.pictures[source]->record()->rowStarts;
          uint8_t* const row = std::exchange(rows[missing], nullptr);
          const PictureRef result = operation.call(setup, scene.pictures);
          rows[missing] = row;
          EXPECT_TRUE(scene.isRight(operation, result, missing));
        }
        setup.host.settings.lies.pictures.missingRow = missing;
        const PictureRef lacking = operation.call(setup, scene.pictures);
        setup.host.settings.lies = {};
        EXPECT_TRUE(scene.isRight(operation, lacking, missing, 0));
      }
    }
  }
}

// In any order and at odd addresses.
TEST(Operations, RowsMayLieAnywhere) {
  constexpr int kWidth = 100, kHeight = 7;
  constexpr size_t kPitch = size_t{4} * kWidth + 97;
  PluginHost setup(settingsFor(kScattered));
  const Scene scene(setup, {kRecord, kScattered, kAlphaRecord}, kWidth, kHeight);
  std::vector<uint8_t> memory(3 * kHeight * kPitch);
  std::vector<uint8_t*> own;
  for (size_t i = 0; i < 3; ++i) {
    for (size_t y = 0; y < kHeight; ++y) {
      uint8_t*& row = scene.pictures[i]->record()->rowStarts[y];
      own.push_back(row);
      row = memory.data() + (kHeight * i + (y * 3 + 1) % kHeight) * kPitch;
      memcpy(row, &scene.words[i][y * kWidth], size_t{4} * kWidth);
    }
  }
  for (const Operation& operation : operations()) {
    EXPECT_TRUE(scene.isRight(operation, operation.call(setup, scene.pictures))) << operation.name;
  }
  for (size_t i = 0; i < own.size(); ++i) {
    scene.pictures[i / kHeight]->record()->rowStarts[i % kHeight] = own[i];
  }
}

// Just above 16 MiB results go past the caches. Rows of an odd length begin everywhere in a cache
// line; without padding, in pages that the system has yet to hand out, they are taken as one.
TEST(Operations, LargeResultsAreStreamed) {
  constexpr PictureOptions padded{.alpha = true, .paddingWords = 1}, plain{.alpha = true};
  for (const PictureOptions& options : {padded, plain}) {
    host::Settings settings = settingsFor(options);
    if (options == plain) settings.freshPixel = 0;
    PluginHost setup(settings);
    const Scene scene(setup, {options, options, options}, 2051, 2052);
    for (const Operation& operation : operations()) {
      const Region& r = operation.written;
      if (settings.freshPixel == 0 && (r.left > 0 || r.right < 2051)) continue;
      EXPECT_TRUE(scene.isRight(operation, operation.call(setup, scene.pictures)))
          << operation.name;
    }
    EXPECT_TRUE(scene.areUnchanged());
  }
}

// New pictures that turn out smaller than asked for are written no further than they reach.
TEST(Operations, ResultsSmallerThanTheirSourceAreNotOverrun) {
  for (const PictureOptions& options : {kRecord, kScattered, kCairo}) {
    PluginHost setup(settingsFor(options));
    const Scene scene(setup, {options, options, options}, 6, 4);
    setup.host.settings.lies.moreWidth = -1;
    setup.host.settings.lies.moreHeight = -2;
    for (const Operation& operation : operations()) {
      const PictureRef result = operation.call(setup, scene.pictures);
      ASSERT_TRUE(result) << operation.name;
      EXPECT_TRUE(Scene::isIntact(*result)) << operation.name;
      const Colors last{scene.words[0][10] & 0xFFFFFF, scene.words[1][10] & 0xFFFFFF,
                        scene.words[2][10] & 0xFFFFFF};
      if (operation.written.holds(4, 1)) {
        EXPECT_EQ(result->words()[9] & 0xFFFFFF, operation.formula(last)) << operation.name;
      }
    }
  }
}

// --- Rectangles ---------------------------------------------------------------------------------

/// A method or filter that takes any rectangle.
struct RectangleCase {
  const char* name;
  int whole;  ///< the largest size that stands for the whole extent
  bool isFilter = false;
};
constexpr RectangleCase kRectangleCases[] = {{"InvertZVK", 0},
                                             {"InvertGrayZVK", -1},
                                             {"PictureSepiaZVK", 0, true},
                                             {"PictureLut3DZVK", 0, true}};

/// Where a rectangle starts and ends on an axis.
std::pair<int64_t, int64_t> covered(const RectangleCase& c, int64_t from, int64_t size,
                                    int length) {
  if (!c.isFilter) return {from, from + (size <= c.whole ? length : size)};
  const int64_t start = std::max<int64_t>(from, 0);
  return {start, size > start && size < length ? size : length};
}

TEST(Operations, RectanglesAreClipped) {
  constexpr int kWidth = 9, kHeight = 5;
  PluginHost setup(settingsFor(kCairo));
  const PictureRef source = setup.picture(kWidth, kHeight, Pixels(kWidth * kHeight, 0xFF808080));
  std::mt19937 random(4);
  for (const RectangleCase& c : kRectangleCases) {
    for (int round = 0; round < 400; ++round) {
      const int left = edge(kWidth, random), top = edge(kHeight, random);
      const int w = edge(kWidth, random), h = edge(kHeight, random);
      PictureRef result;
      if (c.isFilter) {
        const host::InstanceRef instance =
            newFilter(setup, c.name, {{"MinX", left}, {"MinY", top}, {"MaxX", w}, {"MaxY", h}});
        instance->setProperty("SourcePicture", source);
        ASSERT_TRUE(run(setup, instance));
        result = destination(instance);
      } else {
        result = setup.plugin.call(source, c.name, left, top, w, h);
      }
      const auto [x0, x1] = covered(c, left, w, kWidth);
      const auto [y0, y1] = covered(c, top, h, kHeight);
      const Pixels found = words(result);
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
          const bool inside = x >= x0 && x < x1 && y >= y0 && y < y1;
          ASSERT_EQ(found[static_cast<size_t>(kWidth * y + x)] != kFresh, inside)
              << c.name << " " << left << " " << top << " " << w << " " << h;
        }
      }
    }
  }
}

// --- Operations that count ----------------------------------------------------------------------

using Numbers = std::vector<double>;

struct Counting {
  const char* name;
  Numbers (*call)(const PluginHost&, const PictureRef&);
  /// Of the words that are there, and the number of pixels.
  Numbers (*model)(const Pixels&, size_t pixels);
};

constexpr int kThresholds[] = {INT32_MIN, -257, -1, 0, 9, 40, 254, 255, INT32_MAX};

const Counting kCountings[] = {
    {"CountColorZVK",
     [](const PluginHost& setup, const PictureRef& picture) {
       return Numbers{
           setup.plugin.call(picture, "CountColorZVK", Color{0x80000000 | kSearched}).number()};
     },
     [](const Pixels& words, size_t) {
       return Numbers{double(std::count_if(words.begin(), words.end(), [](uint32_t word) {
         return (word & 0xFFFFFF) == kSearched;
       }))};
     }},
    {"ColornessZVK",
     [](const PluginHost& setup, const PictureRef& picture) {
       Numbers numbers{setup.plugin.call(picture, "ColornessZVK").number()};
       for (const int threshold : kThresholds) {
         numbers.push_back(setup.plugin.call(picture, "ColornessZVK", threshold).number());
       }
       return numbers;
     },
     [](const Pixels& words, size_t pixels) {
       const auto share = [&](int threshold) {
         const auto count = std::count_if(words.begin(), words.end(), [=](uint32_t word) {
           const Rgb c = rgbOf(word);
           if (c.red < 30 && c.green < 30 && c.blue < 30) return false;
           return std::abs(c.green - c.red) > threshold || std::abs(c.green - c.blue) > threshold;
         });
         return static_cast<double>(count) / static_cast<double>(pixels);
       };
       Numbers numbers{share(10)};
       for (const int threshold : kThresholds) numbers.push_back(share(threshold));
       return numbers;
     }},
    {"CountColorsZVK",
     [](const PluginHost& setup, const PictureRef& picture) {
       const auto variables = setup.plugin.invokeByName(picture, "CountColorsZVK", {}).byReference;
       Numbers numbers{variables.at(3).value.number()};
       for (size_t i = 0; i < 3; ++i) {
         const auto bytes = variables.at(i).value.block()->bytes();
         for (size_t at = 0; at < bytes.size(); at += 4) {
           uint32_t counter;
           memcpy(&counter, &bytes[at], 4);
           numbers.push_back(counter);
         }
       }
       return numbers;
     },
     [](const Pixels& words, size_t) {
       Numbers numbers(1 + 3 * 256);
       numbers[0] = static_cast<double>(words.size());
       // The variables are red, blue, green.
       for (const uint32_t word : words) {
         ++numbers[1 + (word >> 16 & 255)];
         ++numbers[1 + 256 + (word & 255)];
         ++numbers[1 + 512 + (word >> 8 & 255)];
       }
       return numbers;
     }},
};

class CountingsTest : public LayoutTest {};

TEST_P(CountingsTest, EveryPixelAtEveryWidth) {
  PluginHost setup(GetParam().options);
  const bool slow = setup.options.storage == Storage::kDrawable;
  for (const int width : {1, 7, 15, 16, 17, 33, 130, 513, 4099}) {
    Pixels words = variedWords(width, 3, static_cast<uint32_t>(width));
    // The darkest colours, and those next to the threshold.
    if (width > 4)
      words[0] = 0x1D1D00, words[1] = 0x00001E, words[2] = 0xFF00FF, words[3] = 0x140A00;
    const PictureRef picture = setup.host.newPicture(width, 3, setup.options);
    picture->setWords(words);
    for (const Counting& counting : kCountings) {
      EXPECT_EQ(counting.call(setup, picture), counting.model(words, words.size()))
          << counting.name << ", width " << width;
    }
    if (slow && width > 100) break;
  }
}

ZVK_ALL_LAYOUTS(CountingsTest);

TEST(Countings, LeaveOutRowsWithoutMemory) {
  for (const PictureOptions& options : {kRecord, kScattered}) {
    PluginHost setup(settingsFor(options));
    for (int missing = 0; missing < 3; ++missing) {
      const PictureRef picture = setup.host.newPicture(40, 3, options);
      Pixels words = variedWords(40, 3, 1);
      picture->setWords(words);
      words.erase(words.begin() + 40 * missing, words.begin() + 40 * (missing + 1));
      picture->record()->rowStarts[missing] = nullptr;
      for (const Counting& counting : kCountings) {
        EXPECT_EQ(counting.call(setup, picture), counting.model(words, 120)) << counting.name;
      }
    }
  }
}

}  // namespace
