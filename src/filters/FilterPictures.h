// What both filter classes do with their pictures and their rectangle.
#pragma once

#include <algorithm>
#include <utility>

#include "filters/FilterClasses.h"
#include "frame/HostServices.h"
#include "pixels/Pixels.h"

namespace filters {

/// Puts `picture` into the field and releases what it held. The field is never seen with a picture
/// that is already released, whatever the host does in between.
inline void replacePicture(REALpictureStruct*& field, REALpictureStruct* picture) noexcept {
  REALpictureStruct* const old = std::exchange(field, picture);
  if (old != nullptr) REALUnlockObject(asObject(old));
}

/// Releases source and destination; doing so twice is harmless.
template <typename Data>
void releasePictures(Data& data) noexcept {
  replacePicture(data.sourcePicture, nullptr);
  replacePicture(data.destinationPicture, nullptr);
}

/// Where one axis of the region starts and ends, in pixels from the picture's edge. A negative
/// minimum counts as 0. The end is the maximum if that lies above the minimum and inside the
/// picture; else it is the picture's far edge.
constexpr std::pair<int32_t, int32_t> regionAxis(int32_t minimum, int32_t maximum,
                                                 int32_t length) noexcept {
  const int32_t start = std::max(minimum, 0);
  return {start, maximum > start && maximum < length ? maximum : length};
}

/// The region of pixels that the instance's rectangle selects. It lies at the same place in source
/// and destination.
template <typename Data>
pixels::Region regionOf(const Data& data, const PictureEditor& e) noexcept {
  const auto [left, right] = regionAxis(data.minX, data.maxX, e.width);
  const auto [top, bottom] = regionAxis(data.minY, data.maxY, e.height);
  return {left, top, right, bottom};
}

}  // namespace filters
