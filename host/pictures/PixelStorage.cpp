#include "host/pictures/PixelStorage.h"

#include <gdk/gdk.h>
#include <gdk/gdkx.h>

#include <algorithm>
#include <cstring>

#include "host/files/Library.h"
#include "host/pictures/Display.h"

namespace host {

namespace {

constexpr int kOpaque7 = 0x7F;
constexpr uint32_t kPaddingWord = 0xC5C5C5C5;

// The words behind a row, which a picture does not use.
void fillPadding(uint8_t* rowEnd, int words) {
  for (int i = 0; i < words; ++i) memcpy(rowEnd + 4 * i, &kPaddingWord, 4);
}
bool paddingIntact(const uint8_t* rowEnd, int words) {
  for (int i = 0; i < words; ++i) {
    if (memcmp(rowEnd + 4 * i, &kPaddingWord, 4) != 0) return false;
  }
  return true;
}

// --- cairo --------------------------------------------------------------------------------------

class CairoStorage final : public PixelStorage {
 public:
  CairoStorage(int width, int height, const PictureOptions& options)
      : PixelStorage(width, height, options),
        stride_(4 * (width + options.paddingWords)),
        memory_(static_cast<size_t>(stride_) * height, options.placement) {
    if (memory_.data() == nullptr) return;
    const cairo_format_t format = options.alpha ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24;
    surface_ = cairo_image_surface_create_for_data(memory_.data(), format, width, height, stride_);
    context_ = cairo_create(surface_);
  }
  ~CairoStorage() override {
    if (context_) cairo_destroy(context_);
    if (surface_) cairo_surface_destroy(surface_);
  }

  bool complete() const { return context_ && cairo_status(context_) == CAIRO_STATUS_SUCCESS; }
  PictureDescriptionKind kind() const override { return kDescriptionCairo; }
  void* dataHandle() override { return context_; }
  uint8_t* row(int y) override { return memory_.data() + static_cast<size_t>(y) * stride_; }
  void read(uint32_t* words) override {
    for (int y = 0; y < height(); ++y, words += width()) memcpy(words, row(y), 4u * width());
  }
  void write(const uint32_t* words) override {
    for (int y = 0; y < height(); ++y, words += width()) memcpy(row(y), words, 4u * width());
    pixelsChanged();
  }
  void draw(const Area&, void (*painter)(cairo_t*, void*), void* argument) override {
    cairo_save(context_);
    painter(context_, argument);
    cairo_restore(context_);
    cairo_surface_flush(surface_);
  }
  // Surfaces are one piece of memory: what moves whole rows moves the words behind them.
  bool surroundingsIntact() const override { return memory_.slackIntact(); }
  void pixelsWillBeAccessed() override { cairo_surface_flush(surface_); }
  void pixelsChanged() override { cairo_surface_mark_dirty(surface_); }

 private:
  int stride_;
  Memory memory_;
  cairo_surface_t* surface_ = nullptr;
  cairo_t* context_ = nullptr;
};

// --- Pixel records ------------------------------------------------------------------------------

class RecordStorage final : public PixelStorage {
 public:
  RecordStorage(int width, int height, const PictureOptions& options)
      : PixelStorage(width, height, options),
        record_(std::make_unique<HostPixelRecord>()),
        rows_(static_cast<size_t>(height)) {
    complete_ = options.scatteredRows ? allocateEachRow() : allocateBlock();
    if (!complete_) return;
    // Pictures with alpha channel show that their first word is not looked at.
    record_->type = options.alpha ? 1 : 0;
    record_->width = width;
    record_->height = height;
    record_->hostPixels = rows_.front();
    record_->rowStarts = rows_.data();
  }

  bool complete() const { return complete_; }
  PictureDescriptionKind kind() const override { return kDescriptionPixelRecord; }
  void* dataHandle() override { return record_.get(); }
  HostPixelRecord* record() override { return record_.get(); }
  uint8_t* row(int y) override { return rows_[static_cast<size_t>(y)]; }
  // The table of rows may lack some, see PictureFaults.
  void read(uint32_t* words) override {
    for (int y = 0; y < height(); ++y, words += width()) {
      if (row(y)) memcpy(words, row(y), 4u * width());
    }
  }
  void write(const uint32_t* words) override {
    for (int y = 0; y < height(); ++y, words += width()) {
      if (row(y)) memcpy(row(y), words, 4u * width());
    }
  }

  bool surroundingsIntact() const override {
    // The last row in a block ends where the block ends.
    for (size_t y = 0; y + 1 < rows_.size(); ++y) {
      if (rows_[y] && !paddingIntact(rows_[y] + 4 * width(), options().paddingWords)) return false;
    }
    return std::all_of(blocks_.begin(), blocks_.end(),
                       [](const Memory& block) { return block.slackIntact(); });
  }

