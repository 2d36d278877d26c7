#include <algorithm>

#include "pixels/ByteVectors.h"
#include "pixels/PixelRows.h"

namespace pixels {

namespace {

// A version for each instruction set. The plain loops are what the others do to several pixels at
// once.

void unpackPlain(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t* triple = triples + static_cast<ptrdiff_t>(i) * 3;
    words[i] = pack({triple[0], triple[1], triple[2]}) | top;
  }
}

void packPlain(const Word* words, uint8_t* triples, int32_t count) noexcept {
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

__attribute__((target("default"))) void unpackRun(const uint8_t* triples, Word* words,
                                                  int32_t count, uint32_t top) noexcept {
  unpackPlain(triples, words, count, top);
}

ZVK_AVX2 void unpackRun(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept {
  const __m256i order = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1));
  const __m256i tops = _mm256_set1_epi32(static_cast<int>(top));
  int32_t i = 0;
  for (; i + kRound + kSlack <= count; i += kRound) {
    const uint8_t* from = triples + static_cast<ptrdiff_t>(i) * 3;
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i_u*>(from));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i_u*>(from + 12));
    const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(words + i),
                        _mm256_or_si256(_mm256_shuffle_epi8(both, order), tops));
  }
  unpackPlain(triples + static_cast<ptrdiff_t>(i) * 3, words + i, count - i, top);
}

__attribute__((target("default"))) void packRun(const Word* words, uint8_t* triples,
                                                int32_t count) noexcept {
  packPlain(words, triples, count);
}

ZVK_AVX2 void packRun(const Word* words, uint8_t* triples, int32_t count) noexcept {
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
  packPlain(words + i, triples + static_cast<ptrdiff_t>(i) * 3, count - i);
}

#if defined(__x86_64__)

constexpr int32_t kVector = 64;        ///< bytes
constexpr int32_t kVectorPixels = 16;  ///< as words

/// Four vectors of words at once, which make three of triples.
constexpr int32_t kVbmiRound = 4 * kVectorPixels;

/// For each byte of three vectors of triples, where it lies in the vector of words that its first
/// byte comes from (0..63) or in the one after that (64..127).
struct PackOrder {
  alignas(kVector) uint8_t bytes[3][kVector];

  constexpr PackOrder() noexcept : bytes() {
    for (int32_t i = 0; i < 3 * kVector; ++i) {
      const int32_t from = i / 3 * 4 + 2 - i % 3;
      bytes[i / kVector][i % kVector] = static_cast<uint8_t>(from - i / kVector * kVector);
    }
  }
};
constexpr PackOrder kPackOrder;

/// For each byte of a vector of words, where it lies in 48 bytes of triples.
struct UnpackOrder {
  alignas(kVector) uint8_t bytes[kVector];

  constexpr UnpackOrder() noexcept : bytes() {
    for (int32_t i = 0; i < kVector; ++i) {
      bytes[i] = static_cast<uint8_t>(i / 4 * 3 + (i % 4 < 3 ? 2 - i % 4 : 0));
    }
  }
};
constexpr UnpackOrder kUnpackOrder;

/// Streamed, the triples begin where a cache line does.
template <bool streamed>
ZVK_VBMI void packVbmi(const Word* words, uint8_t* triples, int32_t count) noexcept {
  __m512i orders[3];
  for (int32_t k = 0; k < 3; ++k) orders[k] = _mm512_load_si512(kPackOrder.bytes[k]);
  int32_t i = 0;
  for (; i + kVbmiRound <= count; i += kVbmiRound) {
    uint8_t* to = triples + static_cast<ptrdiff_t>(i) * 3;
    for (int32_t k = 0; k < 3; ++k) {
      const Word* from = words + i + k * kVectorPixels;
      const __m512i packed = _mm512_permutex2var_epi8(_mm512_loadu_si512(from), orders[k],
                                                      _mm512_loadu_si512(from + kVectorPixels));
      if constexpr (streamed) {
        _mm512_stream_si512(reinterpret_cast<__m512i*>(to + k * kVector), packed);
      } else {
        _mm512_storeu_si512(to + k * kVector, packed);
      }
    }
    for (int32_t k = 0; streamed && k < kVbmiRound; k += kVectorPixels) fetchAhead(words + i + k);
  }
  packRun(words + i, triples + static_cast<ptrdiff_t>(i) * 3, count - i);
}

