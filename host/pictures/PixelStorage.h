// Where a picture keeps its pixels: a cairo image surface, a GDK drawable or a pixel record.
#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/Abi.h"
#include "host/objects/Memory.h"

namespace host {

enum class Storage : uint8_t {
  kCairo,     ///< desktop: cairo image surface, ARGB32 with alpha channel, else RGB24
  kDrawable,  ///< desktop: GDK pixmap of the X display; never has an alpha channel
  kRecord,    ///< console and web: pixel record, 7-bit alpha in bits 24-30
};
inline constexpr std::string_view kStorageNames[] = {"cairo", "drawable", "record"};

/// How a picture's pixels are laid out. What a storage has no use for is ignored.
struct PictureOptions {
  Storage storage = Storage::kCairo;
  bool alpha = false;
  bool scatteredRows = false;  ///< records: every row is a piece of memory of its own
  int paddingWords = 0;        ///< unused 32-bit words behind each row (rows in one block only)
  Placement placement = Placement::kHeap;  ///< guarded: the last row ends at an unreadable page
  friend bool operator==(const PictureOptions&, const PictureOptions&) = default;
};

/// Part of a picture that drawing touches.
struct Area {
  int x, y, width, height;
};

/// Pixels of one picture. Words are as in memory: alpha or unused bits in 24-31, red in 16-23,
/// green in 8-15, blue in 0-7.
class PixelStorage {
 public:
  /// Null when the memory or the X display cannot be had. The pixels are zero (black, and fully
  /// transparent with alpha channel).
  static std::unique_ptr<PixelStorage> create(int width, int height, const PictureOptions& options);
  virtual ~PixelStorage() = default;

  int width() const { return width_; }
  int height() const { return height_; }
  const PictureOptions& options() const { return options_; }
  /// Size of one row in memory; drawables count 4 bytes per pixel.
  size_t byteSize() const { return (size_t{4} * width_ + 4 * options_.paddingWords) * height_; }

  virtual PictureDescriptionKind kind() const = 0;
  /// The data handle that a lock of kind() delivers.
  virtual void* dataHandle() = 0;
  /// Copies all words out or in, row after row without padding.
  virtual void read(uint32_t* words) = 0;
  virtual void write(const uint32_t* words) = 0;
  /// Lets cairo draw on `area`, in the picture's coordinates.
  virtual void draw(const Area& area, void (*painter)(cairo_t*, void*), void* argument) = 0;
  /// The pixel record; null in other storages.
  virtual HostPixelRecord* record() { return nullptr; }
  /// First byte of a row, null for drawables.
  virtual uint8_t* row(int) { return nullptr; }
  /// Whether everything around the pixels (words behind rows, what surrounds guarded memory) is as
  /// it was made.
  virtual bool surroundingsIntact() const { return true; }
  /// Around a lock, so that cairo and the plug-in see the same pixels.
  virtual void pixelsWillBeAccessed() {}
  virtual void pixelsChanged() {}

 protected:
  PixelStorage(int width, int height, const PictureOptions& options)
      : width_(width), height_(height), options_(options) {}

 private:
  int width_, height_;
  PictureOptions options_;
};

/// How many GDK pixbufs there are more than at the first call. 0 until the display was asked for.
int livePixbufs();

/// The canonical colour 0xAARRGGBB of a word: without alpha channel opaque, in a record the 7-bit
/// alpha widened to 8 bits (0 stays 0, 127 becomes 255).
uint32_t canonicalPixel(uint32_t word, const PictureOptions& options);
/// The word that stands for a canonical colour; opaque ones without alpha channel get 255 in bits
/// 24-31 in cairo storage and 0 in the others.
uint32_t pixelWord(uint32_t canonical, const PictureOptions& options);
/// The colour as cairo keeps it, its channels multiplied by its alpha, and back.
uint32_t premultiplied(uint32_t pixel);
uint32_t unpremultiplied(uint32_t pixel);

}  // namespace host
