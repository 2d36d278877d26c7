// Routines that are declared to the host already and answer with their failure result until their
// work is built.
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
REALpictureStruct* RenderSamples(REALmemoryBlockStruct*, HostLong, HostLong, HostLong, HostLong,
                                 HostLong, HostLong, HostLong, HostLong) noexcept {
  return nullptr;
}
REALpictureStruct* ExtractColorRectangleMaskZVK2(REALpictureStruct*) noexcept { return nullptr; }
REALpictureStruct* ExtractColorRectangleMaskZVK(REALpictureStruct*, HostLong, HostLong, HostLong,
                                                HostLong) noexcept {
  return nullptr;
}
HostBoolean FindPicture(REALpictureStruct*, REALpictureStruct*, HostLong*, HostLong*) noexcept {
  return false;
}
