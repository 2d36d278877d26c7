#include "pixels/ChannelTables.h"

#include <cstring>

#include "pixels/ByteVectors.h"

namespace pixels {

namespace {

constexpr int32_t kRow = 16;  ///< entries that one shuffle chooses from
constexpr int32_t kHalf = ChannelTables::kLevels / 2 / kRow;  ///< rows of half a table

/// Turns each row of a table into what it differs in from the row before it; the first row of each
/// half stays.
void toSteps(uint8_t* table) noexcept {
  for (int32_t row = 2 * kHalf - 1; row > 0; --row) {
    if (row == kHalf) continue;
    for (int32_t i = row * kRow; i < (row + 1) * kRow; ++i) table[i] ^= table[i - kRow];
  }
}

}  // namespace

ChannelTables::ChannelTables(const uint8_t* red, const uint8_t* green,
                             const uint8_t* blue) noexcept {
  uint32_t entries[kLevels];
  for (int32_t level = 0; level < kLevels; ++level) {
    entries[level] = pack({red[level], green[level], blue[level]});
  }
  setTables(entries);
}

ChannelTables::Form ChannelTables::form() noexcept {
  if (hasByteVectors()) return Form::kBytes;
  return hasByteShuffles() ? Form::kSteps : Form::kWords;
}

void ChannelTables::setTables(const Word* entries) noexcept {
  const Form kept = form();
  for (int32_t channel = 0; channel < 3; ++channel) {
    const int shift = 8 * channel;
    for (int32_t i = 0; i < kLevels && kept == Form::kWords; ++i) {
      words_[channel][i] = entries[i] & 0xFFU << shift;
    }
    for (int32_t i = 0; i < kLevels && kept != Form::kWords; ++i) {
      bytes_[channel][i] = static_cast<uint8_t>(entries[i] >> shift);
    }
    if (kept == Form::kSteps) toSteps(bytes_[channel]);
  }
}

void ChannelTables::runPlain(Word* out, int32_t count, uint32_t top,
                             const Word* in) const noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t word = in[i];
    out[i] =
        words_[2][word >> 16 & 0xFF] | words_[1][word >> 8 & 0xFF] | words_[0][word & 0xFF] | top;
  }
}

// Vectors of one kind after the other: functions for different processors share no code.

namespace avx2 {

namespace {

using Vector = __m256i;
constexpr int32_t kVector = 32;      ///< bytes, or channels of as many pixels
constexpr int32_t kVectorWords = 8;  ///< pixels

/// Entries 0..127 at the bytes below 128, 0 at the others. A shuffle chooses by the low 4 bits of
/// each byte, or gives 0 where the top bit is set. Lowered by 16 times the row, the top bits of
/// exactly those bytes are clear that are in this row or in one behind it, so each byte meets the
/// differences of all rows up to its own.
ZVK_AVX2 inline Vector lookUpHalf(const uint8_t* steps, Vector bytes) noexcept {
  Vector found = _mm256_setzero_si256();
  for (int32_t row = 0; row < kHalf; ++row) {
    const auto* entries = reinterpret_cast<const __m128i*>(steps + row * kRow);
    const Vector step = _mm256_broadcastsi128_si256(_mm_load_si128(entries));
    found = _mm256_xor_si256(found, _mm256_shuffle_epi8(step, bytes));
    bytes = _mm256_subs_epi8(bytes, _mm256_set1_epi8(kRow));
  }
  return found;
}

ZVK_AVX2 inline Vector lookUp(const uint8_t* steps, Vector bytes) noexcept {
  const Vector upper = _mm256_xor_si256(bytes, _mm256_set1_epi8(-128));
  return _mm256_xor_si256(lookUpHalf(steps, bytes), lookUpHalf(steps + kHalf * kRow, upper));
}

/// The channels of 32 pixels, in an order that merging undoes.
struct Planes {
  Vector blue, green, red;
};

ZVK_AVX2 inline Planes split(const Word* in) noexcept {
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

ZVK_AVX2 inline void merge(const Planes& planes, Vector top, Word* out) noexcept {
  const Vector low = _mm256_unpacklo_epi8(planes.blue, planes.green);
  const Vector high = _mm256_unpackhi_epi8(planes.blue, planes.green);
  const Vector lowRed = _mm256_unpacklo_epi8(planes.red, top);
  const Vector highRed = _mm256_unpackhi_epi8(planes.red, top);
  const Vector v[4] = {_mm256_unpacklo_epi16(low, lowRed), _mm256_unpackhi_epi16(low, lowRed),
                       _mm256_unpacklo_epi16(high, highRed), _mm256_unpackhi_epi16(high, highRed)};
  for (int32_t k = 0; k < 4; ++k) {
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(out + k * kVectorWords), v[k]);
  }
}

}  // namespace

}  // namespace avx2

