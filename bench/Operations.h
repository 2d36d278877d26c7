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

struct Operation {
  std::string_view name;
  Subject subject;
  Scene scene;      ///< for kOwnScene
  double goal;      ///< times memcpy of the same picture, 12 megapixels in cairo storage; 0: none
  double goalTime;  ///< nanoseconds per unit; 0: none
  void (*describe)(Job& job);  ///< completes the job; may be null
  PluginCall (*make)(Stage& stage, const host::PictureRef& source, Job& job);
  std::vector<std::string_view> peers;   ///< that do the same, however exactly
  std::vector<std::string_view> asides;  ///< that do something like it, on other data
};

std::span<const Operation> operations();

}  // namespace bench
