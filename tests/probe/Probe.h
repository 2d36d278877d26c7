// Internal routines and variables of the plug-in, for tests that load the probe in its place: the
// plug-in's own objects beside one exported table.
#pragma once

#include "frame/Abi.h"
#include "picture/PictureEditor.h"

/// A service wrapper that can be called without knowing its type.
struct ServiceProbe {
  struct Outcome {
    bool entered;         ///< the host's entry was called
    bool argumentsRight;  ///< with the wrapper's own arguments, in order
    bool resultRight;  ///< the entry's result came back, or without it the missing-service result
  };

  const char* entryName;
  void* entry;  ///< stands in for the host's entry: notes its arguments and returns a fixed result
  Outcome (*call)();  ///< calls the wrapper with arguments that all differ
};

/// The array routines of one element type; null where there is none.
template <typename T>
struct ElementProbe {
  void (*insert)(REALarrayStruct*, HostLong, T) noexcept;
  HostBoolean (*get)(REALarrayStruct*, HostLong, T*) noexcept;
  void (*set)(REALarrayStruct*, HostLong, T) noexcept;
};

struct Probe {
  struct State {
    HostResolver* resolver;
    double* hostVersion;
    HostBoolean* isConsole;
    HostBoolean* isDesktop;
    HostBoolean* hasControls;
  } state;

  struct StartUp {
    void* (*resolve)(const char*) noexcept;
    void (*registerClass)(REALclassDefinition*) noexcept;
    void (*registerClassExtension)(REALclassDefinition*) noexcept;
    void (*registerControl)(REALcontrol*) noexcept;
    void (*fixMethod)(REALmethodDefinition*) noexcept;
    void (*fixMethods)(REALmethodDefinition*, HostLong) noexcept;
    void (*fixClass)(REALclassDefinition*) noexcept;
    void (*fixModule)(REALmoduleDefinition*) noexcept;
    void (*setConsoleSafe)(REALclassDefinition*) noexcept;
    void (*setWebOnly)(REALclassDefinition*) noexcept;
    void (*checkApplication)() noexcept;
  } startUp;

  struct Services {
    const ServiceProbe* wrappers;
    int wrapperCount;
    void* (*loadFrameworkMethod)(const char*) noexcept;
    REALobjectStruct* (*newInstanceOf)(REALclassRefStruct*) noexcept;
    HostLong (*callWithExceptionHandler)(void (*)(void*), void*) noexcept;
    HostBoolean (*getStringData)(REALstringStruct*, HostULong, REALstringData*) noexcept;
    void (*disposeStringData)(REALstringData*) noexcept;
    ElementProbe<long long> int64;
    ElementProbe<HostLong> int32;
    ElementProbe<unsigned long long> uint64;
    ElementProbe<HostULong> uint32;
    ElementProbe<unsigned short> uint16;
    ElementProbe<unsigned char> uint8;
    ElementProbe<float> single;
    ElementProbe<double> real;
    ElementProbe<REALstringStruct*> string;
    ElementProbe<REALobjectStruct*> object;
  } services;

  struct Values {
    REALstringStruct* (*buildUnicodeString)(const void*, int, HostULong) noexcept;
    void (*raiseException)(const char*, const char*) noexcept;
    REALstringStruct* (*cString)(const char*, HostULong, int) noexcept;
    REALstringStruct* (*utf16)(const unsigned short*) noexcept;
    REALstringStruct* (*utf32)(const wchar_t*) noexcept;
    REALstringStruct* (*convertFast)(REALstringStruct*, HostULong) noexcept;
    HostULong (*lowestEncoding)(REALstringStruct*) noexcept;
    HostULong (*toOSType)(REALstringStruct*) noexcept;
    REALstringStruct* (*fromOSType)(HostULong) noexcept;
    HostBoolean (*isMemoryBlock)(REALobjectStruct*) noexcept;
    HostBoolean (*isFolderItem)(REALobjectStruct*) noexcept;
    HostBoolean (*isA)(REALobjectStruct*, const char*) noexcept;
    REALmemoryBlockStruct* (*buildMemoryBlock)(const void*, int) noexcept;
    void (*debugLog)(REALstringStruct*) noexcept;
    HostULong (*tickCount)() noexcept;
    void (*drawPrimitive)(REALgraphicsStruct*, REALpictureStruct*, const RB::Rect*) noexcept;
  } values;

