#include "PictureEditor.h"

#include <cstdlib>
#include <iterator>
#include <limits>

#include "frame/HostServices.h"
#include "frame/HostState.h"
#include "picture/PictureHelpers.h"

namespace {

constexpr int kMaxPlainSize = 32767;

struct FormatLayout {
  int8_t bytesPerPixel, red, green, blue;
};

constexpr FormatLayout kFormatLayouts[] = {
    {0, 0, 0, 0},  // 0
    {4, 0, 1, 2},  // 1
    {4, 1, 2, 3},  // 2
    {4, 0, 1, 2},  // 3
    {4, 1, 2, 3},  // 4
    {4, 0, 1, 2},  // 5
    {4, 1, 2, 3},  // 6
    {0, 0, 0, 0},  // 7
    {4, 2, 1, 0},  // 8
    {4, 2, 1, 0},  // 9
    {3, 2, 1, 0},  // 10
    {3, 0, 1, 2},  // 11
    {3, 0, 1, 2},  // 12
    {4, 1, 2, 3},  // 13
    {4, 2, 1, 0},  // 14
    {4, 2, 1, 0},  // 15
    {4, 2, 1, 0},  // 16
};

const FormatLayout& layoutOf(const PictureEditor& e) noexcept {
  const auto code = static_cast<uint32_t>(e.pixelFormat);
  return kFormatLayouts[code < std::size(kFormatLayouts) ? code : 0];
}

bool rowsHold(int32_t rowBytes, int32_t width, int32_t bytesPerPixel) noexcept {
  return rowBytes >= static_cast<int64_t>(width) * bytesPerPixel;
}

// Each fill... reads a locked description into the editor; false when it is not what it should be.

bool fillFromCairo(PictureEditor& e) noexcept {
  auto* context = static_cast<_cairo*>(e.description.data);
  if (e.description.kind != kDescriptionCairo || context == nullptr || !LoadCairo()) return false;
  _cairo_surface* surface = _cairo_get_target(context);
  if (surface == nullptr) return false;
  e.base = _cairo_image_surface_get_data(surface);
  e.width = _cairo_image_surface_get_width(surface);
  e.height = _cairo_image_surface_get_height(surface);
  e.rowBytes = _cairo_image_surface_get_stride(surface);
  e.bytesPerPixel = 4;
  e.pixelFormat = e.hasAlpha ? kPixelFormatCairoARGB : kPixelFormatCairoRGB;
  // Surfaces of fewer bits per pixel have rows too short for what is read from them.
  return e.base != nullptr && e.width >= 1 && e.height >= 1 &&
         rowsHold(e.rowBytes, e.width, e.bytesPerPixel);
}

bool fillFromDrawable(PictureEditor& e) noexcept {
  auto* drawable = static_cast<_GdkDrawable*>(e.description.data);
  if (e.description.kind != kDescriptionDrawable || drawable == nullptr || !LoadGTK()) return false;
  e.width = e.description.width;
  e.height = e.description.height;
  // GDK prints a complaint about these.
  if (e.width < 1 || e.height < 1) return false;
  e.pixbuf =
      _gdk_pixbuf_get_from_drawable(nullptr, drawable, nullptr, 0, 0, 0, 0, e.width, e.height);
  if (e.pixbuf == nullptr) return false;
  e.base = _gdk_pixbuf_get_pixels(e.pixbuf);
  e.rowBytes = _gdk_pixbuf_get_rowstride(e.pixbuf);
  e.bytesPerPixel = 3;
  e.pixelFormat = kPixelFormatPixbufRGB;
  if (e.base != nullptr && rowsHold(e.rowBytes, e.width, e.bytesPerPixel)) return true;
  _gdk_pixbuf_unref(e.pixbuf);
  e.pixbuf = nullptr;
  return false;
}

bool fillFromPixelRecord(PictureEditor& e) noexcept {
  const auto* record = static_cast<const HostPixelRecord*>(e.description.data);
  if (e.description.kind != kDescriptionPixelRecord || record == nullptr) return false;
  if (!e.hasAlpha && record->type != 0) return false;
  if (record->hostPixels == nullptr || record->rowStarts == nullptr) return false;
  e.width = e.description.width;
  e.height = e.description.height;
  e.bytesPerPixel = 4;
  if (e.width > std::numeric_limits<int32_t>::max() / e.bytesPerPixel) return false;
  e.rowBytes = static_cast<int32_t>(static_cast<uint32_t>(e.width) * 4U);
  e.pixelFormat = kPixelFormatHostBuffer;
  e.rowTable = record->rowStarts;
  e.base = e.height >= 1 ? e.rowTable[0] : nullptr;
  return true;
}

/// The end of every successful opening.
bool holdPicture(PictureEditor& e, REALpictureStruct* picture) noexcept {
  REALLockObject(asObject(picture));
  e.picture = picture;
  e.y = 0;
  e.row = e.base;
  return true;
}

enum class Attempt { kRefused, kFailed, kOpen };

/// One way to open a picture: lock a kind of description, note what kind of application delivers
/// it, read it. A refused lock leaves the way open for other kinds, a description that cannot be
/// read does not.
Attempt tryToOpen(PictureEditor& e, REALpictureStruct* picture, PictureDescriptionKind kind,
                  HostBoolean& application, bool (*fill)(PictureEditor&) noexcept) noexcept {
  if (!REALLockPictureDescriptionX(picture, &e.description, kind)) return Attempt::kRefused;
  application = true;
  if (fill(e)) {
    holdPicture(e, picture);
    return Attempt::kOpen;
  }
  REALUnlockPictureDescription(picture);
  return Attempt::kFailed;
}

bool openPixelRecord(PictureEditor& e, REALpictureStruct* picture) noexcept {
  if (IsDesktop) return false;
  return tryToOpen(e, picture, kDescriptionPixelRecord, IsConsole, fillFromPixelRecord) ==
         Attempt::kOpen;
}

bool openWithAlpha(PictureEditor& e, REALpictureStruct* picture) noexcept {
  if (!IsConsole) {
    const Attempt cairo = tryToOpen(e, picture, kDescriptionCairo, IsDesktop, fillFromCairo);
    if (cairo != Attempt::kRefused) return cairo == Attempt::kOpen;
  }
  return openPixelRecord(e, picture);
}

bool openDrawnCopy(PictureEditor& e, REALpictureStruct* clone) noexcept {
  // A copy of a copy would be no easier to read, so the copy is opened without copies allowed.
  const bool open = GetPictureReader(e, clone, false, false) != 0;
  REALUnlockObject(asObject(clone));
  return open;
}

bool openWithoutAlpha(PictureEditor& e, REALpictureStruct* picture, bool allowClone) noexcept {
  if (!IsConsole) {
    const Attempt cairo = tryToOpen(e, picture, kDescriptionCairo, IsDesktop, fillFromCairo);
    if (cairo != Attempt::kRefused) return cairo == Attempt::kOpen;
    const Attempt drawable =
        tryToOpen(e, picture, kDescriptionDrawable, IsDesktop, fillFromDrawable);
    if (drawable != Attempt::kRefused) return drawable == Attempt::kOpen;
    if (allowClone && !e.clearCacheOnClose) {
      REALpictureStruct* clone = ClonePicture(picture);
      if (clone != nullptr) return openDrawnCopy(e, clone);
    }
  }
  return openPixelRecord(e, picture);
}

/// Turns a writer whose picture is only available as a copy into a buffer writer.
bool openBufferInstead(PictureEditor& e, int width, int height) noexcept {
  ClosePictureReader(e);
  return NewPictureWriterLinux(e, width, height) != 0;
}

void close(PictureEditor& e) noexcept {
  if (e.pixbuf != nullptr && _gdk_pixbuf_unref != nullptr) _gdk_pixbuf_unref(e.pixbuf);
  e.pixbuf = nullptr;
  if (e.picture != nullptr) {
    REALUnlockPictureDescription(e.picture);
    if (e.clearCacheOnClose) REALPictureClearCache(e.picture);
    REALUnlockObject(asObject(e.picture));
    e.picture = nullptr;
  }
  free(e.ownBuffer);
  e.ownBuffer = nullptr;
}

}  // namespace

