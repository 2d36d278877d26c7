// The operations that are measured.
#pragma once

#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "Job.h"
#include "Stage.h"

namespace bench {

/// A call of the plug-in: either it gives a picture, or it does something.
struct PluginCall {
  std::function<REALpictureStruct*()> picture;    ///< the picture, with its reference
  std::function<bool()> done;                     ///< whether it was done
  std::function<host::PictureRef()> result = {};  ///< the picture that was made by `done`, if any
  /// A service that does much work of the host's own at the end of the call: it fails while the
  /// call is timed.
  std::string_view withheldService = {};
};

/// What the pictures of a row are, besides the operation's own.
enum class Subject : uint8_t {
  kScenes,    ///< gradient and photograph
  kOwnScene,  ///< one scene that the operation needs
  kSamples,   ///< no picture: sample pairs
};

/// Times memcpy of the same picture, in the plug-in that ships; 0: none.
struct Goal {
  double small = 0;  ///< 256 x 256 pixels
  double large = 0;  ///< 12 megapixels
};

struct Operation {
  std::string_view name;
  Subject subject = Subject::kScenes;
  Scene scene = Scene::kGradient;  ///< for kOwnScene
  Goal goal = {};
  double goalTime = 0;                   ///< nanoseconds per unit; 0: none
  void (*describe)(Job& job) = nullptr;  ///< completes the job
  PluginCall (*make)(Stage& stage, const host::PictureRef& source, Job& job);
  std::vector<std::string_view> peers = {};   ///< that do the same, however exactly
  std::vector<std::string_view> asides = {};  ///< that do something like it, or on other data
  bool inPlace = false;  ///< changes the picture itself, which byte triples forbid
};

std::span<const Operation> operations();

}  // namespace bench
