// Routines that are declared to the host already and answer with their failure result until their
// work is built.
#include "operations/Operations.h"

REALpictureStruct* RenderSamples(REALmemoryBlockStruct*, HostLong, HostLong, HostLong, HostLong,
                                 HostLong, HostLong, HostLong, HostLong) noexcept {
  return nullptr;
}
