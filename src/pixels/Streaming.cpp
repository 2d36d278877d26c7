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

#if defined(ZVK_STREAM_ALL)
// A build for tests, in which every result takes this way.
constexpr int64_t kStreamedBytes = 1, kStreamedRow = 1;
#else
/// Results from this many bytes on are streamed. Of smaller ones a cache still holds a part when
/// the program looks at them.
constexpr int64_t kStreamedBytes = 16 << 20;
/// Of shorter rows too little is whole cache lines.
constexpr int64_t kStreamedRow = 2048;
#endif

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

bool prepareStreaming(const Result& result) noexcept {
  if (result.usedBytes < kStreamedRow || result.usedBytes * result.rows < kStreamedBytes) {
    return false;
  }
  const int64_t bytes = (result.rows - 1) * result.rowBytes + result.usedBytes;
  // Memory is used from its start on, so a few pages tell whether all of it was.
  const bool used = isResident(result.start) && isResident(result.start + bytes / 2) &&
                    isResident(result.start + bytes - 1);
  // Where only a part of each row is written, the rest might never be needed.
  constexpr int64_t kPadding = 64;
  const bool wholeRows = result.usedBytes + kPadding > result.rowBytes;
  return used || (wholeRows && populate(result.start, bytes));
}

void streamBlock(uint8_t* out, const void* block, int32_t bytes, Sources sources) noexcept {
  const auto* from = static_cast<const uint8_t*>(block);
  const int32_t head = std::min((kLine - pastLine(out)) % kLine, bytes);
  memcpy(out, from, static_cast<size_t>(head));
  int32_t i = head;
  for (; i + kLine <= bytes; i += kLine) {
    streamLine(out + i, from + i);
    for (const uint8_t* source : sources) fetchAhead(source + i - head);
  }
  memcpy(out + i, from + i, static_cast<size_t>(bytes - i));
}

}  // namespace pixels
