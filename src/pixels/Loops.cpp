#include "pixels/Loops.h"

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

}  // namespace

bool isSeamless(const PictureEditor& e) noexcept {
  // Far from where offsets in 32 bits end.
  constexpr int64_t kMostPixels = 1 << 28;
  return e.width >= 1 && e.height >= 1 && int64_t{e.width} * e.height <= kMostPixels &&
         e.rowBytes == e.width * e.bytesPerPixel && isOnePiece(e, wholeOf(e));
}

bool isStreamed(const PictureEditor& writer, const Region& region) noexcept {
  const int64_t bytes = int64_t{region.width()} * writer.bytesPerPixel;
  return !holdsTriples(writer) && isWorthStreaming(bytes, region.height()) &&
         isOnePiece(writer, region) &&
         prepareStreaming({.start = rowAddress(writer, region.top),
                           .rowBytes = writer.rowBytes,
                           .usedBytes = bytes,
                           .rows = region.height()});
}

}  // namespace pixels
