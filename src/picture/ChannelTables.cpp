#include "picture/ChannelTables.h"

#include <cstring>

#include "picture/ByteVectors.h"

namespace pixels {

ChannelTables::ChannelTables(const uint8_t* red, const uint8_t* green,
                             const uint8_t* blue) noexcept {
  uint32_t entries[kLevels];
  for (int32_t level = 0; level < kLevels; ++level) {
    entries[level] = pack({red[level], green[level], blue[level]});
  }
  setTables(entries);
}

void ChannelTables::setTables(const Word* entries) noexcept {
  const bool inBytes = hasByteVectors();
  for (int32_t channel = 0; channel < 3; ++channel) {
    const int shift = 8 * channel;
    for (int32_t i = 0; inBytes && i < kLevels; ++i) {
      bytes_[channel][i] = static_cast<uint8_t>(entries[i] >> shift);
    }
    for (int32_t i = 0; !inBytes && i < kLevels; ++i) {
      words_[channel][i] = entries[i] & 0xFFU << shift;
    }
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

#if defined(__x86_64__)

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

ZVK_VBMI void ChannelTables::runVbmi(Word* out, int32_t count, uint32_t top,
                                     const Word* in) const noexcept {
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
#if defined(__x86_64__)
  if (hasByteVectors()) return runVbmi(out, count, top, in);
#endif
  runPlain(out, count, top, in);
}

}  // namespace pixels
