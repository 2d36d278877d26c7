#include <malloc.h>

#include "Support.h"
#include "pixels/Pixels.h"

namespace {

using namespace test;
using host::PictureRef;
using host::StringRef;

class BinaryStringTest : public LayoutTest {};

/// 32-bit words, the most significant byte first.
std::string words32(std::initializer_list<uint32_t> values) {
  std::string bytes;
  for (const uint32_t value : values) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  }
  return bytes;
}

constexpr uint32_t kMagic = 0x50504943;  // PPIC

/// A binary string as it must be, its pixels at `offset` behind bytes without meaning.
std::string encoded(int width, int height, const Pixels& pixels, uint32_t offset = 40) {
  const auto length = static_cast<uint32_t>(offset + 3 * pixels.size());
  std::string text = words32({kMagic, length, static_cast<uint32_t>(width),
                              static_cast<uint32_t>(height), 32, offset, 0, 0, 0, 0});
  text.resize(offset, 'x');
  for (const uint32_t pixel : pixels) text += words32({pixel}).substr(1);
  return text;
}

/// With the total length that it has set in its header.
std::string relabelled(std::string text) {
  if (text.size() >= 8) text.replace(4, 4, words32({static_cast<uint32_t>(text.size())}));
  return text;
}

PictureRef decoded(PluginHost& setup, const std::string& text) {
  // The byte behind the text cannot be read.
  const StringRef string = setup.host.newString(text, kEncodingNone, host::Placement::kGuarded);
  return setup.plugin.callGlobal("BinaryStringtoPictureZVK", string);
}

TEST_P(BinaryStringTest, GoesThereAndBack) {
  PluginHost setup(GetParam().options);
  // Vectors end behind the rows at the widths that they mishandle.
  const bool slow = setup.options.storage == host::Storage::kDrawable;
  for (int width = 1; width <= 700; width += slow ? 233 : width < 100 ? 1 : 300) {
    SCOPED_TRACE(width);
    constexpr int height = 2;
    const Pixels source = randomPixels(width, height, 4, true);
    const StringRef string =
        setup.plugin.callGlobal("PicturetoBinaryStringZVK", setup.picture(width, height, source))
            .string();
    ASSERT_TRUE(string);
    EXPECT_EQ(string->encoding(), HostULong{0xFFFF});
    EXPECT_EQ(string->bytes(), encoded(width, height, source));
    for (const uint32_t offset : {40U, 48U, 41U}) {
      const PictureRef back = decoded(setup, encoded(width, height, source, offset));
      ASSERT_TRUE(back);
      EXPECT_FALSE(back->hasAlpha());
      Pixels expected = written(source, back->options());
      if (back->options().storage == host::Storage::kRecord) {
        for (uint32_t& word : expected) word |= 0x7F000000;
      }
      EXPECT_EQ(words(back), expected);
    }
  }
}

TEST_P(BinaryStringTest, RefusesWhatIsNotAWholePicture) {
  PluginHost setup(GetParam().options);
  const std::string good = encoded(8, 8, randomPixels(8, 8, 6));
  ASSERT_TRUE(decoded(setup, good));
  EXPECT_FALSE(setup.plugin.callGlobal("BinaryStringtoPictureZVK", StringRef()).picture());
  EXPECT_FALSE(setup.plugin.callGlobal("PicturetoBinaryStringZVK", PictureRef()).string());

  const auto length = static_cast<uint32_t>(good.size());
  const auto header = [&](uint32_t size, uint32_t width, uint32_t height, uint32_t offset) {
    return words32({kMagic, size, width, height, 32, offset}) + good.substr(24);
  };
  for (const std::string& text : {good + "x", "x" + good, relabelled("PPIc" + good.substr(4))}) {
    EXPECT_FALSE(decoded(setup, text)) << text.substr(0, 8);
  }
  const uint32_t malformed[][4] = {{length - 1, 8, 8, 40},
                                   {length + 1, 8, 8, 40},
                                   {length | 0x80000000, 8, 8, 40},
                                   {length, 0, 8, 40},
                                   {length, 8, 0, 40},
                                   {length, 0xFFFFFFFF, 8, 40},
                                   {length, 0xFFFFFFFF, 0xFFFFFFFF, 40},
                                   {length, 32768, 1, 40},
                                   {length, 8, 9, 40},
                                   {length, 9, 8, 40},
                                   {length, 32767, 32767, 40},
                                   {length, 0x7FFFFFFF, 0x7FFFFFFF, 40},
                                   {length, 0x55555556, 0x80000000, 40},
                                   {length, 8, 8, 41},
                                   {length, 1, 1, length - 2},
                                   {length, 1, 1, length},
                                   {length, 1, 1, 0x7FFFFFFF},
                                   {length, 1, 1, 0x80000000},
                                   {length, 1, 1, 0xFFFFFFFF}};
  for (const auto& [size, width, height, offset] : malformed) {
    EXPECT_FALSE(decoded(setup, header(size, width, height, offset)))
        << size << " " << width << " " << height << " " << offset;
  }
  // Cut-off files, with the length that they had and with the one that they have.
  for (size_t size = 0; size < 200; ++size) {
    ASSERT_FALSE(decoded(setup, good.substr(0, size)) ||
                 decoded(setup, relabelled(good.substr(0, size))))
        << size;
  }
  // The last pixel ends exactly where the string ends; pixels may even lie in the header.
  EXPECT_TRUE(decoded(setup, header(length, 1, 1, length - 3)));
  EXPECT_TRUE(decoded(setup, header(length, 1, 1, 0)));
}

