#include "pixels/Streaming.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>

// Newer than the headers that this may be built with.
#if !defined(MADV_POPULATE_WRITE)
#define MADV_POPULATE_WRITE 23
#endif

namespace pixels {

namespace {

/// Results from this many bytes on are streamed. Of smaller ones a cache still holds a part when
/// the program looks at them.
constexpr int64_t kStreamedBytes = 16 << 20;
/// Of shorter rows too little is whole cache lines.
constexpr int64_t kStreamedRow = 2048;

uint8_t* pageOf(uint8_t* address) noexcept {
  constexpr uintptr_t kPage = 4096;
  return address - reinterpret_cast<uintptr_t>(address) % kPage;
}

bool isResident(uint8_t* address) noexcept {
  unsigned char state = 0;
  return mincore(pageOf(address), 1, &state) == 0 && (state & 1) != 0;
}

/// Has the system hand out all pages at once, which costs it far less than one by one.
bool populate(uint8_t* start, int64_t bytes) noexcept {
  uint8_t* const page = pageOf(start);
  return madvise(page, static_cast<size_t>(start + bytes - page), MADV_POPULATE_WRITE) == 0;
}

}  // namespace

bool isWorthStreaming(int64_t rowBytes, int64_t rows) noexcept {
  return rowBytes >= kStreamedRow && rowBytes * rows >= kStreamedBytes;
}

bool prepareStreaming(const StreamedRows& rows) noexcept {
  if (reinterpret_cast<uintptr_t>(rows.start) % 4 != 0 || rows.rowBytes % 4 != 0) return false;
  const int64_t bytes = (rows.rows - 1) * rows.rowBytes + rows.usedBytes;
  // Memory is used from its start on, so a few pages tell whether all of it was.
  const bool used = isResident(rows.start) && isResident(rows.start + bytes / 2) &&
                    isResident(rows.start + bytes - 1);
  // Where only a part of each row is written, the rest might never be needed.
  constexpr int64_t kPadding = 64;
  const bool wholeRows = rows.usedBytes + kPadding > rows.rowBytes;
  return used || (wholeRows && populate(rows.start, bytes));
}

void streamCopy(uint32_t* out, const uint32_t* words, int32_t count) noexcept {
  constexpr int32_t kLineWords = kLine / 4;
  int32_t i = std::min(wordsToLine(out), count);
  memcpy(out, words, static_cast<size_t>(i) * 4);
  for (; i + kLineWords <= count; i += kLineWords) streamLine(out + i, words + i);
  memcpy(out + i, words + i, static_cast<size_t>(count - i) * 4);
}

}  // namespace pixels
