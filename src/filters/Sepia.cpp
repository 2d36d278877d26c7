#include <cstdlib>
#include <limits>

#include "filters/FilterPictures.h"
#include "filters/Filters.h"

namespace {

using namespace pixels;

constexpr int32_t kScale = 1024;  ///< weights are whole 1024ths

PictureSepiaData& dataOf(REALobjectStruct* instance) noexcept {
  return instanceData<PictureSepiaData>(instance, PictureSepiaClass);
}

/// Truncated toward zero; saturates, and NaN gives 0.
int32_t wholeWeight(double weight) noexcept {
  constexpr double kLimit = std::numeric_limits<int32_t>::max();
  const double scaled = weight == weight ? weight * kScale : 0.0;
  return static_cast<int32_t>(std::clamp(scaled, -kLimit, kLimit));
}

/// Beyond this size an offset decides the result alone: grey levels stay within 2^31 / 1024.
int32_t usefulOffset(int32_t offset) noexcept {
  constexpr int32_t kLimit = 1 << 22;
  return std::clamp(offset, -kLimit, kLimit);
}

Rgb wholeWeights(const PictureSepiaData& data) noexcept {
  return {wholeWeight(data.redWeight), wholeWeight(data.greenWeight), wholeWeight(data.blueWeight)};
}

/// Whether no pixel's sum can leave 32 bits.
bool sumsFit(Rgb weights) noexcept {
  const int64_t size = std::abs(int64_t{weights.red}) + std::abs(int64_t{weights.green}) +
                       std::abs(int64_t{weights.blue});
  return size * 255 <= std::numeric_limits<int32_t>::max();
}

/// t = (R * red + G * green + B * blue) / 1024, then each channel is its offset plus t. A sum
/// beyond 32 bits saturates; `Sum` is a type that no sum overflows.
template <typename Sum>
struct Sepia {
  Rgb weights;
  Rgb offsets;

  explicit Sepia(const PictureSepiaData& data) noexcept
      : weights(wholeWeights(data)),
        offsets{usefulOffset(data.sepiaRed), usefulOffset(data.sepiaGreen),
                usefulOffset(data.sepiaBlue)} {}

  uint32_t operator()(uint32_t word) const noexcept {
    constexpr Sum kLowest = std::numeric_limits<int32_t>::min();
    constexpr Sum kHighest = std::numeric_limits<int32_t>::max();
    const Rgb v = unpack(word);
    const Sum sum =
        Sum{v.red} * weights.red + Sum{v.green} * weights.green + Sum{v.blue} * weights.blue;
    const auto grey = static_cast<int32_t>(std::clamp(sum, kLowest, kHighest)) / kScale;
    return pack({clampedChannel(offsets.red + grey), clampedChannel(offsets.green + grey),
                 clampedChannel(offsets.blue + grey)});
  }
};

}  // namespace

void SepiaConstructor(REALobjectStruct* instance) noexcept {
  PictureSepiaData& data = dataOf(instance);
  data.redWeight = 0.299;
  data.greenWeight = 0.587;
  data.blueWeight = 0.114;
}

void SepiaClose(REALobjectStruct* instance) noexcept { filters::releasePictures(dataOf(instance)); }

HostBoolean SepiaRun(REALobjectStruct* instance) noexcept {
  PictureSepiaData& data = dataOf(instance);
  ScopedReader reader(data.sourcePicture);
  if (!reader) return false;
  ScopedWriter writer(reader.width(), reader.height());
  if (!writer) return false;
  const Region region = filters::regionOf(data, reader.editor());
  if (sumsFit(wholeWeights(data))) {
    mapPixels(reader.editor(), writer.editor(), region, Sepia<int32_t>(data));
  } else {
    mapPixels(reader.editor(), writer.editor(), region, Sepia<int64_t>(data));
  }
  REALpictureStruct* const result = writer.render();
  if (result == nullptr) return false;
  filters::replacePicture(data.destinationPicture, result);
  return true;
}

double GetFactorR(REALobjectStruct* instance, HostLong) noexcept {
  return dataOf(instance).redWeight;
}
double GetFactorG(REALobjectStruct* instance, HostLong) noexcept {
  return dataOf(instance).greenWeight;
}
double GetFactorB(REALobjectStruct* instance, HostLong) noexcept {
  return dataOf(instance).blueWeight;
}
void SetFactorR(REALobjectStruct* instance, HostLong, double value) noexcept {
  dataOf(instance).redWeight = value;
}
void SetFactorG(REALobjectStruct* instance, HostLong, double value) noexcept {
  dataOf(instance).greenWeight = value;
}
void SetFactorB(REALobjectStruct* instance, HostLong, double value) noexcept {
  dataOf(instance).blueWeight = value;
}
