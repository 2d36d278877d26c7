// Routines that are declared to the host already and answer with their failure result until their
// work is built.
#include "filters/Filters.h"
#include "operations/Operations.h"

REALpictureStruct* RenderSamples(REALmemoryBlockStruct*, HostLong, HostLong, HostLong, HostLong,
                                 HostLong, HostLong, HostLong, HostLong) noexcept {
  return nullptr;
}
void Lut3DConstructor(REALobjectStruct*) noexcept {}
void Lut3DClose(REALobjectStruct*) noexcept {}
HostBoolean Lut3DRun(REALobjectStruct*) noexcept { return false; }
double Lut3DGetTable(REALobjectStruct*, HostLong, HostLong, HostLong, HostLong) noexcept {
  return 0.0;
}
void Lut3DSetTable(REALobjectStruct*, HostLong, HostLong, HostLong, HostLong, double) noexcept {}
void SepiaConstructor(REALobjectStruct*) noexcept {}
void SepiaClose(REALobjectStruct*) noexcept {}
HostBoolean SepiaRun(REALobjectStruct*) noexcept { return false; }
double GetFactorR(REALobjectStruct*, HostLong) noexcept { return 0.0; }
double GetFactorG(REALobjectStruct*, HostLong) noexcept { return 0.0; }
double GetFactorB(REALobjectStruct*, HostLong) noexcept { return 0.0; }
void SetFactorR(REALobjectStruct*, HostLong, double) noexcept {}
void SetFactorG(REALobjectStruct*, HostLong, double) noexcept {}
void SetFactorB(REALobjectStruct*, HostLong, double) noexcept {}
