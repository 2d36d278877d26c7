#include "host/pictures/Picture.h"

#include "frame/DeclarationGrammar.h"
#include "host/Host.h"
#include "host/services/Services.h"

namespace host {

Picture::Picture(Host& host) : Object(host, "picture", sizeof(HostObjectHeader)) {}

Picture* Picture::create(Host& host, int width, int height, const PictureOptions& options) {
  std::unique_ptr<PixelStorage> storage = host.takeStorage(width, height, options);
  if (!storage) return nullptr;
  auto* picture = new Picture(host);
  picture->storage_ = std::move(storage);
  return picture;
}

Picture* Picture::createUnbuilt(Host& host) { return new Picture(host); }

bool Picture::build(int width, int height, const PictureOptions& options) {
  if (!storage_) storage_ = host().takeStorage(width, height, options);
  return storage_ != nullptr;
}

std::vector<uint32_t> Picture::words() {
  std::vector<uint32_t> result(static_cast<size_t>(width()) * height());
  if (storage_) storage_->read(result.data());
  return result;
}

void Picture::setWords(const std::vector<uint32_t>& words) {
  if (words.size() != static_cast<size_t>(width()) * height()) {
    throw std::invalid_argument(name() + ": as many pixels as the picture has are needed");
  }
  storage_->write(words.data());
}

std::vector<uint32_t> Picture::pixels() {
  std::vector<uint32_t> result = words();
  for (uint32_t& pixel : result) pixel = canonicalPixel(pixel, options());
  return result;
}

void Picture::setPixels(const std::vector<uint32_t>& pixels) {
  std::vector<uint32_t> words = pixels;
  for (uint32_t& word : words) word = pixelWord(word, options());
  setWords(words);
}

void Picture::fill(uint32_t pixel) {
  setPixels(std::vector<uint32_t>(static_cast<size_t>(width()) * height(), pixel));
}

Picture* Picture::mask(bool create) {
  if (!mask_ && create && storage_) {
    PictureOptions maskOptions = options();
    maskOptions.alpha = false;
    mask_ = PictureRef(Picture::create(host(), width(), height(), maskOptions));
    if (mask_) mask_->fill(0xFF000000);
  }
  return mask_.get();
}

Graphics* Picture::graphics() {
  if (faults.noGraphics || !storage_) return nullptr;
  if (!graphics_) graphics_ = GraphicsRef(Graphics::create(host(), *this));
  return static_cast<Graphics*>(graphics_.get());
}

// --- Description locks --------------------------------------------------------------------------

bool Picture::lockDescription(REALpictureDescription& description, int32_t kind) {
  const bool refused = faults.refusedLocks != 0;
  if (faults.refusedLocks > 0) --faults.refusedLocks;
  if (refused || !storage_ || (kind != 0 && kind != storage_->kind())) {
    failLock();
    return false;
  }
  ++openLocks_;
  storage_->pixelsWillBeAccessed();
  description.kind = faults.kind.value_or(storage_->kind());
  description.data = storage_->dataHandle();
  if (faults.surface != SurfaceFault::kNone) description.data = faultySurface();
  if (faults.nullData) description.data = nullptr;
  if (HostPixelRecord* own = record()) {
    if (faults.noRowTable) own->rowStarts = nullptr;
    const bool lacks = faults.missingRow && *faults.missingRow < height() && own->rowStarts;
    if (lacks) own->rowStarts[*faults.missingRow] = nullptr;
  }
  description.width = faults.width.value_or(width());
  description.height = faults.height.value_or(height());
  const int room = static_cast<int>(std::size(description.hostWords));
  for (int i = 0; i < std::min(host().settings.descriptionWords, room); ++i) {
    description.hostWords[i] = 0x5A5A5A5A;
  }
  return true;
}

void Picture::failLock() {
  constexpr double kLocksOnlyWhenGranted = 2012.0;
  if (host().version() < kLocksOnlyWhenGranted) ++openLocks_;
}

void Picture::unlockDescription() {
  if (openLocks_ == 0) {
    host().report("unlockPictureDescription: " + name() + " is not locked", Problem::Kind::kLock);
    return;
  }
  --openLocks_;
}

void Picture::clearCache() {
  ++cacheClears_;
  if (storage_) storage_->pixelsChanged();
}

void* Picture::faultySurface() {
  if (faultyContext_) return faultyContext_;
  const cairo_rectangle_t extents = {0, 0, double(width()), double(height())};
  const int side = faults.surface == SurfaceFault::kZeroSize ? 0 : 1;
  if (faults.surface == SurfaceFault::kUpsideDown) return upsideDownSurface();
  const cairo_format_t format =
      faults.surface == SurfaceFault::kEightBit ? CAIRO_FORMAT_A8 : CAIRO_FORMAT_ARGB32;
  cairo_surface_t* surface =
      faults.surface == SurfaceFault::kNotAnImage
          ? cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, &extents)
          : cairo_image_surface_create(format, side * width(), side * height());
  faultyContext_ = cairo_create(surface);
  if (faults.surface == SurfaceFault::kFinished) cairo_surface_finish(surface);
  cairo_surface_destroy(surface);
  return faultyContext_;
}

// The first row lies last in memory.
void* Picture::upsideDownSurface() {
  const int stride = 4 * width();
  reversedRows_ = Memory(static_cast<size_t>(stride) * height(), Placement::kGuarded);
  uint8_t* last = reversedRows_.data() + static_cast<size_t>(stride) * (height() - 1);
  cairo_surface_t* surface =
      cairo_image_surface_create_for_data(last, CAIRO_FORMAT_RGB24, width(), height(), -stride);
  faultyContext_ = cairo_create(surface);
  cairo_surface_destroy(surface);
  return faultyContext_;
}

// --- As an object -------------------------------------------------------------------------------

std::string Picture::details() const {
  if (!storage_) return "no pixels";
  return std::to_string(width()) + " x " + std::to_string(height()) + ", " +
         std::string(kStorageNames[static_cast<size_t>(options().storage)]) +
         (options().alpha ? " with alpha" : "");
}

Value Picture::property(std::string_view name) const {
  using grammar::equalIgnoringCase;
  if (equalIgnoringCase(name, "HasAlphaChannel") && !faults.unreadableAlpha) {
    return faults.alpha.value_or(hasAlpha());
  }
  if (equalIgnoringCase(name, "Width") && !faults.unreadableSize) return width();
  if (equalIgnoringCase(name, "Height") && !faults.unreadableSize) return height();
  return {};
}

void* Picture::method(std::string_view declaration) {
  if (!host().settings.alphaPictures) return nullptr;
  return findMethod(pictureMethods(), declaration);
}

void Picture::dispose() {
  if (openLocks_ > 0) {
    host().report(name() + " (" + details() + ") was released while its description was locked",
                  Problem::Kind::kLock);
  }
  mask_ = nullptr;
  if (graphics_) static_cast<Graphics*>(graphics_.get())->picture_ = nullptr;
  graphics_ = nullptr;
  if (faultyContext_) cairo_destroy(std::exchange(faultyContext_, nullptr));
  if (storage_) host().recycle(std::move(storage_));
}

}  // namespace host