HostBoolean GetPictureReader(PictureEditor& e, REALpictureStruct* picture, signed char allowClone,
                             signed char forWriting) noexcept {
  e = {};
  if (picture == nullptr || !hostAddsReferences()) return false;
  e.clearCacheOnClose = forWriting != 0;
  if (!IsConsole && !IsDesktop) CheckApplication();
  e.hasAlpha = PictureHasAlphaChannel(picture) != 0;
  return e.hasAlpha ? openWithAlpha(e, picture) : openWithoutAlpha(e, picture, allowClone != 0);
}

HostBoolean GetPictureReader(PictureEditor& e, REALpictureStruct* picture) noexcept {
  return GetPictureReader(e, picture, true, false);
}

HostBoolean GetPictureEditor(PictureEditor& e, REALpictureStruct* picture) noexcept {
  e = {};
  if (!GetPictureReader(e, picture, true, true)) return false;
  if (e.pixelFormat != kPixelFormatPixbufRGB) return true;
  ClosePictureEditor(e);
  return false;
}

HostBoolean NewPictureWriter(PictureEditor& e, int width, int height) noexcept {
  e = {};
  if (width < 1 || width > kMaxPlainSize || height < 1 || height > kMaxPlainSize) return false;
  REALpictureStruct* picture = REALNewPicture(width, height, 32);
  if (picture == nullptr) return false;
  bool open = GetPictureReader(e, picture, false, true) != 0;
  if (open && e.pixelFormat == kPixelFormatPixbufRGB) open = openBufferInstead(e, width, height);
  REALUnlockObject(asObject(picture));
  return open;
}

