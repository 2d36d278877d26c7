// Internal routines of the plug-in that no export reaches, for tests.
#pragma once

#include "frame/Abi.h"

struct PictureEditor;

struct Probe {
  HostBoolean (*getStringData)(REALstringStruct*, HostULong, REALstringData*) noexcept;
  void (*disposeStringData)(REALstringData*) noexcept;
  void (*drawWuLine)(PictureEditor&, int32_t, int32_t, int32_t, int32_t) noexcept;
  int32_t *outlineRed, *outlineGreen, *outlineBlue;
};
