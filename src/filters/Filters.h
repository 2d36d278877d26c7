// The routines behind the two filter classes. A class's routines find an instance's data where its
// class record says at the time of the call; the records are in FilterClasses.h.
#pragma once

#include "frame/Abi.h"

/// Instance data of PictureLut3DZVK. The host reads and writes the plain fields by position.
struct Lut3DData {
  static constexpr int kAxis = 18;  ///< grid points stored per axis
  static constexpr int kChannels = 3;
  static constexpr int kEntries = kAxis * kAxis * kAxis * kChannels;

  REALpictureStruct* sourcePicture;       ///< the instance owns one reference
  REALpictureStruct* destinationPicture;  ///< the instance owns one reference
  int32_t minX, minY;
  int32_t maxX, maxY;      ///< exclusive; the picture's edge unless above the minimum
  double table[kEntries];  ///< red varies slowest, then green, blue, and the output channel fastest
};

/// Instance data of PictureSepiaZVK. The host reads and writes the plain fields by position.
struct PictureSepiaData {
  double redWeight, greenWeight, blueWeight;
  REALpictureStruct* sourcePicture;       ///< the instance owns one reference
  REALpictureStruct* destinationPicture;  ///< the instance owns one reference
  int32_t minX, minY;
  int32_t maxX, maxY;  ///< exclusive; the picture's edge unless above the minimum
  int32_t sepiaRed, sepiaGreen, sepiaBlue;  ///< added to the grey level
};

#if defined(__i386__)
static_assert(sizeof(Lut3DData) == 139992 && offsetof(Lut3DData, table) == 24);
static_assert(offsetof(PictureSepiaData, sourcePicture) == 24 &&
              offsetof(PictureSepiaData, minX) == 32 && offsetof(PictureSepiaData, maxX) == 40 &&
              offsetof(PictureSepiaData, sepiaRed) == 48 && sizeof(PictureSepiaData) == 60);
#endif

void Lut3DConstructor(REALobjectStruct* instance) noexcept;
/// Releases both pictures; also the destructor.
void Lut3DClose(REALobjectStruct* instance) noexcept;
/// Maps SourcePicture through the table into a new DestinationPicture (alpha as source); false,
/// with DestinationPicture nil, when that cannot be done.
HostBoolean Lut3DRun(REALobjectStruct* instance) noexcept;
/// One table entry; 0 when an index is out of range.
double Lut3DGetTable(REALobjectStruct* instance, HostLong r, HostLong g, HostLong b,
                     HostLong x) noexcept;
/// Stores one table entry; nothing when an index is out of range.
void Lut3DSetTable(REALobjectStruct* instance, HostLong r, HostLong g, HostLong b, HostLong x,
                   double value) noexcept;

/// Sets the weights to 0.299, 0.587 and 0.114.
void SepiaConstructor(REALobjectStruct* instance) noexcept;
/// Releases both pictures; also the destructor.
void SepiaClose(REALobjectStruct* instance) noexcept;
/// Turns SourcePicture into grey levels plus the offsets in a new DestinationPicture (no alpha
/// channel); false, with DestinationPicture as it was, when that cannot be done.
HostBoolean SepiaRun(REALobjectStruct* instance) noexcept;

/// The channel weights; `parameter` is not used.
ZVK_EXPORT double GetFactorR(REALobjectStruct* instance, HostLong parameter) noexcept;
ZVK_EXPORT double GetFactorG(REALobjectStruct* instance, HostLong parameter) noexcept;
ZVK_EXPORT double GetFactorB(REALobjectStruct* instance, HostLong parameter) noexcept;
ZVK_EXPORT void SetFactorR(REALobjectStruct* instance, HostLong parameter, double value) noexcept;
ZVK_EXPORT void SetFactorG(REALobjectStruct* instance, HostLong parameter, double value) noexcept;
ZVK_EXPORT void SetFactorB(REALobjectStruct* instance, HostLong parameter, double value) noexcept;
