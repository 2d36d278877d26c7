#include <immintrin.h>

#include "pixels/Loops.h"

namespace pixels {

namespace {

void toWordsOneByOne(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t* triple = triples + static_cast<ptrdiff_t>(i) * 3;
    words[i] = pack({triple[0], triple[1], triple[2]}) | top;
  }
}

void toTriplesOneByOne(const Word* words, uint8_t* triples, int32_t count) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const Rgb color = unpack(words[i]);
    uint8_t* triple = triples + static_cast<ptrdiff_t>(i) * 3;
    triple[0] = static_cast<uint8_t>(color.red);
    triple[1] = static_cast<uint8_t>(color.green);
    triple[2] = static_cast<uint8_t>(color.blue);
  }
}

ZVK_FOR_ANY void toWords(const uint8_t* triples, Word* words, int32_t count,
                         uint32_t top) noexcept {
  toWordsOneByOne(triples, words, count, top);
}

ZVK_FOR_AVX2 void toWords(const uint8_t* triples, Word* words, int32_t count,
                          uint32_t top) noexcept {
  // Loads are of 16 bytes, of which 12 count: two more pixels must follow the last one.
  constexpr int32_t kRound = 8, kSlack = 2;
  const __m256i order = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1));
  const __m256i tops = _mm256_set1_epi32(static_cast<int>(top));
  int32_t i = 0;
  for (; i + kRound + kSlack <= count; i += kRound) {
    const uint8_t* from = triples + static_cast<ptrdiff_t>(i) * 3;
    fetchAhead(from);
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i_u*>(from));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i_u*>(from + 12));
    const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(words + i),
                        _mm256_or_si256(_mm256_shuffle_epi8(both, order), tops));
  }
  toWordsOneByOne(triples + static_cast<ptrdiff_t>(i) * 3, words + i, count - i, top);
}

ZVK_FOR_ANY void toTriples(const Word* words, uint8_t* triples, int32_t count) noexcept {
  toTriplesOneByOne(words, triples, count);
}

/// The 24 bytes of 8 pixels as groups of 4 bytes in the order of `places`; groups 3 and 7 are
/// empty.
ZVK_FOR_AVX2 inline __m256i packed(const Word* words, __m256i places) noexcept {
  const __m256i order = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
  const __m256i from = _mm256_loadu_si256(reinterpret_cast<const __m256i_u*>(words));
  return _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(from, order), places);
}

ZVK_FOR_AVX2 void toTriples(const Word* words, uint8_t* triples, int32_t count) noexcept {
  constexpr int32_t kRound = 32;
  const __m256i first = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
  const __m256i second = _mm256_setr_epi32(2, 4, 5, 6, 3, 7, 0, 1);
  const __m256i third = _mm256_setr_epi32(5, 6, 3, 7, 0, 1, 2, 4);
  const __m256i fourth = _mm256_setr_epi32(3, 7, 0, 1, 2, 4, 5, 6);
  int32_t i = 0;
  for (; i + kRound <= count; i += kRound) {
    const __m256i a = packed(words + i, first), b = packed(words + i + 8, second);
    const __m256i c = packed(words + i + 16, third), d = packed(words + i + 24, fourth);
    auto* to = reinterpret_cast<__m256i_u*>(triples + static_cast<ptrdiff_t>(i) * 3);
    _mm256_storeu_si256(to, _mm256_blend_epi32(a, b, 0b11000000));
    _mm256_storeu_si256(to + 1, _mm256_blend_epi32(b, c, 0b11110000));
    _mm256_storeu_si256(to + 2, _mm256_blend_epi32(c, d, 0b11111100));
  }
  toTriplesOneByOne(words + i, triples + static_cast<ptrdiff_t>(i) * 3, count - i);
}

}  // namespace

void wordsFromTriples(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept {
  toWords(triples, words, count, top);
}

void triplesFromWords(const Word* words, uint8_t* triples, int32_t count) noexcept {
  toTriples(words, triples, count);
}

}  // namespace pixels
