#include "PictureHelpers.h"

#include <algorithm>
#include <cstring>

#include "frame/HostCall.h"
#include "frame/HostServices.h"
#include "frame/HostState.h"

namespace {

/// Hosts before this version keep a description locked when they refuse to deliver it, and may have
/// a drawing service of their own.
constexpr double kCleanLockVersion = 2012.0;
/// First host version with pictures that have an alpha channel.
constexpr double kAlphaChannelVersion = 2011.04;

constexpr char kConstructor[] = "Constructor(width as integer, height as integer)";
constexpr char kDrawPicture[] =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, "
    "sx as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";

int32_t integerProperty(REALpictureStruct* picture, const char* name) noexcept {
  if (picture == nullptr) return 0;
  HostLong value = 0;
  return REALGetPropValue(asObject(picture), name, &value) ? static_cast<int32_t>(value) : 0;
}

/// Old hosts are asked for a drawing service of their own. What parameters it takes is not known,
/// so it is never called.
void askForOldDrawingService() noexcept {
  constexpr FixedString kEntry = "RuntimeGraphicsDrawPicture";
  if (rbversion < kCleanLockVersion) serviceSlot<kEntry, void()>.resolve(kEntry.text);
}

/// A locked description of a host pixel record, unlocked at the end of its scope.
class LockedRecord {
 public:
  explicit LockedRecord(REALpictureStruct* picture) noexcept
      : picture_(picture),
        locked_(REALLockPictureDescriptionX(picture, &description_, kDescriptionPixelRecord)) {}
  ~LockedRecord() {
    if (locked_) REALUnlockPictureDescription(picture_);
  }
  LockedRecord(const LockedRecord&) = delete;
  LockedRecord& operator=(const LockedRecord&) = delete;

  [[nodiscard]] bool locked() const noexcept { return locked_; }
  /// The record, or null when the rows cannot be used.
  [[nodiscard]] const HostPixelRecord* record() const noexcept {
    if (!locked_ || description_.kind != kDescriptionPixelRecord) return nullptr;
    const auto* record = static_cast<const HostPixelRecord*>(description_.data);
    const bool usable = record != nullptr && record->type == 0 && record->rowStarts != nullptr;
    return usable ? record : nullptr;
  }

 private:
  REALpictureStruct* picture_;
  REALpictureDescription description_{};
  bool locked_;
};

bool copyRows(const HostPixelRecord* destination, const HostPixelRecord* source) noexcept {
  if (destination == nullptr || source == nullptr) return false;
  if (destination->width != source->width || destination->height != source->height) return false;
  const size_t rowBytes = static_cast<size_t>(std::max(source->width, 0)) * 4;
  for (int32_t y = 0; y < source->height; ++y) {
    uint8_t* to = destination->rowStarts[y];
    const uint8_t* from = source->rowStarts[y];
    if (to != nullptr && from != nullptr) memmove(to, from, rowBytes);
  }
  return true;
}

}  // namespace

REALpictureStruct* NewPicture(int width, int height, signed char alpha) noexcept {
  if (width < 1 || height < 1) return nullptr;
  if (alpha) {
    if (REALpictureStruct* picture = NewPictureWithAlphaChannel(width, height)) return picture;
  }
  return REALNewPicture(width, height, 32);
}

REALpictureStruct* NewPictureWithAlphaChannel(int width, int height) noexcept {
  if (width < 1 || height < 1 || !(rbversion >= kAlphaChannelVersion)) return nullptr;
  REALobjectStruct* instance = REALnewInstance("Picture");
  if (instance == nullptr) return nullptr;
  using Constructor = void(REALobjectStruct*, HostLong, HostLong);
  auto* constructor = reinterpret_cast<Constructor*>(REALLoadObjectMethod(instance, kConstructor));
  if (constructor == nullptr) {
    REALUnlockObject(instance);
    return nullptr;
  }
  constructor(instance, width, height);
  return reinterpret_cast<REALpictureStruct*>(instance);
}

REALpictureStruct* ClonePicture(REALpictureStruct* source) noexcept {
  if (source == nullptr) return nullptr;
  return ClonePicture(source, GetPictureWidth(source), GetPictureHeight(source));
}

REALpictureStruct* ClonePicture(REALpictureStruct* source, int width, int height) noexcept {
  if (source == nullptr || width < 1 || height < 1) return nullptr;
  REALpictureStruct* clone = REALNewPicture(width, height, 32);
  if (clone == nullptr) return nullptr;
  REALgraphicsStruct* graphics = REALGetPictureGraphics(clone);
  if (graphics == nullptr) return clone;
  GraphicsDrawPicture(graphics, clone, source, 0, 0, width, height, 0, 0, width, height);
  REALUnlockObject(asObject(graphics));
  return clone;
}