  // cairo draws on a copy of the area.
  void draw(const Area& wanted, void (*painter)(cairo_t*, void*), void* argument) override {
    const int left = std::max(wanted.x, 0), top = std::max(wanted.y, 0);
    const int right = std::min(wanted.x + wanted.width, width());
    const int bottom = std::min(wanted.y + wanted.height, height());
    if (left >= right || top >= bottom) return;
    const size_t bytes = size_t{4} * (right - left);
    cairo_surface_t* surface =
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, right - left, bottom - top);
    uint8_t* pixels = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    for (int y = top; y < bottom; ++y) {
      if (row(y)) memcpy(pixels + static_cast<size_t>(y - top) * stride, row(y) + 4 * left, bytes);
    }
    cairo_surface_mark_dirty(surface);
    cairo_t* context = cairo_create(surface);
    cairo_translate(context, -left, -top);
    painter(context, argument);
    cairo_destroy(context);
    cairo_surface_flush(surface);
    for (int y = top; y < bottom; ++y) {
      if (row(y) == nullptr) continue;
      copyColours(row(y) + 4 * left, pixels + static_cast<size_t>(y - top) * stride, right - left);
    }
    cairo_surface_destroy(surface);
  }

 private:
  bool allocateBlock() {
    const size_t stride = 4 * (size_t(width()) + options().paddingWords);
    blocks_.emplace_back(stride * height() - 4 * size_t(options().paddingWords),
                         options().placement);
    if (blocks_.front().data() == nullptr) return false;
    for (size_t y = 0; y < rows_.size(); ++y) {
      rows_[y] = blocks_.front().data() + y * stride;
      if (y > 0) fillPadding(rows_[y - 1] + 4 * width(), options().paddingWords);
    }
    return true;
  }

  // Made in an order of their own, so that no row follows its predecessor in memory.
  bool allocateEachRow() {
    blocks_.resize(rows_.size());
    for (size_t step = 0; step < 2; ++step) {
      for (size_t y = 1 - step; y < rows_.size(); y += 2) {
        blocks_[y] = Memory(size_t{4} * width(), options().placement);
        rows_[y] = blocks_[y].data();
        if (rows_[y] == nullptr) return false;
      }
    }
    return true;
  }

  void copyColours(uint8_t* to, const uint8_t* from, int count) const {
    const uint32_t top = options().alpha ? uint32_t{kOpaque7} << 24 : 0;
    for (int x = 0; x < count; ++x) {
      uint32_t word;
      memcpy(&word, from + 4 * x, 4);
      word = (word & 0xFFFFFF) | top;
      memcpy(to + 4 * x, &word, 4);
    }
  }

  std::unique_ptr<HostPixelRecord> record_;
  std::vector<uint8_t*> rows_;
  std::vector<Memory> blocks_;
  bool complete_ = false;
};

// --- Drawables ----------------------------------------------------------------------------------

struct GdkLibrary {
  Library library{"libgdk-x11-2.0.so.0"};
  ZVK_FUNCTION(g_object_unref);
  ZVK_FUNCTION(g_type_class_ref);
  ZVK_FUNCTION(gdk_cairo_create);
  ZVK_FUNCTION(gdk_colormap_new);
  ZVK_FUNCTION(gdk_drawable_set_colormap);
  ZVK_FUNCTION(gdk_error_trap_pop);
  ZVK_FUNCTION(gdk_error_trap_push);
  ZVK_FUNCTION(gdk_flush);
  ZVK_FUNCTION(gdk_pixbuf_get_from_drawable);
  ZVK_FUNCTION(gdk_pixbuf_get_pixels);
  ZVK_FUNCTION(gdk_pixbuf_get_rowstride);
  ZVK_FUNCTION(gdk_pixbuf_get_type);
  ZVK_FUNCTION(gdk_pixmap_new);
  ZVK_FUNCTION(gdk_visual_get_best_with_depth);
};

const GdkLibrary& gdk() {
  static const GdkLibrary functions;
  return functions;
}

class DrawableStorage final : public PixelStorage {
 public:
  DrawableStorage(int width, int height, const PictureOptions& options)
      : PixelStorage(width, height, options) {
    GdkVisual* visual = gdk().gdk_visual_get_best_with_depth(kDrawableDepth);
    if (visual == nullptr) return;
    gdk().gdk_error_trap_push();
    pixmap_ = gdk().gdk_pixmap_new(nullptr, width, height, kDrawableDepth);
    gdk().gdk_flush();
    if (gdk().gdk_error_trap_pop() != 0 || pixmap_ == nullptr) return;
    GdkColormap* colormap = gdk().gdk_colormap_new(visual, FALSE);
    gdk().gdk_drawable_set_colormap(pixmap_, colormap);
    gdk().g_object_unref(colormap);
    paint([](cairo_t* context, void*) { cairo_paint(context); }, nullptr);
    complete_ = true;
  }
  ~DrawableStorage() override {
    if (pixmap_) gdk().g_object_unref(pixmap_);
  }

