// Pictures.
#include <cstring>

#include "host/services/Services.h"

namespace host {

namespace {

PictureOptions optionsOfNew(const Host& host, bool alpha) {
  PictureOptions options = host.settings.newPictures;
  options.storage = host.settings.lies.storage.value_or(options.storage);
  options.alpha = alpha;
  // Drawables have no alpha channel: a host that keeps pictures in them uses cairo for those that
  // have.
  if (alpha && options.storage == Storage::kDrawable) options.storage = Storage::kCairo;
  return options;
}

REALpictureStruct* newPicture(Host& host, HostLong width, HostLong height, HostLong) {
  const Lies& lies = host.settings.lies;
  Picture* picture = Picture::create(host, width + lies.moreWidth, height + lies.moreHeight,
                                     optionsOfNew(host, false));
  if (picture) picture->faults = lies.pictures;
  return handOut(picture);
}

void constructPicture(Host& host, REALpictureStruct* handle, HostLong width, HostLong height) {
  auto* picture = host.use<Picture>(handle, "Picture.Constructor");
  if (picture == nullptr) return;
  const Lies& lies = host.settings.lies;
  picture->build(width + lies.moreWidth, height + lies.moreHeight, optionsOfNew(host, true));
  picture->faults = lies.pictures;
}

REALgraphicsStruct* graphics(Host& host, REALpictureStruct* handle) {
  auto* picture = host.use<Picture>(handle, "pluginPictureGraphicsGetter");
  return picture ? handOut(picture->graphics()) : nullptr;
}

HostBoolean lockAs(Host& host, REALpictureStruct* handle, REALpictureDescription* description,
                   HostLong kind) {
  auto* picture = host.use<Picture>(handle, "REALLockPictureDescription");
  return picture && description && picture->lockDescription(*description, kind);
}

HostBoolean lockAny(Host& host, REALpictureStruct* handle, REALpictureDescription* description) {
  return lockAs(host, handle, description, 0);
}

void lockAsFails(Host& host, REALpictureStruct* handle, REALpictureDescription*, HostLong) {
  auto* picture = host.use<Picture>(handle, "REALLockPictureDescription");
  if (picture) picture->failLock();
}

void lockAnyFails(Host& host, REALpictureStruct* handle, REALpictureDescription* description) {
  lockAsFails(host, handle, description, 0);
}

void unlockDescription(Host& host, REALpictureStruct* handle) {
  auto* picture = host.use<Picture>(handle, "unlockPictureDescription");
  if (picture) picture->unlockDescription();
}

void clearCache(Host& host, REALpictureStruct* handle) {
  if (auto* picture = host.use<Picture>(handle, "REALPictureClearCache")) picture->clearCache();
}

// The pixels are copied; the buffer stays the caller's.
REALpictureStruct* buildFromBuffer(Host& host, HostLong width, HostLong height, RBPixelType type,
                                   void* buffer, HostLong rowBytes) {
  if (type != kPixelTypeRGB24 || buffer == nullptr || rowBytes < 3 * width) return nullptr;
  Picture* picture = Picture::create(host, width, height, optionsOfNew(host, false));
  if (picture == nullptr) return nullptr;
  std::vector<uint32_t> words;
  words.reserve(static_cast<size_t>(width) * height);
  for (HostLong y = 0; y < height; ++y) {
    const uint8_t* p = static_cast<const uint8_t*>(buffer) + static_cast<size_t>(y) * rowBytes;
    for (HostLong x = 0; x < width; ++x, p += 3) {
      const uint32_t colour = uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2];
      words.push_back(pixelWord(0xFF000000 | colour, picture->options()));
    }
  }
  picture->setWords(words);
  return handOut(picture);
}

// This host has no such worlds.
REALpictureStruct* buildFromWorld(Host&, void*, HostBoolean) { return nullptr; }

REALpictureStruct* mask(Host& host, REALpictureStruct* handle, HostBoolean create) {
  auto* picture = host.use<Picture>(handle, "REALGetPictureMask");
  return picture ? handOut(picture->mask(create != 0)) : nullptr;
}

}  // namespace

std::span<Service* const> pictureServices() {
  static Service* const kServices[] = {
      service<"newPicture", newPicture>(),
      service<"pluginPictureGraphicsGetter", graphics>(),
      service<"REALLockPictureDescription", lockAs, lockAsFails>(),
      service<"lockPictureDescription", lockAny, lockAnyFails>(),
      service<"unlockPictureDescription", unlockDescription, NeverFails{}>(),
      service<"REALPictureClearCache", clearCache>(),
      service<"REALBuildPictureFromBuffer", buildFromBuffer>(),
      service<"REALBuildPictureFromGWorld", buildFromWorld>(),
      service<"REALGetPictureMask", mask>(),
  };
  return kServices;
}

std::span<const ObjectMethod> pictureMethods() {
  static const ObjectMethod kMethods[] = {
      {"Constructor(width as integer, height as integer)",
       service<"Picture.Constructor", constructPicture>()},
  };
  return kMethods;
}

}  // namespace host