  struct Editors {
    HostBoolean (*reader)(PictureEditor&, REALpictureStruct*, signed char, signed char) noexcept;
    HostBoolean (*plainReader)(PictureEditor&, REALpictureStruct*) noexcept;
    HostBoolean (*editor)(PictureEditor&, REALpictureStruct*) noexcept;
    HostBoolean (*writer)(PictureEditor&, int, int) noexcept;
    HostBoolean (*writerInto)(PictureEditor&, REALpictureStruct*, int, int) noexcept;
    HostBoolean (*alphaWriter)(PictureEditor&, int, int) noexcept;
    HostBoolean (*writerLike)(PictureEditor&, PictureEditor&) noexcept;
    HostBoolean (*writerMaybeAlpha)(PictureEditor&, int, int, signed char) noexcept;
    HostBoolean (*bufferWriter)(PictureEditor&, HostLong, HostLong) noexcept;
    REALpictureStruct* (*render)(PictureEditor&) noexcept;
    void (*closeReader)(PictureEditor&) noexcept;
    void (*closeEditor)(PictureEditor&) noexcept;
    void (*freeWriter)(PictureEditor&) noexcept;
    int32_t (*bytesPerPixel)(PictureEditor&) noexcept;
    int32_t (*redOffset)(PictureEditor&) noexcept;
    int32_t (*greenOffset)(PictureEditor&) noexcept;
    int32_t (*blueOffset)(PictureEditor&) noexcept;
  } editors;

  struct Pictures {
    REALpictureStruct* (*make)(int, int, signed char) noexcept;
    REALpictureStruct* (*makeWithAlpha)(int, int) noexcept;
    REALpictureStruct* (*clone)(REALpictureStruct*) noexcept;
    REALpictureStruct* (*clonePart)(REALpictureStruct*, int, int) noexcept;
    REALpictureStruct* (*cloneWithMask)(REALpictureStruct*) noexcept;
    REALpictureStruct* (*clonePartWithMask)(REALpictureStruct*, int, int) noexcept;
    HostBoolean (*drawOn)(REALgraphicsStruct*, REALpictureStruct*, REALpictureStruct*, HostLong,
                          HostLong, HostLong, HostLong, HostLong, HostLong, HostLong,
                          HostLong) noexcept;
    HostBoolean (*draw)(REALpictureStruct*, REALpictureStruct*, HostLong, HostLong, HostLong,
                        HostLong, HostLong, HostLong, HostLong, HostLong) noexcept;
    HostBoolean (*ownCopy)(REALpictureStruct*, REALpictureStruct*, HostLong, HostLong, HostLong,
                           HostLong, HostLong, HostLong, HostLong, HostLong) noexcept;
    int32_t (*width)(REALpictureStruct*) noexcept;
    int32_t (*height)(REALpictureStruct*) noexcept;
    REALpictureStruct* (*bitmap)(REALpictureStruct*) noexcept;
    HostBoolean (*hasAlpha)(REALpictureStruct*) noexcept;
    int32_t (*lockCount)(REALpictureStruct*) noexcept;
  } pictures;

  struct Toolkits {
    bool (*loadGdk)() noexcept;
    bool (*loadCairo)() noexcept;
  } toolkits;

  struct Waveform {
    void (*drawWuLine)(PictureEditor&, int32_t, int32_t, int32_t, int32_t) noexcept;
    int32_t *outlineRed, *outlineGreen, *outlineBlue;
  } waveform;
};
