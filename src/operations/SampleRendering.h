// The anti-aliased outline of waveform pictures. Internal to the plug-in.
#pragma once

#include <cstdint>

#include "picture/PictureEditor.h"

/// Channels 0..255 of the colour that outlines are drawn in; every rendering sets them first.
extern int32_t gOutLineColorR;
extern int32_t gOutLineColorG;
extern int32_t gOutLineColorB;

/// Mixes the outline colour into one pixel: weight 0 gives the outline colour, 255 leaves the pixel
/// as it is. Outside the picture nothing happens.
void BlendOutlinePixel(PictureEditor& writer, int32_t x, int32_t y, int32_t weight) noexcept;

/// A line from (x0, y0) to (x1, y1), both included, by Wu's algorithm (Xiaolin Wu, "An efficient
/// antialiasing technique", 1991) with 256 levels: along its longer axis, each step shares one
/// pixel's worth of colour between the two pixels that the line passes between. End points may lie
/// up to 2^16 pixels outside the picture; steps outside are not walked.
void DrawWuLine(PictureEditor& writer, int32_t x0, int32_t y0, int32_t x1, int32_t y1) noexcept;
