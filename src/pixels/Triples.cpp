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

/// Pixels per round of the vector versions, and how many more must follow so that its loads and
/// stores of 16 bytes, of which 12 count, stay inside the rows.
constexpr int32_t kRound = 8;
constexpr int32_t kSlack = 2;

ZVK_FOR_ANY void toWords(const uint8_t* triples, Word* words, int32_t count,
                         uint32_t top) noexcept {
  toWordsOneByOne(triples, words, count, top);
}

ZVK_FOR_AVX2 void toWords(const uint8_t* triples, Word* words, int32_t count,
                          uint32_t top) noexcept {
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

ZVK_FOR_AVX2 void toTriples(const Word* words, uint8_t* triples, int32_t count) noexcept {
  const __m256i order = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
  int32_t i = 0;
  for (; i + kRound + kSlack <= count; i += kRound) {
    const __m256i from = _mm256_loadu_si256(reinterpret_cast<const __m256i_u*>(words + i));
    const __m256i packed = _mm256_shuffle_epi8(from, order);
    uint8_t* to = triples + static_cast<ptrdiff_t>(i) * 3;
    _mm_storeu_si128(reinterpret_cast<__m128i_u*>(to), _mm256_castsi256_si128(packed));
    _mm_storeu_si128(reinterpret_cast<__m128i_u*>(to + 12), _mm256_extracti128_si256(packed, 1));
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
