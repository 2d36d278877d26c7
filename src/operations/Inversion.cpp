#include "operations/Operations.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

struct Invert {
  uint32_t operator()(uint32_t word) const noexcept { return ~word & kColorBits; }
};

struct InvertGray {
  uint32_t operator()(uint32_t word) const noexcept {
    // Neighbouring channels of a grey pixel do not differ.
    const bool grey = ((word ^ word >> 8) & 0xFFFF) == 0;
    return (grey ? ~word : word) & kColorBits;
  }
};

/// Maps the pixels of the region that `regionOf(editor)` names.
template <typename RegionOf, typename F>
REALpictureStruct* mappedRegion(REALpictureStruct* self, RegionOf regionOf, F f) noexcept {
  return writtenPicture(self, [=](PictureEditor& reader, PictureEditor& writer) {
    mapPixels(reader, writer, regionOf(reader), f);
  });
}

}  // namespace

REALpictureStruct* InvertPicture2(REALpictureStruct* self) noexcept {
  return mappedPicture(self, Invert{});
}

REALpictureStruct* InvertPicture(REALpictureStruct* self, HostLong left, HostLong top,
                                 HostLong width, HostLong height) noexcept {
  const auto region = [=](const PictureEditor& e) {
    return clip(e, left, top, width > 0 ? width : e.width, height > 0 ? height : e.height);
  };
  return mappedRegion(self, region, Invert{});
}

REALpictureStruct* InvertGrayPicture2(REALpictureStruct* self) noexcept {
  return mappedPicture(self, InvertGray{});
}

REALpictureStruct* InvertGrayPicture(REALpictureStruct* self, HostLong left, HostLong top,
                                     HostLong width, HostLong height) noexcept {
  const auto region = [=](const PictureEditor& e) {
    return clip(e, left, top, width >= 0 ? width : e.width, height >= 0 ? height : e.height);
  };
  return mappedRegion(self, region, InvertGray{});
}
