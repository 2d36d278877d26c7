// The routines behind the methods added to the host's Picture class and behind the global
// functions.
//
// Common to all of them, unless a routine says otherwise:
//
// Channels are integers 0..255; colours are 0x00RRGGBB, their top byte is ignored.
//
// Sources are only read. A result is a new picture with one reference for the caller, opaque, of
// the source's size; with an alpha channel when the source has one, where "(alpha as source)" is
// said, else without.
//
// Rectangles are clipped to the picture: a negative left or top moves to 0 while the far edge stays
// at left + width, top + height.
//
// A picture that is nil or cannot be opened, or a result that cannot be made, gives nil (false, 0).
// Nothing stays locked or referenced on any path.
//
// Values computed in floating point become channels by truncation toward zero, then clamping.
#pragma once

#include "frame/Abi.h"

// --- Inversion (Inversion.cpp) (alpha as source) ------------------------------------------------

/// 255 - v in every channel.
ZVK_EXPORT REALpictureStruct* InvertPicture2(REALpictureStruct* self) noexcept;
/// The same inside a rectangle; a width or height of 0 or less stands for the picture's. Pixels
/// outside keep what a new picture holds.
ZVK_EXPORT REALpictureStruct* InvertPicture(REALpictureStruct* self, HostLong left, HostLong top,
                                            HostLong width, HostLong height) noexcept;
/// 255 - v where red, green and blue are equal; other pixels unchanged.
ZVK_EXPORT REALpictureStruct* InvertGrayPicture2(REALpictureStruct* self) noexcept;
/// The same inside a rectangle; a negative width or height stands for the picture's. Pixels outside
/// keep what a new picture holds.
ZVK_EXPORT REALpictureStruct* InvertGrayPicture(REALpictureStruct* self, HostLong left,
                                                HostLong top, HostLong width,
                                                HostLong height) noexcept;

// --- Scrolling (Scrolling.cpp) ------------------------------------------------------------------

/// Shifts the picture's own pixels down by `delta` rows (up when negative), wrapping around or
/// filling with 0xFF bytes; with `scrollmask`, the separate mask first. True when done. A picture
/// that cannot be changed in place gives false, and so does wrapping rows of more than 2^31 - 1
/// bytes.
ZVK_EXPORT HostBoolean ScrollVerticalZVK(REALpictureStruct* self, HostLong delta, HostBoolean wrap,
                                         HostBoolean scrollmask) noexcept;
/// The same to the right by `delta` columns. A picture that cannot be changed in place stays as it
/// is and gives true.
ZVK_EXPORT HostBoolean ScrollHorizontalZVK(REALpictureStruct* self, HostLong delta,
                                           HostBoolean wrap, HostBoolean scrollmask) noexcept;
/// Horizontally, then vertically.
ZVK_EXPORT HostBoolean ScrollZVK(REALpictureStruct* self, HostLong deltaX, HostLong deltaY,
                                 HostBoolean wrap, HostBoolean scrollmask) noexcept;

// --- Embedded mask (EmbeddedMask.cpp) -----------------------------------------------------------

/// The alpha channel as a grey picture: 255 where opaque, everywhere for surfaces without one and
/// for drawables; of a pixel record its 7 bits, whether they mean alpha or not. With `swap`, 255 -
/// v.
ZVK_EXPORT REALpictureStruct* GetEmbededMask(REALpictureStruct* self, HostBoolean swap) noexcept;
/// Writes the red channel of `mask` (255 - v with `swap`) into the alpha channel of `self` in
/// place, on the area that both share. Surfaces without an alpha channel and drawables stay as they
/// are.
ZVK_EXPORT void SetEmbededMask(REALpictureStruct* self, HostBoolean swap,
                               REALpictureStruct* mask) noexcept;
/// Whether the picture has a separate mask picture.
HostBoolean PictureHasMask(REALpictureStruct* self) noexcept;

// --- Binary string (BinaryString.cpp) -----------------------------------------------------------

/// The picture as a string of bytes: a header of 40 bytes ("PPIC"), then red, green and blue of
/// every pixel from the top left. Nil when the string would exceed 2^31 - 1 bytes.
ZVK_EXPORT REALstringStruct* PicturetoBinaryString(REALpictureStruct* p) noexcept;
/// The picture back; nil for anything that is not such a string, whole.
ZVK_EXPORT REALpictureStruct* BinaryStringtoPicture(REALstringStruct* data) noexcept;