  bool complete() const { return complete_; }
  PictureDescriptionKind kind() const override { return kDescriptionDrawable; }
  void* dataHandle() override { return pixmap_; }

  void read(uint32_t* words) override {
    GdkPixbuf* copy = gdk().gdk_pixbuf_get_from_drawable(nullptr, pixmap_, nullptr, 0, 0, 0, 0,
                                                         width(), height());
    const guchar* pixels = gdk().gdk_pixbuf_get_pixels(copy);
    const int stride = gdk().gdk_pixbuf_get_rowstride(copy);
    for (int y = 0; y < height(); ++y) {
      const guchar* p = pixels + static_cast<size_t>(y) * stride;
      for (int x = 0; x < width(); ++x, p += 3) {
        *words++ = uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2];
      }
    }
    gdk().g_object_unref(copy);
  }

  void write(const uint32_t* words) override {
    cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width(), height());
    uint8_t* pixels = cairo_image_surface_get_data(image);
    const int stride = cairo_image_surface_get_stride(image);
    for (int y = 0; y < height(); ++y, words += width()) {
      memcpy(pixels + static_cast<size_t>(y) * stride, words, 4u * width());
    }
    cairo_surface_mark_dirty(image);
    paint(
        [](cairo_t* context, void* source) {
          cairo_set_source_surface(context, static_cast<cairo_surface_t*>(source), 0, 0);
          cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
          cairo_paint(context);
        },
        image);
    cairo_surface_destroy(image);
  }

  void draw(const Area&, void (*painter)(cairo_t*, void*), void* argument) override {
    paint(painter, argument);
  }

 private:
  void paint(void (*painter)(cairo_t*, void*), void* argument) {
    cairo_t* context = gdk().gdk_cairo_create(pixmap_);
    painter(context, argument);
    cairo_destroy(context);
  }

  GdkPixmap* pixmap_ = nullptr;
  bool complete_ = false;
};

template <typename T>
std::unique_ptr<PixelStorage> completed(int width, int height, const PictureOptions& options) {
  auto storage = std::make_unique<T>(width, height, options);
  if (!storage->complete()) return nullptr;
  return storage;
}

}  // namespace

std::unique_ptr<PixelStorage> PixelStorage::create(int width, int height,
                                                   const PictureOptions& options) {
  if (width < 1 || height < 1) return nullptr;
  switch (options.storage) {
    case Storage::kCairo:
      return completed<CairoStorage>(width, height, options);
    case Storage::kRecord:
      return completed<RecordStorage>(width, height, options);
    case Storage::kDrawable:
      if (options.alpha || !displayAvailable()) return nullptr;
      return completed<DrawableStorage>(width, height, options);
  }
  return nullptr;
}

int livePixbufs() {
  static int count = 0;
  // Without a display there are no drawables, and no pixbufs of them.
  if (!displayIsOpen()) return 0;
  static auto* const type =
      static_cast<GObjectClass*>(gdk().g_type_class_ref(gdk().gdk_pixbuf_get_type()));
  static const auto construct = type->constructed;
  static const auto finalize = type->finalize;
  type->constructed = [](GObject* pixbuf) {
    ++count;
    construct(pixbuf);
  };
  type->finalize = [](GObject* pixbuf) {
    --count;
    finalize(pixbuf);
  };
  return count;
}

uint32_t canonicalPixel(uint32_t word, const PictureOptions& options) {
  if (!options.alpha) return word | 0xFF000000;
  if (options.storage == Storage::kCairo) return word;
  const uint32_t alpha = word >> 24 & kOpaque7;
  return (alpha * 2 + (alpha & 1)) << 24 | (word & 0xFFFFFF);
}

uint32_t pixelWord(uint32_t canonical, const PictureOptions& options) {
  const uint32_t colour = canonical & 0xFFFFFF;
  if (options.storage == Storage::kCairo) return options.alpha ? canonical : canonical | 0xFF000000;
  return options.alpha ? (canonical >> 25) << 24 | colour : colour;
}

namespace {

template <typename Scale>
uint32_t mapChannels(uint32_t pixel, Scale scale) {
  uint32_t result = pixel & 0xFF000000;
  for (int shift = 0; shift < 24; shift += 8) {
    result |= std::min(scale(pixel >> shift & 255), 255u) << shift;
  }
  return result;
}

}  // namespace

uint32_t premultiplied(uint32_t pixel) {
  const uint32_t alpha = pixel >> 24;
  return mapChannels(pixel, [=](uint32_t value) { return (value * alpha + 127) / 255; });
}

uint32_t unpremultiplied(uint32_t pixel) {
  const uint32_t alpha = pixel >> 24;
  if (alpha == 0) return 0;
  return mapChannels(pixel, [=](uint32_t value) { return (value * 255 + alpha / 2) / alpha; });
}

}  // namespace host
