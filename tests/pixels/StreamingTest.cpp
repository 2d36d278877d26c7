// Large results are written past the caches, small ones are not. The two halves of a large picture
// are small enough: what is made of them must be what is made of the whole.
#include "filters/FilterSupport.h"

namespace {

using namespace test;
using host::Color;
using host::PictureRef;

/// Just above 16 MiB. Rows of an odd length begin everywhere in a cache line.
constexpr int kWidth = 2051, kHeight = 2052;

/// Words of a picture and of two others.
using Sources = std::array<Pixels, 3>;

/// Greys, and on some places, none beside another, colours: the first half ends above such a place.
Sources largeSources() {
  Sources sources;
  std::minstd_rand random(9);
  for (Pixels& source : sources) {
    source.resize(size_t{kWidth} * kHeight);
    for (size_t i = 0; i < source.size(); ++i) {
      const auto value = static_cast<uint32_t>(random());
      const bool place = i % kWidth % 3 == 1 && i / kWidth % 3 == 1;
      source[i] = value << 24 | (place ? value & 0xFFFFFF : (value & 0xFF) * 0x010101U);
    }
  }
  return sources;
}

struct Operation {
  const char* name;
  std::function<PictureRef(PluginHost&, const std::array<PictureRef, 3>&)> run;
};

template <typename... A>
Operation method(const char* name, A... arguments) {
  return {name, [=](PluginHost& setup, const std::array<PictureRef, 3>& p) -> PictureRef {
            return setup.plugin.call(p[0], name, arguments...);
          }};
}

Operation filter(const char* name, host::PropertyObject::Properties properties) {
  return {name, [=](PluginHost& setup, const std::array<PictureRef, 3>& p) {
            const host::InstanceRef instance = newFilter(setup, name, properties);
            instance->setProperty("SourcePicture", p[0]);
            EXPECT_TRUE(run(setup, instance));
            return destination(instance);
          }};
}

const std::vector<Operation>& pixelOperations() {
  static const std::vector<Operation> operations = {
      method("InvertZVK"),
      method("InvertGrayZVK"),
      method("ChangeContrastZVK", 0.4, -0.2, 1.5),
      method("ChangeSaturationZVK", 90),
      method("ReplaceColorZVK", Color{0x777777}, Color{0x123456}),
      method("ExtractColorZVK", Color{0x777777}, Color{0x123456}, Color{0xFFFFFF}),
      method("ExtractColorRectangleMaskZVK"),
      filter("PictureSepiaZVK", {{"SepiaRed", 40}, {"MinX", 5}, {"MaxX", kWidth - 9}}),
      {"tint",
       [](PluginHost& setup, const auto& p) -> PictureRef {
         return setup.plugin.callGlobal("TintPictureZVK", p[0], Color{0x4C961D}, Color{0xFFE0B0});
       }},
      {"tables",
       [](PluginHost& setup, const auto& p) -> PictureRef {
         std::vector<uint8_t> table(256);
         for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<uint8_t>(i * 7 + 3);
         const host::BlockRef block = setup.host.newBlock(table);
         return setup.plugin.call(p[0], "TransformColorsZVK", block, block, block);
       }},
      {"maximum of two",
       [](PluginHost& setup, const auto& p) -> PictureRef {
         return setup.plugin.callGlobal("MergePictureZVK", p[0], p[1]);
       }},
      {"combine three",
       [](PluginHost& setup, const auto& p) -> PictureRef {
         return setup.plugin.callGlobal("CombinePicturesZVK", p[0], p[1], p[2]);
       }},
      {"binary string and back",
       [](PluginHost& setup, const auto& p) -> PictureRef {
         const auto string = setup.plugin.callGlobal("PicturetoBinaryStringZVK", p[0]).string();
         return setup.plugin.callGlobal("BinaryStringtoPictureZVK", string);
       }},
  };
  return operations;
}

std::array<PictureRef, 3> part(PluginHost& setup, const Sources& sources, int top, int height) {
  std::array<PictureRef, 3> pictures;
  for (size_t i = 0; i < pictures.size(); ++i) {
    const auto first = sources[i].begin() + ptrdiff_t{top} * kWidth;
    pictures[i] = setup.picture(kWidth, height, {first, first + ptrdiff_t{height} * kWidth});
  }
  return pictures;
}

void expectHalves(PluginHost& setup) {
  const Sources sources = largeSources();
  const auto whole = part(setup, sources, 0, kHeight);
  const auto upper = part(setup, sources, 0, kHeight / 2);
  const auto lower = part(setup, sources, kHeight / 2, kHeight / 2);
  for (const Operation& operation : pixelOperations()) {
    SCOPED_TRACE(operation.name);
    Pixels expected = words(operation.run(setup, upper));
    const Pixels rest = words(operation.run(setup, lower));
    expected.insert(expected.end(), rest.begin(), rest.end());
    // Not compared by the matcher, which would print all of them.
    EXPECT_TRUE(words(operation.run(setup, whole)) == expected);
  }
}

TEST(Streaming, LargeResultsAreThoseOfTheirHalves) {
  PluginHost setup({.alpha = true, .paddingWords = 1});
  setup.host.settings.freshPixel = 0x5A3C1E;
  expectHalves(setup);
}

// Rows without gaps, in pages that the system has yet to hand out.
TEST(Streaming, FreshMemoryIsAskedForAtOnce) {
  PluginHost setup({.alpha = true});
  expectHalves(setup);
}

}  // namespace
