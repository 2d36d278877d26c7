// zvk waveform: a picture of a recording.
#include <sndfile.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Arguments.h"
#include "Output.h"
#include "Preview.h"
#include "Speech.h"
#include "Tool.h"
#include "host/files/Library.h"
#include "host/files/PictureFile.h"
#include "host/plugin/Plugin.h"

namespace zvk {

using host::Value;

namespace {

struct SoundLibrary {
  host::Library library{"libsndfile.so.1"};
  ZVK_FUNCTION(sf_open_virtual);
  ZVK_FUNCTION(sf_readf_float);
  ZVK_FUNCTION(sf_close);
  ZVK_FUNCTION(sf_error);
  ZVK_FUNCTION(sf_error_number);
};

const SoundLibrary& sound() {
  static const SoundLibrary functions;
  return functions;
}

/// Two samples as a record of the block holds them.
struct Pair {
  int8_t left, right;
};

int8_t toSample(float value) {
  constexpr float kFullScale = 127;
  if (std::isnan(value)) return 0;
  return static_cast<int8_t>(std::lrint(std::clamp(value, -1.0F, 1.0F) * kFullScale));
}

/// A file in memory, for the library to read.
class Bytes {
 public:
  explicit Bytes(std::string bytes) : bytes_(std::move(bytes)) {}

  SNDFILE* open(SF_INFO& info) {
    SF_VIRTUAL_IO functions{};
    functions.get_filelen = [](void* self) { return sf_count_t(of(self).bytes_.size()); };
    functions.tell = [](void* self) { return of(self).position_; };
    functions.seek = [](sf_count_t offset, int whence, void* self) {
      Bytes& bytes = of(self);
      const auto size = static_cast<sf_count_t>(bytes.bytes_.size());
      const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? bytes.position_ : size;
      bytes.position_ = std::clamp<sf_count_t>(base + offset, 0, size);
      return bytes.position_;
    };
    functions.read = [](void* to, sf_count_t count, void* self) {
      Bytes& bytes = of(self);
      const auto left = static_cast<sf_count_t>(bytes.bytes_.size()) - bytes.position_;
      const sf_count_t taken = std::clamp<sf_count_t>(count, 0, left);
      memcpy(to, bytes.bytes_.data() + bytes.position_, static_cast<size_t>(taken));
      bytes.position_ += taken;
      return taken;
    };
    functions.write = [](const void*, sf_count_t, void*) { return sf_count_t{0}; };
    return sound().sf_open_virtual(&functions, SFM_READ, &info, this);
  }

  /// Whether the file tells that it is longer than it is; the library shortens such silently.
  bool isCut() const {
    const std::string_view bytes = bytes_;
    constexpr uint32_t kUnknown = 0x7FFFF000;  // written to a pipe, with no way back to the header
    if (bytes.starts_with("RIFF") && bytes.size() >= 8) {
      uint32_t rest = 0;
      memcpy(&rest, bytes.data() + 4, sizeof rest);
      return rest < kUnknown && rest > bytes.size() - 8;
    }
    // The last page of an Ogg stream is marked.
    constexpr size_t kFlags = 5;
    const size_t page = bytes.rfind("OggS");
    const bool ogg = bytes.starts_with("OggS") && page + kFlags < bytes.size();
    return ogg && (bytes[page + kFlags] & 4) == 0;
  }

 private:
  static Bytes& of(void* self) { return *static_cast<Bytes*>(self); }

  std::string bytes_;
  sf_count_t position_ = 0;
};

class Recording {
 public:
  Recording(const std::string& path, bool damaged)
      : name_(host::inputName(path)),
        damaged_(damaged),
        bytes_(host::readFile(path)),
        file_(bytes_.open(info_), sound().sf_close) {
    if (file_ == nullptr) fail(sound().sf_error(nullptr));
    if (bytes_.isCut()) noteCut();
    if (info_.frames < 1) throw InputError(name_ + " holds no sound");
  }

  int64_t frames() const { return info_.frames; }

  /// Calls take(pair) for each frame: its first two channels, or its only one twice. The number of
  /// frames, which is smaller than told where the file was cut off.
  template <typename Take>
  int64_t read(Take take) {
    constexpr sf_count_t kChunk = 1 << 14;
    const auto channels = static_cast<size_t>(info_.channels);
    std::vector<float> chunk(kChunk * channels);
    Stage stage("reading " + name_);
    int64_t done = 0;
    while (done < frames()) {
      const sf_count_t count =
          sound().sf_readf_float(file_.get(), chunk.data(), std::min(kChunk, frames() - done));
      if (count < 1) break;
      for (size_t at = 0; at < static_cast<size_t>(count) * channels; at += channels) {
        take(Pair{toSample(chunk[at]), toSample(chunk[at + (channels > 1 ? 1 : 0)])});
      }
      done += count;
      stage.progress(static_cast<double>(done) / static_cast<double>(frames()));
    }
    const int error = sound().sf_error(file_.get());
    if (done == 0 && error != SF_ERR_NO_ERROR) fail(error);
    if (done == 0) throw InputError(name_ + " holds no sound");
    if (done < frames() || error != SF_ERR_NO_ERROR) noteCut();
    return done;
  }

