#include "picture/ChannelTables.h"

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
  for (int32_t channel = 0; channel < 3; ++channel) {
    for (int32_t level = 0; level < kLevels; ++level) {
      const uint32_t value = entries[level] & 0xFFU << 8 * channel;
      words_[channel][level] = value;
      bytes_[channel][level] = static_cast<uint8_t>(value >> 8 * channel);
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

/// One table in four registers. A byte permutation looks 64 bytes up among 128 entries by the low 7
/// bits of each, so two of them and a choice by the top bit make one look-up.
struct Table {
  __m512i parts[4];

  ZVK_VBMI explicit Table(const uint8_t* bytes) noexcept {
    for (int part = 0; part < 4; ++part) parts[part] = _mm512_load_si512(bytes + part * 64);
  }
  [[nodiscard]] ZVK_VBMI __m512i lookUp(__m512i bytes, __mmask64 upperHalf) const noexcept {
    const __m512i lower = _mm512_permutex2var_epi8(parts[0], bytes, parts[1]);
    const __m512i upper = _mm512_permutex2var_epi8(parts[2], bytes, parts[3]);
    return _mm512_mask_blend_epi8(upperHalf, lower, upper);
  }
};

}  // namespace

// All 64 bytes go through all three tables; each byte keeps the result of its own channel.
ZVK_VBMI void ChannelTables::runVbmi(Word* out, int32_t count, uint32_t top,
                                     const Word* in) const noexcept {
  constexpr int32_t kRound = 16;
  constexpr __mmask64 kGreenBytes = 0x2222222222222222;
  constexpr __mmask64 kRedBytes = 0x4444444444444444;
  const Table blue(bytes_[0]);
  const Table green(bytes_[1]);
  const Table red(bytes_[2]);
  const __m512i tops = _mm512_set1_epi32(static_cast<int>(top));
  const __m512i colors = _mm512_set1_epi32(static_cast<int>(kColorBits));
  const auto mapped = [&](__m512i source) __attribute__((target("avx512f,avx512bw,avx512vbmi"))) {
    const __mmask64 upperHalf = _mm512_movepi8_mask(source);
    __m512i result = blue.lookUp(source, upperHalf);
    result = _mm512_mask_blend_epi8(kGreenBytes, result, green.lookUp(source, upperHalf));
    result = _mm512_mask_blend_epi8(kRedBytes, result, red.lookUp(source, upperHalf));
    return _mm512_or_si512(_mm512_and_si512(result, colors), tops);
  };
  int32_t i = 0;
  for (; i + kRound <= count; i += kRound) {
    _mm512_storeu_si512(out + i, mapped(_mm512_loadu_si512(in + i)));
  }
  const auto lanes = static_cast<__mmask16>((1U << (count - i)) - 1);
  _mm512_mask_storeu_epi32(out + i, lanes, mapped(_mm512_maskz_loadu_epi32(lanes, in + i)));
}

#endif

void ChannelTables::run(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept {
#if defined(__x86_64__)
  if (hasByteVectors()) return runVbmi(out, count, top, in);
#endif
  runPlain(out, count, top, in);
}

}  // namespace pixels