ZVK_AVX2 void ChannelTables::runAvx2(Word* out, int32_t count, uint32_t top,
                                     const Word* in) const noexcept {
  using namespace avx2;
  const Vector tops = _mm256_set1_epi8(static_cast<char>(top >> 24));
  int32_t i = 0;
  for (; i + kVector <= count; i += kVector) {
    const Planes planes = split(in + i);
    merge({lookUp(bytes_[0], planes.blue), lookUp(bytes_[1], planes.green),
           lookUp(bytes_[2], planes.red)},
          tops, out + i);
  }
  if (i == count) return;
  Word rest[kVector]{};
  memcpy(rest, in + i, static_cast<size_t>(count - i) * sizeof(Word));
  runAvx2(rest, kVector, top, rest);
  memcpy(out + i, rest, static_cast<size_t>(count - i) * sizeof(Word));
}

#if defined(__x86_64__)

namespace vbmi {

namespace {

using Vector = __m512i;
constexpr int32_t kVector = 64;       ///< bytes, or channels of as many pixels
constexpr int32_t kVectorWords = 16;  ///< pixels

/// One table in four registers. A byte permutation looks 64 bytes up among 128 entries by the low 7
/// bits of each, so two of them and a choice by the top bit make one look-up.
struct Table {
  Vector parts[4];

  ZVK_VBMI explicit Table(const uint8_t* bytes) noexcept {
    for (int part = 0; part < 4; ++part) parts[part] = _mm512_load_si512(bytes + part * kVector);
  }
  [[nodiscard]] ZVK_VBMI Vector lookUp(Vector bytes) const noexcept {
    const Vector lower = _mm512_permutex2var_epi8(parts[0], bytes, parts[1]);
    const Vector upper = _mm512_permutex2var_epi8(parts[2], bytes, parts[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(bytes), lower, upper);
  }
};

/// The channels of 64 pixels, in an order that merging undoes.
struct Planes {
  Vector blue, green, red;
};

ZVK_VBMI Planes split(const Word* in) noexcept {
  // Each quarter of a vector holds four pixels; their channels come together.
  const Vector order =
      _mm512_broadcast_i32x4(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
  Vector v[4];
  for (int32_t k = 0; k < 4; ++k) {
    v[k] = _mm512_shuffle_epi8(_mm512_loadu_si512(in + k * kVectorWords), order);
  }
  const Vector low01 = _mm512_unpacklo_epi32(v[0], v[1]), low23 = _mm512_unpacklo_epi32(v[2], v[3]);
  const Vector high01 = _mm512_unpackhi_epi32(v[0], v[1]);
  const Vector high23 = _mm512_unpackhi_epi32(v[2], v[3]);
  return {_mm512_unpacklo_epi64(low01, low23), _mm512_unpackhi_epi64(low01, low23),
          _mm512_unpacklo_epi64(high01, high23)};
}

ZVK_VBMI void merge(const Planes& planes, Vector top, Word* out) noexcept {
  const Vector low = _mm512_unpacklo_epi8(planes.blue, planes.green);
  const Vector high = _mm512_unpackhi_epi8(planes.blue, planes.green);
  const Vector lowRed = _mm512_unpacklo_epi8(planes.red, top);
  const Vector highRed = _mm512_unpackhi_epi8(planes.red, top);
  const Vector v[4] = {_mm512_unpacklo_epi16(low, lowRed), _mm512_unpackhi_epi16(low, lowRed),
                       _mm512_unpacklo_epi16(high, highRed), _mm512_unpackhi_epi16(high, highRed)};
  for (int32_t k = 0; k < 4; ++k) _mm512_storeu_si512(out + k * kVectorWords, v[k]);
}

}  // namespace

}  // namespace vbmi

ZVK_VBMI void ChannelTables::runVbmi(Word* out, int32_t count, uint32_t top,
                                     const Word* in) const noexcept {
  using namespace vbmi;
  const Table blue(bytes_[0]), green(bytes_[1]), red(bytes_[2]);
  const Vector tops = _mm512_set1_epi8(static_cast<char>(top >> 24));
  int32_t i = 0;
  for (; i + kVector <= count; i += kVector) {
    const Planes planes = split(in + i);
    merge({blue.lookUp(planes.blue), green.lookUp(planes.green), red.lookUp(planes.red)}, tops,
          out + i);
  }
  if (i == count) return;
  Word rest[kVector]{};
  memcpy(rest, in + i, static_cast<size_t>(count - i) * sizeof(Word));
  runVbmi(rest, kVector, top, rest);
  memcpy(out + i, rest, static_cast<size_t>(count - i) * sizeof(Word));
}

#endif

void ChannelTables::run(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept {
  switch (form()) {
    case Form::kBytes:
#if defined(__x86_64__)
      return runVbmi(out, count, top, in);
#endif
    case Form::kSteps:
      return runAvx2(out, count, top, in);
    case Form::kWords:
      return runPlain(out, count, top, in);
  }
}

}  // namespace pixels
