// Row-by-row access to a host picture's pixels, whatever their storage. Opening an editor locks the
// picture and finds its rows; closing it unlocks the picture and tells the host when pixels
// changed.
//
// Three ways of opening: a reader (GetPictureReader; drawables are copied), an in-place editor
// (GetPictureEditor) and a writer (NewPictureWriter...: a new picture, or a buffer that becomes one
// when rendered). All results are booleans; a failed opening holds nothing.
#pragma once

#include "frame/Abi.h"
#include "picture/ToolkitLoader.h"

/// Storage of a picture's pixels. Others are known to the per-format table but never occur.
enum PixelFormat : int32_t {
  kPixelFormatHostBuffer = 8,  ///< 32-bit words 0xaaRRGGBB; aa is a 7-bit alpha, 127 for opaque
  kPixelFormatPixbufRGB = 11,  ///< 3 bytes: red, green, blue
  kPixelFormatCairoARGB = 14,  ///< 32-bit words 0xAARRGGBB
  kPixelFormatCairoRGB = 15,   ///< 32-bit words 0x..RRGGBB, the top byte without meaning
};

struct PictureEditor {
  int32_t rowBytes;  ///< from the start of one row to the start of the next
  int32_t width;     ///< pixels per row
  int32_t height;    ///< rows
  int32_t bytesPerPixel;
  int32_t pixelFormat;         ///< a PixelFormat
  uint8_t* row;                ///< first byte of the current row; moved by NextRow
  uint8_t* base;               ///< first byte of row 0
  uint8_t* ownBuffer;          ///< pixels of a buffer writer, freed when it is closed; else null
  REALpictureStruct* picture;  ///< the editor holds one reference; null for a buffer writer
  REALpictureDescription description;
  _GdkPixbuf* pixbuf;             ///< copy of a drawable's pixels, owned; else null
  uint8_t** rowTable;             ///< format 8: the host's table of row starts; else null
  int32_t y;                      ///< index of the current row
  HostBoolean hasAlpha;           ///< the picture has an alpha channel
  HostBoolean clearCacheOnClose;  ///< pixels are changed through this editor
};

#if defined(__i386__)
static_assert(offsetof(PictureEditor, row) == 20 && offsetof(PictureEditor, description) == 36);
#endif

/// Opens a reader. With `allowClone`, a picture that cannot be locked is read from a drawn copy;
/// with `forWriting`, closing tells the host that the pixels have changed.
ZVK_EXPORT HostBoolean GetPictureReader(PictureEditor& e, REALpictureStruct* picture,
                                        signed char allowClone, signed char forWriting) noexcept;
/// A reader with copies allowed, not for writing.
ZVK_EXPORT HostBoolean GetPictureReader(PictureEditor& e, REALpictureStruct* picture) noexcept;
/// Opens an in-place editor; false for pictures whose pixels are only available as a copy.
ZVK_EXPORT HostBoolean GetPictureEditor(PictureEditor& e, REALpictureStruct* picture) noexcept;

/// A new picture of 1..32767 by 1..32767 pixels, without alpha channel.
ZVK_EXPORT HostBoolean NewPictureWriter(PictureEditor& e, int width, int height) noexcept;
/// Writes into `target` when it is large enough and can be changed in place (the writer then has
/// the target's size), else into a new picture.
ZVK_EXPORT HostBoolean NewPictureWriter(PictureEditor& e, REALpictureStruct* target, int width,
                                        int height) noexcept;
/// A new picture with alpha channel; needs host version 2011.04.
ZVK_EXPORT HostBoolean NewPictureWriterWithAlphaChannel(PictureEditor& e, int width,
                                                        int height) noexcept;
/// A new picture with an alpha channel exactly when `like` has one.
ZVK_EXPORT HostBoolean NewPictureWriter(PictureEditor& e, PictureEditor& like, int width,
                                        int height) noexcept;
/// The same in the size of `like`.
ZVK_EXPORT HostBoolean NewPictureWriter(PictureEditor& e, PictureEditor& like) noexcept;
/// A new picture with an alpha channel if `alpha` is set and the host can make one, else without.
ZVK_EXPORT HostBoolean NewPictureWriter(PictureEditor& e, int width, int height,
                                        signed char alpha) noexcept;
