#include "picture/PixelRows.h"

namespace pixels {

namespace {

/// Whether the region's rows follow each other in memory, in this order.
bool isOnePiece(const PictureEditor& e, const Region& region) noexcept {
  const int32_t rows = region.bottom - 1 - region.top;
  return rowAddress(e, region.bottom - 1) - rowAddress(e, region.top) ==
         static_cast<ptrdiff_t>(rows) * e.rowBytes;
}

bool prepareRegion(const PictureEditor& writer, const Region& region) noexcept {
  if (region.empty() || region.right - region.left < kBlock) return false;
  uint8_t* const first = rowAddress(writer, region.top);
  if (first == nullptr || !isOnePiece(writer, region)) return false;
  const int64_t rows = region.bottom - region.top;
  return prepareStreaming(first, rows * writer.rowBytes);
}

}  // namespace

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
