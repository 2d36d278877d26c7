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

// What is probed, once for the table's type and once for its values: result, member, routine and
// parameters.
#define ZVK_STARTUP(X)                                                                  \
  X(void*, resolve, HCallResolver, (const char*))                                       \
  X(void, registerClass, MyREALRegisterClass, (REALclassDefinition*))                   \
  X(void, registerClassExtension, MyREALRegisterClassExtension, (REALclassDefinition*)) \
  X(void, registerControl, MyREALRegisterControl, (REALcontrol*))                       \
  X(void, fixMethod, FixConsoleFlags, (REALmethodDefinition*))                          \
  X(void, fixMethods, FixConsoleFlags, (REALmethodDefinition*, HostLong))               \
  X(void, fixClass, FixConsoleFlags, (REALclassDefinition*))                            \
  X(void, fixModule, FixConsoleFlags, (REALmoduleDefinition*))                          \
  X(void, setConsoleSafe, SetClassConsoleSafe, (REALclassDefinition*))                  \
  X(void, setWebOnly, SetClassWebOnly, (REALclassDefinition*))                          \
  X(void, checkApplication, CheckApplication, ())
#define ZVK_SERVICES(X)                                                       \
  X(void*, loadFrameworkMethod, REALLoadFrameworkMethod, (const char*))       \
  X(REALobjectStruct*, newInstanceOf, REALnewInstance, (REALclassRefStruct*)) \
  X(HostLong, callWithExceptionHandler, REALCallFunctionWithExceptionHandler, \
    (void (*)(void*), void*))                                                 \
  X(HostBoolean, getStringData, REALGetStringData,                            \
    (REALstringStruct*, HostULong, REALstringData*))                          \
  X(void, disposeStringData, REALDisposeStringData, (REALstringData*))
#define ZVK_VALUES(X)                                                                             \
  X(REALstringStruct*, buildUnicodeString, REALBuildUnicodeString, (const void*, int, HostULong)) \
  X(void, raiseException, RaiseException, (const char*, const char*))                             \
  X(REALstringStruct*, cString, CString2RBmax, (const char*, HostULong, int))                     \
  X(REALstringStruct*, utf16, UnicodeCString2RB, (const unsigned short*))                         \
  X(REALstringStruct*, utf32, UnicodeCString2RB, (const wchar_t*))                                \
  X(REALstringStruct*, convertFast, REALConvertStringFast, (REALstringStruct*, HostULong))        \
  X(HostULong, lowestEncoding, REALGetLowestStringEncoding, (REALstringStruct*))                  \
  X(HostULong, toOSType, REALstringToOSType, (REALstringStruct*))                                 \
  X(REALstringStruct*, fromOSType, REALBuildOSTypeString, (HostULong))                            \
  X(HostBoolean, isMemoryBlock, IsMemoryBlock, (REALobjectStruct*))                               \
  X(HostBoolean, isFolderItem, IsFolderItem, (REALobjectStruct*))                                 \
  X(HostBoolean, isA, REALObjectIsA, (REALobjectStruct*, const char*))                            \
  X(REALmemoryBlockStruct*, buildMemoryBlock, REALBuildMemoryblock, (const void*, int))           \
  X(void, debugLog, DebugLog, (REALstringStruct*))                                                \
  X(HostULong, tickCount, TickCount, ())                                                          \
  X(void, drawPrimitive, REALDrawPicturePrimitive,                                                \
    (REALgraphicsStruct*, REALpictureStruct*, const RB::Rect*))
