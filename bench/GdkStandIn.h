// The pixels that the stand-in for GDK hands out: rows of bytes red, green, blue.
#pragma once

#include <cstdint>

struct TriplePixels {
  uint8_t* pixels;
  int rowBytes;
};
