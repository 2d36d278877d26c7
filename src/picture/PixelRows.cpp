#include "picture/PixelRows.h"

namespace pixels {

namespace {

ZVK_CLONES void unpackRun(const uint8_t* triples, Word* words, int32_t count,
                          uint32_t top) noexcept {
#pragma GCC ivdep
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t* triple = triples + 3 * i;
    words[i] = pack({triple[0], triple[1], triple[2]}) | top;
  }
}

ZVK_CLONES void packRun(const Word* words, uint8_t* triples, int32_t count) noexcept {
#pragma GCC ivdep
  for (int32_t i = 0; i < count; ++i) {
    const Rgb color = unpack(words[i]);
    triples[3 * i] = static_cast<uint8_t>(color.red);
    triples[3 * i + 1] = static_cast<uint8_t>(color.green);
    triples[3 * i + 2] = static_cast<uint8_t>(color.blue);
  }
}

}  // namespace

void unpackTriples(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept {
  unpackRun(triples, words, count, top);
}

void packTriples(const Word* words, uint8_t* triples, int32_t count) noexcept {
  packRun(words, triples, count);
}

}  // namespace pixels
