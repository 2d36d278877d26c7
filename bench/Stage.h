// A host with the plug-in in it, set up for one kind of picture storage.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "GdkStandIn.h"
#include "Pictures.h"
#include "host/plugin/Plugin.h"

namespace bench {

/// Where pictures keep their pixels.
enum class Layout : uint8_t {
  kCairo,
  kCairoAlpha,  ///< sources and results with alpha channel
  kRecord,
  kTriples,  ///< sources read as byte triples, results written into a buffer of byte triples
};
inline constexpr const char* kLayoutNames[] = {"cairo", "cairo alpha", "record", "triples"};

class Stage {
 public:
  Stage(Layout layout, bool recycling);
  ~Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  Layout layout() const { return layout_; }
  bool recycling() const { return host_.settings.recycling; }
  host::Host& host() { return host_; }
  const host::Plugin& plugin() const { return plugin_; }

  /// A picture of the stage's layout; the same one for the same arguments.
  host::PictureRef picture(Scene scene, Size size, uint32_t variant);
  /// A picture of the stage's layout with these pixels.
  host::PictureRef picture(Size size, const Pixels& pixels);

  /// A declared routine, called as the host calls it. `Signature` begins with the picture or
  /// instance that a method belongs to; overloads differ by the number of parameters. Methods of
  /// the plug-in's classes are named with their class: "PictureSepiaZVK.Run".
  template <typename Signature>
  Signature* routine(std::string_view name) const {
    return reinterpret_cast<Signature*>(definition(name, ArgumentCount<Signature>::value).routine);
  }
  template <typename Signature>
  Signature* setter(std::string_view name) const {
    return reinterpret_cast<Signature*>(
        definition(name, ArgumentCount<Signature>::value - 1).setter);
  }

 private:
  template <typename Signature>
  struct ArgumentCount;
  template <typename R, typename... A>
  struct ArgumentCount<R(A...)> {
    static constexpr int value = sizeof...(A);
  };
  const REALmethodDefinition& definition(std::string_view name, int arguments) const;
  host::PictureRef tripledPicture(Size size, const Pixels& pixels);

  struct Kept {
    Scene scene;
    Size size;
    uint32_t variant;
    host::PictureRef picture;
  };

  Layout layout_;
  host::Host host_;
  host::Plugin plugin_;
  host::PictureOptions options_;
  std::vector<Kept> kept_;
};

}  // namespace bench
