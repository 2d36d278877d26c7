// Host pictures made, copied and asked. All routines are exported; a returned picture carries one
// reference for the caller, null says that it could not be made. Sizes and places are in pixels.
#pragma once

#include "frame/Abi.h"
#include "frame/HostServices.h"

/// With `alpha`, a picture with alpha channel where the host can make one, else without.
ZVK_EXPORT REALpictureStruct* NewPicture(int width, int height, signed char alpha) noexcept;
/// Null on hosts before version 2011.04.
ZVK_EXPORT REALpictureStruct* NewPictureWithAlphaChannel(int width, int height) noexcept;

/// A new picture into which the source was drawn: all of it, or its top left part, unscaled.
ZVK_EXPORT REALpictureStruct* ClonePicture(REALpictureStruct* source) noexcept;
ZVK_EXPORT REALpictureStruct* ClonePicture(REALpictureStruct* source, int width,
                                           int height) noexcept;
/// The same with its separate mask, if it has one.
ZVK_EXPORT REALpictureStruct* ClonePictureWithMask(REALpictureStruct* source) noexcept;
ZVK_EXPORT REALpictureStruct* ClonePictureWithMask(REALpictureStruct* source, int width,
                                                   int height) noexcept;

/// Draws the rectangle sx, sy, sw, sh of `source` into x, y, w, h of `destination` through the
/// host's DrawPicture method, or copies as OwnCopy where there is none. True when drawn or copied.
ZVK_EXPORT HostBoolean GraphicsDrawPicture(REALgraphicsStruct* graphics,
                                           REALpictureStruct* destination,
                                           REALpictureStruct* source, HostLong x, HostLong y,
                                           HostLong w, HostLong h, HostLong sx, HostLong sy,
                                           HostLong sw, HostLong sh) noexcept;
ZVK_EXPORT HostBoolean GraphicsDrawPicture(REALpictureStruct* destination,
                                           REALpictureStruct* source, HostLong x, HostLong y,
                                           HostLong w, HostLong h, HostLong sx, HostLong sy,
                                           HostLong sw, HostLong sh) noexcept;

/// Copies a whole picture, row by row, between two host pixel records of one size. False, with
/// nothing copied, when an offset is not 0, sizes differ, or the pictures are stored otherwise.
ZVK_EXPORT HostBoolean OwnCopy(REALpictureStruct* destination, REALpictureStruct* source,
                               HostLong x, HostLong y, HostLong w, HostLong h, HostLong sx,
                               HostLong sy, HostLong sw, HostLong sh) noexcept;

/// 0 for nil, or when the host cannot tell.
ZVK_EXPORT int32_t GetPictureWidth(REALpictureStruct* picture) noexcept;
ZVK_EXPORT int32_t GetPictureHeight(REALpictureStruct* picture) noexcept;

/// The same picture with one more reference.
ZVK_EXPORT REALpictureStruct* BitmapPicture(REALpictureStruct* picture) noexcept;
/// False when the host cannot tell.
ZVK_EXPORT HostBoolean PictureHasAlphaChannel(REALpictureStruct* picture) noexcept;
ZVK_EXPORT int32_t GetPictureLockCount(REALpictureStruct* picture) noexcept;

/// Gives back the lock that hosts before version 2012.0 keep after a refused description.
ZVK_EXPORT void REALUnlockPictureDescriptionAfterFailure(REALpictureStruct* picture) noexcept;

/// Locks a picture description of this kind. Hosts before version 2012.0 keep the lock when they
/// refuse; it is given back here.
ZVK_EXPORT HostBoolean REALLockPictureDescriptionX(REALpictureStruct* picture,
                                                   REALpictureDescription* description,
                                                   HostLong kind) noexcept;

/// A picture's separate mask picture over the life of a scope; without picture when there is none.
class SeparateMask {
 public:
  explicit SeparateMask(REALpictureStruct* self) noexcept
      : picture_(self != nullptr ? REALGetPictureMask(self, false) : nullptr) {}
  ~SeparateMask() {
    if (picture_ != nullptr) REALUnlockObject(asObject(picture_));
  }
  SeparateMask(const SeparateMask&) = delete;
  SeparateMask& operator=(const SeparateMask&) = delete;

  [[nodiscard]] REALpictureStruct* picture() const noexcept { return picture_; }

 private:
  REALpictureStruct* picture_;
};