/// A writer with a zero-filled buffer of its own instead of a picture (format 11). False when the
/// buffer would exceed 2^31 - 1 bytes or cannot be had.
ZVK_EXPORT HostBoolean NewPictureWriterLinux(PictureEditor& e, HostLong width,
                                             HostLong height) noexcept;

/// Closes the writer; its finished picture with one reference for the caller, or null.
ZVK_EXPORT REALpictureStruct* RenderPictureWriter(PictureEditor& e) noexcept;

/// Close whatever is open, under three names: a reader, an in-place editor, a writer that is
/// abandoned. Closing a closed editor does nothing.
ZVK_EXPORT void ClosePictureReader(PictureEditor& e) noexcept;
ZVK_EXPORT void ClosePictureEditor(PictureEditor& e) noexcept;
ZVK_EXPORT void FreePictureWriter(PictureEditor& e) noexcept;

/// Size of one pixel and byte positions of its channels, by the editor's format; 0 for unknown
/// formats.
ZVK_EXPORT int32_t GetBytesPerPixel(PictureEditor& e) noexcept;
ZVK_EXPORT int32_t GetRedOffset(PictureEditor& e) noexcept;
ZVK_EXPORT int32_t GetGreenOffset(PictureEditor& e) noexcept;
ZVK_EXPORT int32_t GetBlueOffset(PictureEditor& e) noexcept;

/// First byte of row y, which must be one of the picture's rows.
inline uint8_t* rowAddress(const PictureEditor& e, int32_t y) noexcept {
  if (e.pixelFormat == kPixelFormatHostBuffer) return e.rowTable[y];
  return e.base + static_cast<ptrdiff_t>(y) * e.rowBytes;
}

/// Steps to the next row; past the last one the cursor returns to row 0 while y goes on.
inline void NextRow(PictureEditor& e) noexcept {
  ++e.y;
  e.row = e.y >= e.height ? e.base : rowAddress(e, e.y);
}

// --- Editors that close themselves --------------------------------------------------------------

/// A reader over the life of a scope.
class ScopedReader {
 public:
  explicit ScopedReader(REALpictureStruct* picture) noexcept
      : open_(GetPictureReader(editor_, picture) != 0) {}
  ~ScopedReader() { ClosePictureReader(editor_); }
  ScopedReader(const ScopedReader&) = delete;
  ScopedReader& operator=(const ScopedReader&) = delete;

  explicit operator bool() const noexcept { return open_; }
  PictureEditor& editor() noexcept { return editor_; }
  [[nodiscard]] int32_t width() const noexcept { return editor_.width; }
  [[nodiscard]] int32_t height() const noexcept { return editor_.height; }

 private:
  PictureEditor editor_;
  bool open_;
};

/// An in-place editor over the life of a scope.
class ScopedEditor {
 public:
  explicit ScopedEditor(REALpictureStruct* picture) noexcept
      : open_(GetPictureEditor(editor_, picture) != 0) {}
  ~ScopedEditor() { ClosePictureEditor(editor_); }
  ScopedEditor(const ScopedEditor&) = delete;
  ScopedEditor& operator=(const ScopedEditor&) = delete;

  explicit operator bool() const noexcept { return open_; }
  PictureEditor& editor() noexcept { return editor_; }

 private:
  PictureEditor editor_;
  bool open_;
};

/// A writer that is abandoned at the end of its scope unless it was rendered.
class ScopedWriter {
 public:
  /// Of the source's size, with an alpha channel when the source has one.
  explicit ScopedWriter(ScopedReader& like) noexcept
      : open_(NewPictureWriter(editor_, like.editor()) != 0) {}
  /// Without alpha channel.
  ScopedWriter(int32_t width, int32_t height) noexcept
      : open_(NewPictureWriter(editor_, width, height) != 0) {}
  ~ScopedWriter() { FreePictureWriter(editor_); }
  ScopedWriter(const ScopedWriter&) = delete;
  ScopedWriter& operator=(const ScopedWriter&) = delete;

  explicit operator bool() const noexcept { return open_; }
  PictureEditor& editor() noexcept { return editor_; }
  /// The finished picture with one reference for the caller, or null.
  REALpictureStruct* render() noexcept { return RenderPictureWriter(editor_); }

 private:
  PictureEditor editor_;
  bool open_;
};
