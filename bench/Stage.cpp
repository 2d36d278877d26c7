#include "Stage.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

// Pixels that are delivered as bytes red, green, blue, the way the copy of a drawable is.
class TripleStorage final : public host::PixelStorage {
 public:
  TripleStorage(int width, int height, const host::PictureOptions& options)
      : PixelStorage(width, height, options), bytes_(size_t{3} * width * height) {}

  PictureDescriptionKind kind() const override { return kDescriptionDrawable; }
  void* dataHandle() override {
    record_ = {bytes_.data(), 3 * width()};
    return &record_;
  }
  void read(uint32_t* words) override {
    for (size_t i = 0; i < bytes_.size(); i += 3) {
      *words++ = uint32_t{bytes_[i]} << 16 | uint32_t{bytes_[i + 1]} << 8 | bytes_[i + 2];
    }
  }
  void write(const uint32_t* words) override {
    for (size_t i = 0; i < bytes_.size(); i += 3, ++words) {
      for (size_t c = 0; c < 3; ++c) bytes_[i + c] = static_cast<uint8_t>(*words >> (16 - 8 * c));
    }
  }
  void draw(const host::Area&, void (*)(cairo_t*, void*), void*) override {}

 private:
  std::vector<uint8_t> bytes_;
  TriplePixels record_{};
};

host::Settings settingsFor(Layout layout, bool recycling) {
  host::Settings settings = host::Settings::forStorage(
      layout == Layout::kRecord ? host::Storage::kRecord : host::Storage::kCairo);
  if (layout == Layout::kTriples) {
    settings.newPictures.storage = host::Storage::kDrawable;
    // Before the plug-in looks for GDK, so that it finds this one.
    if (dlopen(ZVK_GDK_STAND_IN, RTLD_NOW) == nullptr) throw std::runtime_error(dlerror());
  }
  settings.logging = false;
  settings.recycling = recycling;
  return settings;
}

/// The plug-in that was built, or one that ZVK_PLUGIN names: an older one, say, to compare with.
const char* pluginFile() {
  const char* const given = getenv("ZVK_PLUGIN");
  return given != nullptr ? given : ZVK_PLUGIN_FILE;
}

}  // namespace

Stage::Stage(Layout layout, bool recycling)
    : layout_(layout),
      host_(settingsFor(layout, recycling)),
      plugin_(pluginFile()),
      options_(host_.settings.newPictures) {
  options_.alpha = layout == Layout::kCairoAlpha;
}

Stage::~Stage() {
  kept_.clear();
  for (const std::string& problem : host_.accounts()) fprintf(stderr, "%s\n", problem.c_str());
}

host::PictureRef Stage::picture(Scene scene, Size size, uint32_t variant) {
  for (const Kept& kept : kept_) {
    if (kept.scene == scene && kept.size == size && kept.variant == variant) return kept.picture;
  }
  kept_.push_back({scene, size, variant, picture(size, makePixels(scene, size, variant))});
  return kept_.back().picture;
}

host::PictureRef Stage::picture(Size size, const Pixels& pixels) {
  if (layout_ == Layout::kTriples) return tripledPicture(size, pixels);
  return host_.newPicture(size.width, size.height, pixels, options_);
}

// The host takes a picture's storage from what was given back, which need not be its own make.
host::PictureRef Stage::tripledPicture(Size size, const Pixels& pixels) {
  // Besides the picture's own: for the result that the plug-in asks for and replaces by a buffer,
  // for the picture made of the buffer, and for the one that a filter object still holds.
  constexpr int kSpare = 3;
  const bool firstOfSize =
      std::none_of(kept_.begin(), kept_.end(), [&](const Kept& kept) { return kept.size == size; });
  const bool recycling = std::exchange(host_.settings.recycling, true);
  for (int i = 0; i < (firstOfSize ? 1 + kSpare : 1); ++i) {
    host_.recycle(std::make_unique<TripleStorage>(size.width, size.height, options_));
  }
  host::PictureRef picture = host_.newPicture(size.width, size.height, pixels, options_);
  host_.settings.recycling = recycling;
  if (!picture) throw std::runtime_error("the host has no room for another picture");
  return picture;
}

const REALmethodDefinition& Stage::definition(std::string_view name, int arguments) const {
  for (const host::Method& method : plugin_.methods()) {
    using Kind = host::Method::Kind;
    const std::string prefix = method.kind == Kind::kClass ? method.className + "." : "";
    const int own = method.kind == Kind::kGlobal ? 0 : 1;
    if (prefix + std::string(method.name()) == name &&
        method.declaration.parameterCount + own == arguments) {
      return *method.definition;
    }
  }
  throw std::runtime_error("the plug-in declares no " + std::string(name));
}

}  // namespace bench
