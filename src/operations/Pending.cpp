// Routines that are declared to the host already and answer with their failure result until their
// work is built.
#include "filters/Filters.h"
#include "operations/Operations.h"

HostBoolean ScrollVerticalZVK(REALpictureStruct*, HostLong, HostBoolean, HostBoolean) noexcept {
  return false;
}
HostBoolean ScrollHorizontalZVK(REALpictureStruct*, HostLong, HostBoolean, HostBoolean) noexcept {
  return false;
}
HostBoolean ScrollZVK(REALpictureStruct*, HostLong, HostLong, HostBoolean, HostBoolean) noexcept {
  return false;
}
REALpictureStruct* GetEmbededMask(REALpictureStruct*, HostBoolean) noexcept { return nullptr; }
void SetEmbededMask(REALpictureStruct*, HostBoolean, REALpictureStruct*) noexcept {}
HostBoolean PictureHasMask(REALpictureStruct*) noexcept { return false; }
REALpictureStruct* ExtractColorRectangleMaskZVK2(REALpictureStruct*) noexcept { return nullptr; }
REALpictureStruct* ExtractColorRectangleMaskZVK(REALpictureStruct*, HostLong, HostLong, HostLong,
                                                HostLong) noexcept {
  return nullptr;
}
HostBoolean FindPicture(REALpictureStruct*, REALpictureStruct*, HostLong*, HostLong*) noexcept {
  return false;
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
