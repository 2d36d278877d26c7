// Pictures of the host language.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "host/objects/Object.h"
#include "host/pictures/PixelStorage.h"

namespace host {

class Graphics;

/// Surfaces that a lock of kind 12 delivers instead of the picture's own.
enum class SurfaceFault : uint8_t {
  kNone,
  kZeroSize,
  kFinished,
  kNotAnImage,
  kEightBit,
  kUpsideDown,  ///< rows of negative length: the first one lies last
};

/// What is wrong with a picture; for tests.
struct PictureFaults {
  int refusedLocks = 0;         ///< so many lock requests are refused; -1 refuses all
  std::optional<int32_t> kind;  ///< kind number that is delivered instead of the true one
  bool nullData = false;        ///< the description's data handle is null
  SurfaceFault surface = SurfaceFault::kNone;
  std::optional<int32_t> width;   ///< width that descriptions report
  std::optional<int32_t> height;  ///< height that descriptions report
  bool unreadableAlpha = false;   ///< "HasAlphaChannel" cannot be read
  bool unreadableSize = false;    ///< "Width" and "Height" cannot be read
  std::optional<bool> alpha;      ///< value of "HasAlphaChannel" instead of the true one
  bool noGraphics = false;        ///< the picture has no graphics object
  bool noRowTable = false;        ///< records have no table of their rows
  std::optional<int> missingRow;  ///< the table of a record's rows lacks this one
};

class Picture final : public Object {
 public:
  using Handle = REALpictureStruct;

  /// A new picture without any reference yet; null when the storage cannot be had or a side is
  /// below 1.
  static Picture* create(Host& host, int width, int height, const PictureOptions& options);
  /// As the host language's New operator leaves it before its constructor: no size, no pixels.
  static Picture* createUnbuilt(Host& host);
  /// The alpha picture constructor: gives an unbuilt picture its pixels.
  bool build(int width, int height, const PictureOptions& options);

  int width() const { return storage_ ? storage_->width() : 0; }
  int height() const { return storage_ ? storage_->height() : 0; }
  bool hasAlpha() const { return storage_ && storage_->options().alpha; }
  const PictureOptions& options() const { return storage_->options(); }
  PixelStorage& storage() { return *storage_; }
  /// Whether what surrounds the pixels is as it was made.
  bool surroundingsIntact() const { return !storage_ || storage_->surroundingsIntact(); }
  bool hasStorage() const { return storage_ != nullptr; }

  /// Colours 0xAARRGGBB, row after row from the top (see canonicalPixel).
  std::vector<uint32_t> pixels();
  void setPixels(const std::vector<uint32_t>& pixels);
  void fill(uint32_t pixel);
  uint32_t pixel(int x, int y) { return pixels()[static_cast<size_t>(y) * width() + x]; }
  /// Words as they lie in memory, the fourth byte included.
  std::vector<uint32_t> words();
  void setWords(const std::vector<uint32_t>& words);
  /// The pixel record for tests to look at and to damage; null in other storages.
  HostPixelRecord* record() { return storage_->record(); }

  /// The separate mask. With `create` a missing one is made: a plain picture of the same size in
  /// the same storage, all black, which in a mask means opaque. Null when there is none. Borrowed.
  Picture* mask(bool create);
  void setMask(Ref<Picture> mask) { mask_ = std::move(mask); }
  /// The graphics object, borrowed; null when faults.noGraphics is set.
  Graphics* graphics();

  /// The host's side of a description lock. `kind` 0 accepts whatever the picture has.
  bool lockDescription(REALpictureDescription& description, int32_t kind);
  void unlockDescription();
  /// A request that the host fails for reasons of its own; old hosts keep the lock.
  void failLock();
  int openLocks() const { return openLocks_; }
  void clearCache();
  int cacheClears() const { return cacheClears_; }

  PictureFaults faults;

  std::string details() const override;
  std::string_view className() const override { return "Picture"; }
  Value property(std::string_view name) const override;
  void* method(std::string_view declaration) override;

 private:
  explicit Picture(Host& host);
  void dispose() override;
  void* faultySurface();
  void* upsideDownSurface();

  std::unique_ptr<PixelStorage> storage_;
  Ref<Picture> mask_;
  Ref<Object> graphics_;  ///< a Graphics, made when first asked for
  cairo_t* faultyContext_ = nullptr;
  Memory reversedRows_;
  int openLocks_ = 0;
  int cacheClears_ = 0;
};

using PictureRef = Ref<Picture>;

}  // namespace host