/// Streamed, the words begin where a cache line does.
template <bool streamed>
ZVK_VBMI void unpackVbmi(const uint8_t* triples, Word* words, int32_t count,
                         uint32_t top) noexcept {
  // A load takes 16 bytes more than are used, which must lie inside the row.
  constexpr int32_t kMore = 6;
  constexpr __mmask64 kColorBytes = 0x7777777777777777;
  const __m512i order = _mm512_load_si512(kUnpackOrder.bytes);
  const __m512i tops = _mm512_set1_epi32(static_cast<int>(top));
  int32_t i = 0;
  for (; i + kVectorPixels + kMore <= count; i += kVectorPixels) {
    const uint8_t* const source = triples + static_cast<ptrdiff_t>(i) * 3;
    fetchAhead(source);
    const __m512i from = _mm512_loadu_si512(source);
    const __m512i colors = _mm512_maskz_permutexvar_epi8(kColorBytes, order, from);
    const __m512i result = _mm512_or_si512(colors, tops);
    if constexpr (streamed) {
      _mm512_stream_si512(reinterpret_cast<__m512i*>(words + i), result);
    } else {
      _mm512_storeu_si512(words + i, result);
    }
  }
  unpackRun(triples + static_cast<ptrdiff_t>(i) * 3, words + i, count - i, top);
}

#endif

}  // namespace

void unpackTriples(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept {
#if defined(__x86_64__)
  if (hasByteVectors()) return unpackVbmi<false>(triples, words, count, top);
#endif
  unpackRun(triples, words, count, top);
}

void packTriples(const Word* words, uint8_t* triples, int32_t count) noexcept {
#if defined(__x86_64__)
  if (hasByteVectors()) return packVbmi<false>(words, triples, count);
#endif
  packRun(words, triples, count);
}

void streamWords(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept {
  // Words at addresses that are no multiples of their size never begin with a line.
  if (pastLine(words) % 4 != 0) return unpackTriples(triples, words, count, top);
  const int32_t past = pastLine(words) / 4;
#if defined(__x86_64__)
  if (hasByteVectors()) {
    const int32_t head = std::min((kLineWords - past) % kLineWords, count);
    unpackRun(triples, words, head, top);
    return unpackVbmi<true>(triples + ptrdiff_t{head} * 3, words + head, count - head, top);
  }
#endif
  // A block lies in its cache lines like its place does, so that to stream it hardly stalls.
  alignas(kLine) uint32_t lines[kBlock + kLineWords];
  for (int32_t i = 0, length = std::min(kBlock - past, count); i < count;
       i += length, length = std::min(kBlock, count - i)) {
    const uint8_t* const source = triples + ptrdiff_t{i} * 3;
    Word* const block = lines + pastLine(words + i) / 4;
    unpackTriples(source, block, length, top);
    streamBlock(reinterpret_cast<uint8_t*>(words + i), block, length * 4, {source});
  }
}

void streamTriples(const Word* words, uint8_t* triples, int32_t count) noexcept {
  const int32_t past = triplesPastLine(triples);
#if defined(__x86_64__)
  if (hasByteVectors()) {
    const int32_t head = std::min((kLine - past) % kLine, count);
    packRun(words, triples, head);
    return packVbmi<true>(words + head, triples + ptrdiff_t{head} * 3, count - head);
  }
#endif
  alignas(kLine) uint8_t lines[kBlock * 3 + kLine];
  for (int32_t i = 0, length = std::min(kBlock - past, count); i < count;
       i += length, length = std::min(kBlock, count - i)) {
    uint8_t* const place = triples + ptrdiff_t{i} * 3;
    uint8_t* const block = lines + pastLine(place);
    packTriples(words + i, block, length);
    streamBlock(place, block, length * 3, {reinterpret_cast<const uint8_t*>(words + i)});
  }
}

}  // namespace pixels