 private:
  void noteCut() const {
    const std::string text = name_ + ": damaged: the recording ends too early";
    if (!damaged_) throw InputError(text + "; --damaged draws what is there");
    note(text);
  }

  [[noreturn]] void fail(int error) const {
    std::string cause = sound().sf_error_number(error);
    while (cause.ends_with('.')) cause.pop_back();
    throw InputError(name_ + ": not a recording (" + cause +
                     "); possible are WAV, FLAC, Ogg and what else libsndfile reads");
  }

  std::string name_;
  bool damaged_;
  Bytes bytes_;
  SF_INFO info_{};
  std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file_;
};

struct Samples {
  host::BlockRef block;
  int64_t count = 0;
};

host::BlockRef blockFor(host::Host& host, int64_t pairs) {
  constexpr int64_t kMost = INT_MAX / 2;
  host::BlockRef block;
  if (pairs <= kMost) block = host.newBlock(static_cast<int>(2 * pairs));
  if (!block) {
    throw InputError(
        "the recording is too long for a memory block; without --samples any length works");
  }
  return block;
}

/// Every frame as it is.
Samples allPairs(host::Host& host, Recording& recording) {
  Samples samples{blockFor(host, recording.frames())};
  uint8_t* bytes = samples.block->data();
  samples.count = recording.read([&bytes](Pair pair) {
    *bytes++ = static_cast<uint8_t>(pair.left);
    *bytes++ = static_cast<uint8_t>(pair.right);
  });
  return samples;
}

/// One pair for each column: the lowest and the highest of all samples that fall into its time.
Samples columnExtremes(host::Host& host, Recording& recording, int64_t columns) {
  constexpr Pair kNone{INT8_MAX, INT8_MIN};
  std::vector<Pair> extremes(static_cast<size_t>(columns), kNone);
  int64_t frame = 0;
  recording.read([&](Pair pair) {
    const auto [low, high] = std::minmax(pair.left, pair.right);
    const int64_t first = frame * columns / recording.frames();
    const int64_t last = (++frame * columns - 1) / recording.frames();
    for (int64_t column = first; column <= last; ++column) {
      Pair& extreme = extremes[static_cast<size_t>(column)];
      extreme = {std::min(extreme.left, low), std::max(extreme.right, high)};
    }
  });
  // The first record only starts the averages.
  Samples samples{blockFor(host, columns + 1), columns};
  uint8_t* bytes = samples.block->data() + 2;
  for (const Pair& extreme : extremes) {
    const bool none = extreme.left > extreme.right;
    *bytes++ = none ? 0 : static_cast<uint8_t>(extreme.left);
    *bytes++ = none ? 0 : static_cast<uint8_t>(extreme.right);
  }
  return samples;
}

/// A colour as given, or as the method declares it when left out.
Value colorFor(const grammar::Parameter& parameter, const std::string& text, const char* option) {
  if (!text.empty()) return colorOf(text, option);
  return host::Color{static_cast<uint32_t>(parameter.defaultValue.value_or(0))};
}

void draw(host::Host& host, const CommonOptions& common, const WaveformOptions& options) {
  const host::Plugin plugin(common.plugin);
  constexpr size_t kParameters = 9;
  const host::Method& method = plugin.choose({}, "RenderSamplesZVK", kParameters);
  const auto& parameters = method.declaration.parameters;
  const Value colors[] = {
      colorFor(parameters[6], options.back, "--back"),
      colorFor(parameters[7], options.fore, "--fore"),
      colorFor(parameters[8], options.outlineColor, "--outline-color"),
  };
  if (options.output.empty() && !options.preview) {
    throw InputError("--output is required; -o FILE saves the picture, --preview shows it");
  }
  if (!options.output.empty()) requireOutput(options.output, options.files, true);
  const std::string problem = host::sizeProblem(host, options.width, options.height);
  if (!problem.empty()) throw InputError("--width, --height: " + problem);

  Recording recording(options.input, options.files.damaged);
  const Samples samples =
      options.samples ? allPairs(host, recording) : columnExtremes(host, recording, options.width);
  const host::PictureRef picture =
      plugin
          .invoke(method, {},
                  {samples.block, static_cast<long long>(samples.count), options.smooth,
                   options.width, options.height, options.outline, colors[0], colors[1], colors[2]})
          .value;
  if (!picture) throw CallFailed(std::string(method.name()) + " failed: memory may be short");
  if (!options.output.empty()) saveResult(*picture, options.output, options.files);
  if (options.preview) preview(*picture);
}

}  // namespace

int waveform(const CommonOptions& common, const WaveformOptions& options) {
  return inHost(common, [&](host::Host& host) { draw(host, common, options); });
}

}  // namespace zvk
