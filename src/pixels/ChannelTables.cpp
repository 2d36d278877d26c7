#include "pixels/ChannelTables.h"

#include <immintrin.h>

#include <cstring>

namespace pixels {

namespace {

using Table = const uint8_t (&)[ChannelTables::kLevels];
/// Blue, green, red.
using Tables = const uint8_t (&)[3][ChannelTables::kLevels];

constexpr int32_t kRow = 16;  ///< entries that one shuffle chooses from
constexpr int32_t kHalf = ChannelTables::kLevels / 2 / kRow;  ///< rows of half a table

// --- Without shuffles ---------------------------------------------------------------------------

ZVK_FOR_ANY void lookUpWords(Tables bytes, Tables, Word* out, int32_t count, uint32_t top,
                             const Word* in) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t word = in[i];
    out[i] = top | uint32_t{bytes[2][word >> 16 & 0xFF]} << 16 |
             uint32_t{bytes[1][word >> 8 & 0xFF]} << 8 | bytes[0][word & 0xFF];
  }
}

// --- With the shuffles of AVX2 ------------------------------------------------------------------

using Vector = __m256i;
constexpr int32_t kVector = 32;          ///< bytes, or channels of as many pixels
constexpr int32_t kVectorWords = 8;      ///< pixels
constexpr int32_t kRound = 2 * kVector;  ///< pixels that share the loads of the tables

/// One channel of the pixels of a round, in an order that merging undoes.
struct Plane {
  Vector low, high;
};

/// Entries 0..127 at the bytes below 128, 0 at the others. A shuffle chooses by the low 4 bits of
/// each byte, or gives 0 where the top bit is set. Lowered by 16 times the row, the top bits of
/// exactly those bytes are clear that are in this row or in one behind it, so each byte meets the
/// differences of all rows up to its own.
ZVK_FOR_AVX2 inline Plane lookUpHalf(const uint8_t* steps, Plane bytes) noexcept {
  Plane found{_mm256_setzero_si256(), _mm256_setzero_si256()};
  for (int32_t row = 0; row < kHalf; ++row) {
    const auto* entries = reinterpret_cast<const __m128i*>(steps + row * kRow);
    const Vector step = _mm256_broadcastsi128_si256(_mm_load_si128(entries));
    found.low = _mm256_xor_si256(found.low, _mm256_shuffle_epi8(step, bytes.low));
    found.high = _mm256_xor_si256(found.high, _mm256_shuffle_epi8(step, bytes.high));
    bytes.low = _mm256_subs_epi8(bytes.low, _mm256_set1_epi8(kRow));
    bytes.high = _mm256_subs_epi8(bytes.high, _mm256_set1_epi8(kRow));
  }
  return found;
}

ZVK_FOR_AVX2 inline Plane lookUp(Table steps, Plane bytes) noexcept {
  const Vector top = _mm256_set1_epi8(-128);
  const Plane lower = lookUpHalf(steps, bytes);
  const Plane upper = lookUpHalf(
      steps + kHalf * kRow, {_mm256_xor_si256(bytes.low, top), _mm256_xor_si256(bytes.high, top)});
  return {_mm256_xor_si256(lower.low, upper.low), _mm256_xor_si256(lower.high, upper.high)};
}

/// The channels of 32 pixels.
struct Channels {
  Vector blue, green, red;
};

ZVK_FOR_AVX2 inline Channels split(const Word* in) noexcept {
  // Each half of a vector holds four pixels; their channels come together.
  const Vector order = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
  Vector v[4];
  for (int32_t k = 0; k < 4; ++k) {
    const auto* from = reinterpret_cast<const __m256i_u*>(in + k * kVectorWords);
    v[k] = _mm256_shuffle_epi8(_mm256_loadu_si256(from), order);
  }
  const Vector low01 = _mm256_unpacklo_epi32(v[0], v[1]), low23 = _mm256_unpacklo_epi32(v[2], v[3]);
  const Vector high01 = _mm256_unpackhi_epi32(v[0], v[1]);
  const Vector high23 = _mm256_unpackhi_epi32(v[2], v[3]);
  return {_mm256_unpacklo_epi64(low01, low23), _mm256_unpackhi_epi64(low01, low23),
          _mm256_unpacklo_epi64(high01, high23)};
}

ZVK_FOR_AVX2 inline void merge(const Channels& channels, Vector top, Word* out) noexcept {
  const Vector low = _mm256_unpacklo_epi8(channels.blue, channels.green);
  const Vector high = _mm256_unpackhi_epi8(channels.blue, channels.green);
  const Vector lowRed = _mm256_unpacklo_epi8(channels.red, top);
  const Vector highRed = _mm256_unpackhi_epi8(channels.red, top);
  const Vector v[4] = {_mm256_unpacklo_epi16(low, lowRed), _mm256_unpackhi_epi16(low, lowRed),
                       _mm256_unpacklo_epi16(high, highRed), _mm256_unpackhi_epi16(high, highRed)};
  for (int32_t k = 0; k < 4; ++k) {
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(out + k * kVectorWords), v[k]);
  }
}

ZVK_FOR_AVX2 void lookUpWords(Tables bytes, Tables steps, Word* out, int32_t count, uint32_t top,
                              const Word* in) noexcept {
  const Vector tops = _mm256_set1_epi8(static_cast<char>(top >> 24));
  int32_t i = 0;
  for (; i + kRound <= count; i += kRound) {
    const Channels low = split(in + i), high = split(in + i + kVector);
    const Plane blue = lookUp(steps[0], {low.blue, high.blue});
    const Plane green = lookUp(steps[1], {low.green, high.green});
    const Plane red = lookUp(steps[2], {low.red, high.red});
    merge({blue.low, green.low, red.low}, tops, out + i);
    merge({blue.high, green.high, red.high}, tops, out + i + kVector);
  }
  if (i == count) return;
  Word rest[kRound]{};
  memcpy(rest, in + i, static_cast<size_t>(count - i) * sizeof(Word));
  lookUpWords(bytes, steps, rest, kRound, top, rest);
  memcpy(out + i, rest, static_cast<size_t>(count - i) * sizeof(Word));
}

}  // namespace

ChannelTables::ChannelTables(const uint8_t* red, const uint8_t* green,
                             const uint8_t* blue) noexcept {
  const uint8_t* const tables[3] = {blue, green, red};
  for (int32_t channel = 0; channel < 3; ++channel) {
    for (int32_t i = 0; i < kLevels; ++i) {
      const bool startsHalf = i / kRow % kHalf == 0;
      bytes_[channel][i] = tables[channel][i];
      steps_[channel][i] = tables[channel][i] ^ (startsHalf ? 0 : tables[channel][i - kRow]);
    }
  }
}

void ChannelTables::mapWords(Word* out, int32_t count, uint32_t top,
                             const Word* in) const noexcept {
  lookUpWords(bytes_, steps_, out, count, top, in);
}

}  // namespace pixels
