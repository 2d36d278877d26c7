// Internal routines of the plug-in that no export reaches, for tests of the frame.
#pragma once

#include "frame/Abi.h"

struct Probe {
  HostBoolean (*getStringData)(REALstringStruct*, HostULong, REALstringData*) noexcept;
  void (*disposeStringData)(REALstringData*) noexcept;
};
