#include <cstring>

#include "frame/HostServices.h"
#include "frame/ValueHelpers.h"
#include "operations/Operations.h"
#include "pixels/ChannelTables.h"
#include "pixels/Histogram.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

constexpr int32_t kLevels = ChannelTables::kLevels;

/// The block's bytes, or null when it holds fewer than are needed. Where the host cannot tell its
/// size, the program is trusted.
uint8_t* bytesOf(REALmemoryBlockStruct* block, int32_t needed) noexcept {
  const HostLong size = memoryBlockSize(block);
  if (size >= 0 && size < needed) return nullptr;
  return static_cast<uint8_t*>(REALMemoryBlockGetPtr(block));
}

uint32_t colorBits(HostLong color) noexcept { return static_cast<uint32_t>(color) & kColorBits; }

void addCounters(uint8_t* block, const uint32_t (&counters)[kLevels]) noexcept {
  for (int32_t level = 0; level < kLevels; ++level) {
    uint32_t sum;
    memcpy(&sum, block + level * 4, sizeof sum);
    sum += counters[level];
    memcpy(block + level * 4, &sum, sizeof sum);
  }
}

/// The number of pixels counted into the blocks, or -1.
HostLong countInto(REALpictureStruct* self, REALmemoryBlockStruct* red, REALmemoryBlockStruct* blue,
                   REALmemoryBlockStruct* green) noexcept {
  constexpr int32_t kBlockBytes = kLevels * 4;
  if (red == nullptr || blue == nullptr || green == nullptr) return -1;
  ScopedReader reader(self);
  if (!reader) return -1;
  uint8_t* redBytes = bytesOf(red, kBlockBytes);
  uint8_t* blueBytes = bytesOf(blue, kBlockBytes);
  uint8_t* greenBytes = bytesOf(green, kBlockBytes);
  if (redBytes == nullptr || blueBytes == nullptr || greenBytes == nullptr) return -1;
  Histogram histogram;
  const int64_t count = histogram.count(reader.editor());
  addCounters(redBytes, histogram.red());
  addCounters(blueBytes, histogram.blue());
  addCounters(greenBytes, histogram.green());
  return static_cast<HostLong>(count);
}

/// The first of TransformColorsZVK's arguments that is nil, as its message says it; null when none
/// is.
const char* missingArgument(REALpictureStruct* self, REALmemoryBlockStruct* red,
                            REALmemoryBlockStruct* blue, REALmemoryBlockStruct* green) noexcept {
  if (self == nullptr) return "picture is nil";
  if (red == nullptr) return "red memoryblock is nil";
  if (green == nullptr) return "green memoryblock is nil";
  if (blue == nullptr) return "blue memoryblock is nil";
  return nullptr;
}

struct ReplaceColor {
  IsColor searched;
  uint32_t replacement;

  uint32_t operator()(uint32_t word) const noexcept {
    return searched(word) ? replacement : word & kColorBits;
  }
};

struct ExtractColor {
  IsColor searched;
  uint32_t replacement, background;

  uint32_t operator()(uint32_t word) const noexcept {
    return searched(word) ? replacement : background;
  }
};

}  // namespace

HostLong CountColorZVK(REALpictureStruct* self, HostLong color) noexcept {
  ScopedReader reader(self);
  if (!reader) return 0;
  const IsColor test{colorBits(color)};
  return static_cast<HostLong>(countPixels(reader.editor(), wholeOf(reader.editor()), test));
}

void CountColorsZVK(REALpictureStruct* self, REALmemoryBlockStruct** red,
                    REALmemoryBlockStruct** blue, REALmemoryBlockStruct** green,
                    HostLong* count) noexcept {
  for (REALmemoryBlockStruct** block : {red, blue, green}) {
    if (block != nullptr && *block == nullptr) *block = REALNewMemoryBlock(kLevels * 4);
  }
  const bool given = red != nullptr && blue != nullptr && green != nullptr;
  const HostLong counted = given ? countInto(self, *red, *blue, *green) : -1;
  if (count != nullptr) *count = counted;
}

REALpictureStruct* TransformColorsZVK(REALpictureStruct* self, REALmemoryBlockStruct* red,
                                      REALmemoryBlockStruct* blue,
                                      REALmemoryBlockStruct* green) noexcept {
  if (const char* message = missingArgument(self, red, blue, green)) {
    RaiseException("NilObjectException", message);
    return nullptr;
  }
  ScopedReader reader(self);
  if (!reader) return nullptr;
  ScopedWriter writer(reader.width(), reader.height());
  if (!writer) return nullptr;
  // Asked for last, so that nothing the host does while opening pictures can move the bytes.
  const uint8_t* redBytes = bytesOf(red, kLevels);
  const uint8_t* greenBytes = bytesOf(green, kLevels);
  const uint8_t* blueBytes = bytesOf(blue, kLevels);
  if (redBytes == nullptr || greenBytes == nullptr || blueBytes == nullptr) return nullptr;
  const ChannelTables tables(redBytes, greenBytes, blueBytes);
  mapPixels(reader.editor(), writer.editor(), LookUp{&tables});
  return writer.render();
}

REALpictureStruct* ReplaceColorZVK(REALpictureStruct* self, HostLong searchColor,
                                   HostLong replaceWithColor) noexcept {
  return mappedPicture(self, ReplaceColor{{colorBits(searchColor)}, colorBits(replaceWithColor)});
}

REALpictureStruct* ExtractColorZVK(REALpictureStruct* self, HostLong searchColor,
                                   HostLong replaceWithColor, HostLong backGroundColor) noexcept {
  const ExtractColor extract{
      {colorBits(searchColor)}, colorBits(replaceWithColor), colorBits(backGroundColor)};
  ScopedReader reader(self);
  if (!reader) return nullptr;
  return plainPicture(reader,
                      [&](PictureEditor& writer) { mapPixels(reader.editor(), writer, extract); });
}