#define ZVK_EDITORS(X)                                                                         \
  X(HostBoolean, reader, GetPictureReader,                                                     \
    (PictureEditor&, REALpictureStruct*, signed char, signed char))                            \
  X(HostBoolean, plainReader, GetPictureReader, (PictureEditor&, REALpictureStruct*))          \
  X(HostBoolean, editor, GetPictureEditor, (PictureEditor&, REALpictureStruct*))               \
  X(HostBoolean, writer, NewPictureWriter, (PictureEditor&, int, int))                         \
  X(HostBoolean, writerInto, NewPictureWriter, (PictureEditor&, REALpictureStruct*, int, int)) \
  X(HostBoolean, alphaWriter, NewPictureWriterWithAlphaChannel, (PictureEditor&, int, int))    \
  X(HostBoolean, writerLike, NewPictureWriter, (PictureEditor&, PictureEditor&))               \
  X(HostBoolean, writerMaybeAlpha, NewPictureWriter, (PictureEditor&, int, int, signed char))  \
  X(HostBoolean, bufferWriter, NewPictureWriterLinux, (PictureEditor&, HostLong, HostLong))    \
  X(REALpictureStruct*, render, RenderPictureWriter, (PictureEditor&))                         \
  X(void, closeReader, ClosePictureReader, (PictureEditor&))                                   \
  X(void, closeEditor, ClosePictureEditor, (PictureEditor&))                                   \
  X(void, freeWriter, FreePictureWriter, (PictureEditor&))                                     \
  X(int32_t, bytesPerPixel, GetBytesPerPixel, (PictureEditor&))                                \
  X(int32_t, redOffset, GetRedOffset, (PictureEditor&))                                        \
  X(int32_t, greenOffset, GetGreenOffset, (PictureEditor&))                                    \
  X(int32_t, blueOffset, GetBlueOffset, (PictureEditor&))
#define ZVK_PICTURES(X)                                                                          \
  X(REALpictureStruct*, make, NewPicture, (int, int, signed char))                               \
  X(REALpictureStruct*, makeWithAlpha, NewPictureWithAlphaChannel, (int, int))                   \
  X(REALpictureStruct*, clone, ClonePicture, (REALpictureStruct*))                               \
  X(REALpictureStruct*, clonePart, ClonePicture, (REALpictureStruct*, int, int))                 \
  X(REALpictureStruct*, cloneWithMask, ClonePictureWithMask, (REALpictureStruct*))               \
  X(REALpictureStruct*, clonePartWithMask, ClonePictureWithMask, (REALpictureStruct*, int, int)) \
  X(HostBoolean, drawOn, GraphicsDrawPicture,                                                    \
    (REALgraphicsStruct*, REALpictureStruct*, REALpictureStruct*, HostLong, HostLong, HostLong,  \
     HostLong, HostLong, HostLong, HostLong, HostLong))                                          \
  X(HostBoolean, draw, GraphicsDrawPicture,                                                      \
    (REALpictureStruct*, REALpictureStruct*, HostLong, HostLong, HostLong, HostLong, HostLong,   \
     HostLong, HostLong, HostLong))                                                              \
  X(HostBoolean, ownCopy, OwnCopy,                                                               \
    (REALpictureStruct*, REALpictureStruct*, HostLong, HostLong, HostLong, HostLong, HostLong,   \
     HostLong, HostLong, HostLong))                                                              \
  X(int32_t, width, GetPictureWidth, (REALpictureStruct*))                                       \
  X(int32_t, height, GetPictureHeight, (REALpictureStruct*))                                     \
  X(REALpictureStruct*, bitmap, BitmapPicture, (REALpictureStruct*))                             \
  X(HostBoolean, hasAlpha, PictureHasAlphaChannel, (REALpictureStruct*))                         \
  X(int32_t, lockCount, GetPictureLockCount, (REALpictureStruct*))
#define ZVK_MEMBER(Result, member, routine, parameters) Result(*member) parameters noexcept;

struct Probe {
  struct State {
    HostResolver* resolver;
    double* hostVersion;
    HostBoolean* isConsole;
    HostBoolean* isDesktop;
    HostBoolean* hasControls;
  } state;

  struct StartUp {
    ZVK_STARTUP(ZVK_MEMBER)
  } startUp;

  struct Services {
    ZVK_SERVICES(ZVK_MEMBER)
    const ServiceProbe* wrappers;
    int wrapperCount;
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
    ZVK_VALUES(ZVK_MEMBER)
  } values;

  struct Editors {
    ZVK_EDITORS(ZVK_MEMBER)
  } editors;

  struct Pictures {
    ZVK_PICTURES(ZVK_MEMBER)
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