// --- Brightness and contrast (Tone.cpp) (alpha as source) ----------------------------------------
//
// The trailing 1 is one value for all channels, 3 a value for red, green and blue. With a channel
// v: contrast: t = 127 + (v - 127) * (Contrast + 1); linear brightness B: below 0 v * (255 + B) /
// 255, else v * (255 - B) / 255 + B; absolute brightness: v + B.

/// Linear brightness, not clamped: the low 8 bits of the truncated value are kept.
ZVK_EXPORT REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* self,
                                                    double brightness) noexcept;
ZVK_EXPORT REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* self, double brightnessRed,
                                                    double brightnessGreen,
                                                    double brightnessBlue) noexcept;
ZVK_EXPORT REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* self,
                                                    double brightness) noexcept;
ZVK_EXPORT REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* self, double brightnessRed,
                                                    double brightnessGreen,
                                                    double brightnessBlue) noexcept;
ZVK_EXPORT REALpictureStruct* ContrastPicture1(REALpictureStruct* self, double contrast) noexcept;
ZVK_EXPORT REALpictureStruct* ContrastPicture3(REALpictureStruct* self, double contrastRed,
                                               double contrastGreen, double contrastBlue) noexcept;
/// Contrast, then linear brightness.
ZVK_EXPORT REALpictureStruct* ContrastLinBrightnessPicture1(REALpictureStruct* self,
                                                            double contrast,
                                                            double brightness) noexcept;
ZVK_EXPORT REALpictureStruct* ContrastLinBrightnessPicture3(
    REALpictureStruct* self, double contrastRed, double contrastGreen, double contrastBlue,
    double brightnessRed, double brightnessGreen, double brightnessBlue) noexcept;
/// Contrast, then absolute brightness.
ZVK_EXPORT REALpictureStruct* ContrastAbsBrightnessPicture1(REALpictureStruct* self,
                                                            double contrast,
                                                            double brightness) noexcept;
ZVK_EXPORT REALpictureStruct* ContrastAbsBrightnessPicture3(
    REALpictureStruct* self, double contrastRed, double contrastGreen, double contrastBlue,
    double brightnessRed, double brightnessGreen, double brightnessBlue) noexcept;
/// a * v + b.
ZVK_EXPORT REALpictureStruct* TransformPicture(REALpictureStruct* self, double a,
                                               double b) noexcept;

// --- Saturation (Saturation.cpp) (alpha as source) ----------------------------------------------

/// mean + (v - mean) * (Amount + 255) / 255 in whole numbers, the division truncating toward zero;
/// mean is (red + green + blue) / 3. Amount 0 changes nothing, -255 leaves grey.
ZVK_EXPORT REALpictureStruct* SaturationPicture(REALpictureStruct* self, HostLong amount) noexcept;

// --- Channel composition (Channels.cpp) ---------------------------------------------------------

/// Red of the first, blue of the second and green of the third picture; nil unless all have one
/// size.
ZVK_EXPORT REALpictureStruct* CombinePicturesZVK(REALpictureStruct* red, REALpictureStruct* blue,
                                                 REALpictureStruct* green) noexcept;
/// The lighter of both pictures in every channel; nil unless both have one size.
ZVK_EXPORT REALpictureStruct* MergePicture(REALpictureStruct* source1,
                                           REALpictureStruct* source2) noexcept;
/// One channel from the other picture, aligned at the top left, the others from `self`. A nil
/// channel picture raises NilObjectException; one smaller than `self` gives nil.
ZVK_EXPORT REALpictureStruct* ReplaceRedChannel(REALpictureStruct* self,
                                                REALpictureStruct* redChannel) noexcept;
ZVK_EXPORT REALpictureStruct* ReplaceGreenChannel(REALpictureStruct* self,
                                                  REALpictureStruct* greenChannel) noexcept;
ZVK_EXPORT REALpictureStruct* ReplaceBlueChannel(REALpictureStruct* self,
                                                 REALpictureStruct* blueChannel) noexcept;

// --- Tint (Tint.cpp) (alpha as source) ----------------------------------------------------------

/// L = sum of v * GreyBase channel / 255 over the channels; result L * SepiaBase channel / 255.
ZVK_EXPORT REALpictureStruct* TintPicture(REALpictureStruct* source, HostLong greyBase,
                                          HostLong sepiaBase) noexcept;

