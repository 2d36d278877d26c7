#include "pixels/PixelRows.h"

namespace pixels {

namespace {

/// Whether each of the region's rows begins `rowBytes` behind the one before it.
bool isOnePiece(const PictureEditor& e, const Region& region) noexcept {
  if (e.rowTable == nullptr) return true;
  const auto place = [&e](int32_t y) { return reinterpret_cast<uintptr_t>(rowAddress(e, y)); };
  for (int32_t y = region.top + 1; y < region.bottom; ++y) {
    if (place(y) != place(y - 1) + static_cast<uintptr_t>(e.rowBytes)) return false;
  }
  return place(region.top) != 0;
}

bool prepareRegion(const PictureEditor& writer, const Region& region) noexcept {
  if (region.empty() || !isOnePiece(writer, region)) return false;
  const int64_t width = region.right - region.left;
  return prepareStreaming({.start = rowAddress(writer, region.top),
                           .rowBytes = writer.rowBytes,
                           .usedBytes = width * writer.bytesPerPixel,
                           .rows = region.bottom - region.top});
}

}  // namespace

bool isSeamless(const PictureEditor& e) noexcept {
  // Far from where offsets in 32 bits end.
  constexpr int64_t kMostPixels = 1 << 28;
  return e.width >= 1 && e.height >= 1 && int64_t{e.width} * e.height <= kMostPixels &&
         e.rowBytes == e.width * e.bytesPerPixel && isOnePiece(e, wholeOf(e));
}

Output::Output(PictureEditor& writer, const Region& region) noexcept
    : writer_(writer), streamed_(prepareRegion(writer, region)) {}

int32_t Output::blockLength(int32_t x, int32_t count) const noexcept {
  if (!streamed_) return std::min(kBlock, count);
  const uint8_t* const place = addressOf(writer_, x);
  const int32_t past = isPacked(writer_) ? triplesPastLine(place) : pastLine(place) / 4;
  return std::min(kBlock - past, count);
}

void Output::putBlock(int32_t x, int32_t count, Sources sources, const Word* words) noexcept {
  uint8_t* const place = addressOf(writer_, x);
  if (!isPacked(writer_)) return streamBlock(place, words, count * 4, sources);
  const auto pack = streamed_ ? streamTriples : packTriples;
  pack(words, place, count);
}

}  // namespace pixels
