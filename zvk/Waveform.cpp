// zvk waveform: a picture of a recording.
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Arguments.h"
#include "Tool.h"
#include "host/files/PictureFile.h"
#include "host/plugin/Plugin.h"

namespace zvk {

using host::Value;

namespace {

/// "42 %" on standard error while something takes long, if that is a terminal.
class Progress {
 public:
  explicit Progress(int64_t total) : total_(std::max<int64_t>(total, 1)) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() {
    if (shown_ >= 0) fputs("\r\033[K", stderr);
  }

  void update(int64_t done) {
    const auto percent = static_cast<int>(done * 100 / total_);
    if (!terminal_ || percent == shown_ || Clock::now() < visibleFrom_) return;
    fprintf(stderr, "\rreading: %d %%", percent);
    shown_ = percent;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr auto kPatience = std::chrono::milliseconds(500);

  int64_t total_;
  bool terminal_ = isatty(STDERR_FILENO) != 0;
  Clock::time_point visibleFrom_ = Clock::now() + kPatience;
  int shown_ = -1;
};

/// Two samples as a record of the block holds them.
struct Pair {
  int8_t left, right;
};

int8_t toSample(float value) {
  constexpr float kFullScale = 127;
  if (std::isnan(value)) return 0;
  return static_cast<int8_t>(std::lrint(std::clamp(value, -1.0F, 1.0F) * kFullScale));
}

class Recording {
 public:
  explicit Recording(const std::string& path)
      : path_(path), file_(sf_open(path.c_str(), SFM_READ, &info_), sf_close) {
    if (file_ == nullptr) fail(sf_error(nullptr));
    if (info_.frames < 1) throw InputError(path + " holds no sound");
    // A recording that was written to a pipe does not tell its length.
    if (info_.frames == SF_COUNT_MAX) {
      const int64_t counted = read([](Pair) {});
      info_ = {};
      file_.reset(sf_open(path.c_str(), SFM_READ, &info_));
      if (file_ == nullptr) fail(sf_error(nullptr));
      info_.frames = counted;
    }
  }

  int64_t frames() const { return info_.frames; }

  /// Calls take(pair) for each frame: its first two channels, or its only one twice. The number of
  /// frames, which is smaller than told where the file was cut off.
  template <typename Take>
  int64_t read(Take take) {
    constexpr sf_count_t kChunk = 1 << 14;
    const auto channels = static_cast<size_t>(info_.channels);
    std::vector<float> chunk(kChunk * channels);
    Progress progress(frames());
    int64_t done = 0;
    while (done < frames()) {
      const sf_count_t count =
          sf_readf_float(file_.get(), chunk.data(), std::min(kChunk, frames() - done));
      if (count < 1) break;
      for (size_t at = 0; at < static_cast<size_t>(count) * channels; at += channels) {
        take(Pair{toSample(chunk[at]), toSample(chunk[at + (channels > 1 ? 1 : 0)])});
      }
      progress.update(done += count);
    }
    if (sf_error(file_.get()) != SF_ERR_NO_ERROR) fail(sf_error(file_.get()));
    if (done == 0) throw InputError(path_ + " holds no sound");
    return done;
  }

 private:
  [[noreturn]] void fail(int error) const {
    if (error == SF_ERR_SYSTEM && errno != 0) {
      throw InputError("cannot read " + path_ + ": " + strerror(errno));
    }
    throw InputError("cannot read " + path_ +
                     " as a recording (WAV, FLAC and Ogg are possible): " + sf_error_number(error));
  }

  const std::string& path_;
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
Value colorOf(const ArgumentReader& reader, const grammar::Parameter& parameter,
              const std::string& text, const char* option) {
  if (!text.empty()) return reader.read(grammar::Type::kColor, text, option);
  return host::Color{static_cast<uint32_t>(parameter.defaultValue.value_or(0))};
}

void draw(host::Host& host, const CommonOptions& common, const WaveformOptions& options) {
  const host::Plugin plugin(common.plugin);
  constexpr size_t kParameters = 9;
  const host::Method& method = plugin.choose({}, "RenderSamplesZVK", kParameters);
  const auto& parameters = method.declaration.parameters;
  const Current none;
  const ArgumentReader reader(host, none);
  const Value colors[] = {
      colorOf(reader, parameters[6], options.back, "--back"),
      colorOf(reader, parameters[7], options.fore, "--fore"),
      colorOf(reader, parameters[8], options.outlineColor, "--outline-color"),
  };

  Recording recording(options.input);
  const Samples samples =
      options.samples ? allPairs(host, recording) : columnExtremes(host, recording, options.width);
  const host::PictureRef picture =
      plugin
          .invoke(method, {},
                  {samples.block, static_cast<long long>(samples.count), options.smooth,
                   options.width, options.height, options.outline, colors[0], colors[1], colors[2]})
          .value;
  if (!picture) throw CallFailed(std::string(method.name()) + " failed: it gave nil");
  host::savePicture(*picture, options.output);
}

}  // namespace

int waveform(const CommonOptions& common, const WaveformOptions& options) {
  host::Host host(hostSettings(common));
  try {
    draw(host, common, options);
  } catch (...) {
    reportAccounts(host);
    throw;
  }
  return reportAccounts(host) ? kDone : kCallFailed;
}

}  // namespace zvk
