#include "filters/FilterPictures.h"
#include "filters/Filters.h"
#include "filters/TetrahedralLookup.h"

namespace {

using namespace pixels;

// In points of the grid, each of which holds a double for each channel.
constexpr int32_t kBlueStep = 1;
constexpr int32_t kGreenStep = Lut3DData::kAxis * kBlueStep;
constexpr int32_t kRedStep = Lut3DData::kAxis * kGreenStep;

Lut3DData& dataOf(REALobjectStruct* instance) noexcept {
  return instanceData<Lut3DData>(instance, Lut3DClass);
}

/// The table entry of these indices; null when one is out of range.
double* entryOf(REALobjectStruct* instance, HostLong r, HostLong g, HostLong b,
                HostLong x) noexcept {
  const auto within = [](HostLong index, int count) { return index >= 0 && index < count; };
  const auto onAxis = [&](HostLong index) { return within(index, Lut3DData::kAxis); };
  if (!onAxis(r) || !onAxis(g) || !onAxis(b) || !within(x, Lut3DData::kChannels)) return nullptr;
  const HostLong point = r * kRedStep + g * kGreenStep + b * kBlueStep;
  return &dataOf(instance).table[point * Lut3DData::kChannels + x];
}

}  // namespace

// New instances hold what the host gives them, which is zeros.
void Lut3DConstructor(REALobjectStruct*) noexcept {}

void Lut3DClose(REALobjectStruct* instance) noexcept { filters::releasePictures(dataOf(instance)); }

HostBoolean Lut3DRun(REALobjectStruct* instance) noexcept {
  Lut3DData& data = dataOf(instance);
  filters::replacePicture(data.destinationPicture, nullptr);
  ScopedReader reader(data.sourcePicture);
  if (!reader) return false;
  ScopedWriter writer(reader);
  if (!writer) return false;
  const Region region = filters::regionOf(data, reader.editor());
  const filters::TetrahedralLookup lookup(data.table, kRedStep, kGreenStep, kBlueStep,
                                          int64_t{region.width()} * region.height());
  mapPixels(reader.editor(), writer.editor(), region, lookup);
  data.destinationPicture = writer.render();
  return data.destinationPicture != nullptr;
}

double Lut3DGetTable(REALobjectStruct* instance, HostLong r, HostLong g, HostLong b,
                     HostLong x) noexcept {
  const double* const entry = entryOf(instance, r, g, b, x);
  return entry != nullptr ? *entry : 0.0;
}

void Lut3DSetTable(REALobjectStruct* instance, HostLong r, HostLong g, HostLong b, HostLong x,
                   double value) noexcept {
  double* const entry = entryOf(instance, r, g, b, x);
  if (entry != nullptr) *entry = value;
}