REALpictureStruct* ClonePictureWithMask(REALpictureStruct* source) noexcept {
  if (source == nullptr) return nullptr;
  return ClonePictureWithMask(source, GetPictureWidth(source), GetPictureHeight(source));
}

REALpictureStruct* ClonePictureWithMask(REALpictureStruct* source, int width, int height) noexcept {
  if (source == nullptr || width < 1 || height < 1) return nullptr;
  REALpictureStruct* clone = REALNewPicture(width, height, 32);
  if (clone == nullptr) return nullptr;
  GraphicsDrawPicture(clone, source, 0, 0, width, height, 0, 0, width, height);
  REALpictureStruct* mask = REALGetPictureMask(source, false);
  if (mask == nullptr) return clone;
  if (REALpictureStruct* newMask = REALGetPictureMask(clone, true)) {
    GraphicsDrawPicture(newMask, mask, 0, 0, width, height, 0, 0, width, height);
    REALUnlockObject(asObject(newMask));
  }
  REALUnlockObject(asObject(mask));
  return clone;
}

HostBoolean GraphicsDrawPicture(REALgraphicsStruct* graphics, REALpictureStruct* destination,
                                REALpictureStruct* source, HostLong x, HostLong y, HostLong w,
                                HostLong h, HostLong sx, HostLong sy, HostLong sw,
                                HostLong sh) noexcept {
  if (graphics != nullptr && source != nullptr) {
    using Method = void(REALgraphicsStruct*, REALpictureStruct*, HostLong, HostLong, HostLong,
                        HostLong, HostLong, HostLong, HostLong, HostLong);
    auto* method =
        reinterpret_cast<Method*>(REALLoadObjectMethod(asObject(graphics), kDrawPicture));
    if (method != nullptr) {
      method(graphics, source, x, y, w, h, sx, sy, sw, sh);
      return true;
    }
    askForOldDrawingService();
  }
  return OwnCopy(destination, source, x, y, w, h, sx, sy, sw, sh);
}

HostBoolean GraphicsDrawPicture(REALpictureStruct* destination, REALpictureStruct* source,
                                HostLong x, HostLong y, HostLong w, HostLong h, HostLong sx,
                                HostLong sy, HostLong sw, HostLong sh) noexcept {
  REALgraphicsStruct* graphics = REALGetPictureGraphics(destination);
  const HostBoolean drawn =
      GraphicsDrawPicture(graphics, destination, source, x, y, w, h, sx, sy, sw, sh);
  if (graphics != nullptr) REALUnlockObject(asObject(graphics));
  return drawn;
}

HostBoolean OwnCopy(REALpictureStruct* destination, REALpictureStruct* source, HostLong x,
                    HostLong y, HostLong w, HostLong h, HostLong sx, HostLong sy, HostLong sw,
                    HostLong sh) noexcept {
  if (destination == nullptr || source == nullptr) return false;
  if (sw != w || sh != h || x != 0 || y != 0 || sx != 0 || sy != 0) return false;
  bool copied = false;
  {
    const LockedRecord from(source);
    if (!from.locked()) return false;
    copied = copyRows(LockedRecord(destination).record(), from.record());
  }
  REALPictureClearCache(destination);
  return copied;
}

int32_t GetPictureWidth(REALpictureStruct* picture) noexcept {
  return integerProperty(picture, "Width");
}

int32_t GetPictureHeight(REALpictureStruct* picture) noexcept {
  return integerProperty(picture, "Height");
}

REALpictureStruct* BitmapPicture(REALpictureStruct* picture) noexcept {
  if (picture == nullptr || !hostAddsReferences()) return nullptr;
  REALLockObject(asObject(picture));
  return picture;
}

HostBoolean PictureHasAlphaChannel(REALpictureStruct* picture) noexcept {
  HostBoolean value = false;
  return REALGetPropValue(asObject(picture), "HasAlphaChannel", &value) && value;
}

int32_t GetPictureLockCount(REALpictureStruct* picture) noexcept {
  return picture == nullptr ? 0 : reinterpret_cast<const HostObjectHeader*>(picture)->lockCount;
}

void REALUnlockPictureDescriptionAfterFailure(REALpictureStruct* picture) noexcept {
  if (rbversion < kCleanLockVersion) REALUnlockPictureDescription(picture);
}

HostBoolean REALLockPictureDescriptionX(REALpictureStruct* picture,
                                        REALpictureDescription* description,
                                        HostLong kind) noexcept {
  const HostBoolean locked = REALLockPictureDescription(picture, description, kind);
  if (!locked) REALUnlockPictureDescriptionAfterFailure(picture);
  return locked;
}
