#include "pixels/Histogram.h"

namespace pixels {

namespace {

// Neighbouring pixels are often alike. With one set of counters each increment would then wait for
// the one before it, so neighbours count into sets of their own.
constexpr int32_t kSets = 4;

struct CounterSets {
  Histogram::Counters red[kSets]{}, green[kSets]{}, blue[kSets]{};

  void add(uint32_t word, int32_t set) noexcept {
    ++red[set][word >> 16 & 0xFF];
    ++green[set][word >> 8 & 0xFF];
    ++blue[set][word & 0xFF];
  }

  void add(const Word* words, int32_t count) noexcept {
    int32_t i = 0;
    for (; i + kLineWords <= count; i += kLineWords) {
      fetchAhead(words + i);
      for (int32_t k = 0; k < kLineWords; ++k) add(words[i + k], k % kSets);
    }
    for (; i < count; ++i) add(words[i], 0);
  }
};

void addSets(const Histogram::Counters (&sets)[kSets], Histogram::Counters& sums) noexcept {
  for (const Histogram::Counters& set : sets) {
    for (int32_t level = 0; level < Histogram::kLevels; ++level) sums[level] += set[level];
  }
}

}  // namespace

int64_t Histogram::count(PictureEditor& reader) noexcept {
  CounterSets sets;
  int64_t pixels = 0;
  scanPixels(reader, wholeOf(reader), [&](const Word* words, int32_t count) {
    sets.add(words, count);
    pixels += count;
    return true;
  });
  addSets(sets.red, red_);
  addSets(sets.green, green_);
  addSets(sets.blue, blue_);
  return pixels;
}

}  // namespace pixels
