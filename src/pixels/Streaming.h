// Writing of large results past the caches.
//
// A picture that no cache can hold pays twice for an ordinary write: each line of it is first read
// from memory. Streaming stores spare that. They want whole cache lines of memory that is there
// already: on pages that the system has yet to hand out they are the slower way.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace pixels {

inline constexpr int32_t kLine = 64;  ///< bytes of a cache line

/// Words from this address to the next cache line; 0 where one begins.
inline int32_t wordsToLine(const void* address) noexcept {
  return static_cast<int32_t>(-reinterpret_cast<uintptr_t>(address) % kLine / 4);
}

/// What is to be written: the first `usedBytes` bytes of rows that follow each other.
struct StreamedRows {
  uint8_t* start;
  int64_t rowBytes, usedBytes, rows;
};

/// Whether rows of so many bytes are large enough to be streamed.
bool isWorthStreaming(int64_t rowBytes, int64_t rows) noexcept;

/// Whether such rows can be streamed: their words begin where cache lines can, and their memory is
/// there. Where all of the rows will be written and their pages have yet to be
/// handed out, the system is asked for them at once; they keep what they hold.
bool prepareStreaming(const StreamedRows& rows) noexcept;

/// To be called before others may look at what was streamed.
inline void finishStreaming() noexcept { _mm_sfence(); }

/// Writes a cache line. `out` is the start of one.
[[gnu::always_inline]] inline void streamLine(void* out, const void* bytes) noexcept {
  auto* to = static_cast<__m128i*>(out);
  const auto* from = static_cast<const __m128i*>(bytes);
  for (int i = 0; i < 4; ++i) _mm_stream_si128(to + i, _mm_loadu_si128(from + i));
}

/// Copies words, whole cache lines past the caches.
void streamCopy(uint32_t* out, const uint32_t* words, int32_t count) noexcept;

/// Fetches what a source holds 4 KiB further on, whatever is there: nothing is read.
[[gnu::always_inline]] inline void fetchAhead(const void* source) noexcept {
  constexpr uintptr_t kAhead = 4096;
  // As a number: the address may lie behind the end of the source.
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(source) + kAhead));
}

/// Whether a loop that streams to `out` what it makes of `source` would stall. Processors take a
/// load for one of what was just stored where the low 12 bits of both addresses are the same, and
/// let it wait; behind a streaming store that is until memory has the line, which can take ten
/// times as long as all else. It happens where by these bits the result begins less than two lines
/// behind the source.
inline bool stallsOn(const void* out, const void* source) noexcept {
  constexpr uintptr_t kCompared = 4096;
  const auto to = reinterpret_cast<uintptr_t>(out), from = reinterpret_cast<uintptr_t>(source);
  return (to - from) % kCompared - 1 < 2 * kLine - 1;
}

}  // namespace pixels