HostBoolean NewPictureWriter(PictureEditor& e, REALpictureStruct* target, int width,
                             int height) noexcept {
  e = {};
  if (target != nullptr && GetPictureWidth(target) >= width && GetPictureHeight(target) >= height &&
      GetPictureReader(e, target, false, true)) {
    if (e.pixelFormat != kPixelFormatPixbufRGB) return true;
    return openBufferInstead(e, width, height);
  }
  return NewPictureWriter(e, width, height);
}

HostBoolean NewPictureWriterWithAlphaChannel(PictureEditor& e, int width, int height) noexcept {
  e = {};
  REALpictureStruct* picture = NewPictureWithAlphaChannel(width, height);
  if (picture == nullptr) return false;
  const bool open = GetPictureReader(e, picture, false, true) != 0;
  REALUnlockObject(asObject(picture));
  return open;
}

HostBoolean NewPictureWriter(PictureEditor& e, PictureEditor& like, int width,
                             int height) noexcept {
  return like.hasAlpha ? NewPictureWriterWithAlphaChannel(e, width, height)
                       : NewPictureWriter(e, width, height);
}

HostBoolean NewPictureWriter(PictureEditor& e, PictureEditor& like) noexcept {
  return NewPictureWriter(e, like, like.width, like.height);
}

HostBoolean NewPictureWriter(PictureEditor& e, int width, int height, signed char alpha) noexcept {
  if (alpha && NewPictureWriterWithAlphaChannel(e, width, height)) return true;
  return NewPictureWriter(e, width, height);
}

HostBoolean NewPictureWriterLinux(PictureEditor& e, HostLong width, HostLong height) noexcept {
  if (width < 0 || height < 0) return false;
  const int64_t rowBytes = int64_t{width} * 3;
  const int64_t size = (int64_t{height} + 1) * rowBytes;
  if (size > std::numeric_limits<int32_t>::max()) return false;
  auto* buffer = static_cast<uint8_t*>(calloc(1, static_cast<size_t>(size)));
  if (buffer == nullptr) return false;
  e.row = e.base = e.ownBuffer = buffer;
  e.width = static_cast<int32_t>(width);
  e.height = static_cast<int32_t>(height);
  e.rowBytes = static_cast<int32_t>(rowBytes);
  e.bytesPerPixel = 3;
  e.pixelFormat = kPixelFormatPixbufRGB;
  e.y = 0;
  return true;
}

REALpictureStruct* RenderPictureWriter(PictureEditor& e) noexcept {
  REALpictureStruct* result = e.picture;
  if (result != nullptr) {
    REALLockObject(asObject(result));
  } else if (e.ownBuffer != nullptr) {
    result =
        REALBuildPictureFromBuffer(e.width, e.height, kPixelTypeRGB24, e.ownBuffer, e.rowBytes);
  }
  close(e);
  if (result != nullptr) REALPictureClearCache(result);
  return result;
}

void ClosePictureReader(PictureEditor& e) noexcept { close(e); }
void ClosePictureEditor(PictureEditor& e) noexcept { close(e); }
void FreePictureWriter(PictureEditor& e) noexcept { close(e); }

int32_t GetBytesPerPixel(PictureEditor& e) noexcept { return layoutOf(e).bytesPerPixel; }
int32_t GetRedOffset(PictureEditor& e) noexcept { return layoutOf(e).red; }
int32_t GetGreenOffset(PictureEditor& e) noexcept { return layoutOf(e).green; }
int32_t GetBlueOffset(PictureEditor& e) noexcept { return layoutOf(e).blue; }