// Of a row that is not there, nothing gets into the string but zeros, whatever the heap held.
TEST(BinaryStringRecords, MissingRowsAreBlackOrLeftOut) {
  const host::PictureOptions options{.storage = host::Storage::kRecord, .scatteredRows = true};
  PluginHost setup(options);
  Pixels source = randomPixels(700, 3, 5);
  const PictureRef picture = setup.picture(700, 3, source);
  uint8_t* const row = std::exchange(picture->record()->rowStarts[1], nullptr);
  mallopt(M_PERTURB, 0x55);
  const StringRef string = setup.plugin.callGlobal("PicturetoBinaryStringZVK", picture).string();
  mallopt(M_PERTURB, 0);
  picture->record()->rowStarts[1] = row;
  const std::string whole = encoded(700, 3, source);
  std::fill(source.begin() + 700, source.begin() + 1400, 0);
  ASSERT_TRUE(string);
  EXPECT_EQ(string->bytes(), encoded(700, 3, source));
  setup.host.settings.lies.pictures.missingRow = 1;
  EXPECT_EQ(colors(decoded(setup, whole))[1400], colors(picture)[1400]);
  setup.host.settings.lies = {};
  for (const int more : {-1, 1}) {
    setup.host.settings.lies.moreWidth = more;
    EXPECT_FALSE(decoded(setup, whole));
    setup.host.settings.lies.moreWidth = 0;
    setup.host.settings.lies.moreHeight = more;
    EXPECT_FALSE(decoded(setup, whole));
  }
}

// Vectors of them reach beyond the last pixels.
TEST(Triples, AreReadAndWrittenNoFurtherThanTheyReach) {
  std::mt19937 random(3);
  for (int count = 1; count <= 70; ++count) {
    const auto size = static_cast<size_t>(count);
    const host::Memory triples(3 * size, host::Placement::kGuarded),
        words(4 * size, host::Placement::kGuarded), back(3 * size, host::Placement::kGuarded);
    std::generate_n(triples.data(), 3 * size, [&] { return static_cast<uint8_t>(random()); });
    auto* const out = reinterpret_cast<pixels::Word*>(words.data());
    pixels::wordsFromTriples(triples.data(), out, count, 0x7F000000);
    EXPECT_EQ(out[size - 1] >> 24, 0x7FU);
    pixels::triplesFromWords(out, back.data(), count);
    EXPECT_EQ(memcmp(back.data(), triples.data(), 3 * size), 0) << count;
    EXPECT_TRUE(back.slackIntact() && words.slackIntact());
  }
}

// A string cannot be longer than 2^31 - 1 bytes, also where the product of the sides overflows or
// two negative ones hide each other.
TEST(BinaryStringLimitTest, RefusesPicturesThatNoStringHolds) {
  PluginHost setup(host::PictureOptions{.storage = host::Storage::kRecord});
  for (const auto& [width, height] : {std::pair{715827870, 1},
                                      {26755, 26755},
                                      {INT32_MAX, INT32_MAX},
                                      {INT32_MIN, INT32_MAX},
                                      {-5, 5},
                                      {-5, -5}}) {
    const PictureRef picture = setup.picture(1, 1, {0});
    picture->faults.width = width;
    picture->faults.height = height;
    EXPECT_FALSE(setup.plugin.callGlobal("PicturetoBinaryStringZVK", picture).string()) << width;
  }
}

}  // namespace

ZVK_ALL_LAYOUTS(BinaryStringTest);