// --- Sample rendering (SampleRendering.cpp) -----------------------------------------------------

/// A waveform picture of `sampleCount` pairs of signed bytes. Below 1, the count is taken from the
/// block, the height is 500 and the width is the count. `smooth` n weighs each new value by
/// 2 / (n + 1). An outline width below 1 draws none, 1 an anti-aliased line, more a line of the
/// host's pen. A nil block raises NilObjectException.
ZVK_EXPORT REALpictureStruct* RenderSamples(REALmemoryBlockStruct* samples, HostLong sampleCount,
                                            HostLong smooth, HostLong width, HostLong height,
                                            HostLong outlineWidth, HostLong backColor,
                                            HostLong foreColor, HostLong outLineColor) noexcept;

// --- Colour counting and mapping (Colors.cpp) ---------------------------------------------------

/// Number of pixels of exactly this colour.
ZVK_EXPORT HostLong CountColorZVK(REALpictureStruct* self, HostLong col) noexcept;
/// Adds the picture's histograms to three blocks of 256 unsigned 32-bit counters each; nil blocks
/// are made. `*count` becomes the number of pixels, -1 when the picture cannot be read or a block
/// is short.
ZVK_EXPORT void CountColorsZVK(REALpictureStruct* self, REALmemoryBlockStruct** red,
                               REALmemoryBlockStruct** blue, REALmemoryBlockStruct** green,
                               HostLong* count) noexcept;
/// Each channel through a table of 256 bytes. A nil picture or table raises NilObjectException; a
/// short table gives nil.
ZVK_EXPORT REALpictureStruct* TransformColorsZVK(REALpictureStruct* self,
                                                 REALmemoryBlockStruct* red,
                                                 REALmemoryBlockStruct* blue,
                                                 REALmemoryBlockStruct* green) noexcept;
/// Pixels of exactly one colour replaced, all others unchanged (alpha as source).
ZVK_EXPORT REALpictureStruct* ReplaceColorZVK(REALpictureStruct* self, HostLong searchColor,
                                              HostLong replaceWithColor) noexcept;
/// Pixels of exactly one colour in another colour, all others in the background colour.
ZVK_EXPORT REALpictureStruct* ExtractColorZVK(REALpictureStruct* self, HostLong searchColor,
                                              HostLong replaceWithColor,
                                              HostLong backGroundColor) noexcept;

// --- Colour rectangle mask (ColorRectangles.cpp) ------------------------------------------------

/// A white picture in which a black box covers each group of coloured (non-grey) pixels.
ZVK_EXPORT REALpictureStruct* ExtractColorRectangleMaskZVK2(REALpictureStruct* self) noexcept;
/// The same looking only at a rectangle; a negative width or height stands for the picture's.
ZVK_EXPORT REALpictureStruct* ExtractColorRectangleMaskZVK(REALpictureStruct* self, HostLong left,
                                                           HostLong top, HostLong width,
                                                           HostLong height) noexcept;

// --- Picture tests (PictureTests.cpp) -----------------------------------------------------------

/// Whether every pixel is white (black); an empty rectangle is both. A negative width or height
/// stands for the picture's.
ZVK_EXPORT HostBoolean isWhite2(REALpictureStruct* self) noexcept;
ZVK_EXPORT HostBoolean isBlack2(REALpictureStruct* self) noexcept;
ZVK_EXPORT HostBoolean isWhite(REALpictureStruct* self, HostLong left, HostLong top, HostLong width,
                               HostLong height) noexcept;
ZVK_EXPORT HostBoolean isBlack(REALpictureStruct* self, HostLong left, HostLong top, HostLong width,
                               HostLong height) noexcept;
/// Fraction 0..1 of the pixels whose green differs from red or blue by more than `threshold`,
/// leaving out dark ones (no channel above 29).
ZVK_EXPORT double ColornessZVK(REALpictureStruct* self, HostLong threshold) noexcept;

// --- Picture search (PictureSearch.cpp) ---------------------------------------------------------

/// Whether `pic` stands in `self`, pixel for pixel by red, green and blue; `*x`, `*y` receive
/// the place of its first copy in reading order, else 0.
ZVK_EXPORT HostBoolean FindPicture(REALpictureStruct* self, REALpictureStruct* pic, HostLong* x,
                                   HostLong* y) noexcept;
