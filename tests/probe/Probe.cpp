#include "Probe.h"

#include <cstring>
#include <iterator>
#include <tuple>
#include <utility>

#include "frame/GraphicsHelpers.h"
#include "frame/HostCall.h"
#include "frame/HostServices.h"
#include "frame/HostState.h"
#include "frame/ValueHelpers.h"
#include "operations/SampleRendering.h"
#include "picture/PictureHelpers.h"
#include "plugin/Registration.h"

namespace {

// --- Service wrappers ---------------------------------------------------------------------------

void doNothing(void*) {}

/// A value that differs for each n; pointers lead to no memory.
template <typename T>
T sample(int n) noexcept {
  if constexpr (std::is_same_v<T, void (*)(void*)>) {
    return &doNothing;
  } else if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(static_cast<uintptr_t>(0x10000 * n + 0x40));
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(n + 0.5);
  } else {
    return static_cast<T>(-3 * n);  // negative: fills all bytes of every width
  }
}

template <typename T>
bool same(T a, T b) noexcept {
  return memcmp(&a, &b, sizeof a) == 0;
}

template <FixedString entryName, auto wrapper, int missing>
struct WrapperProbe;

template <FixedString entryName, typename R, typename... A, R (*wrapper)(A...) noexcept,
          int missing>
struct WrapperProbe<entryName, wrapper, missing> {
  static constexpr int kAnswer = 99;
  static inline std::tuple<A...> noted;
  static inline bool entered = false;

  static R entry(A... arguments) {
    noted = {arguments...};
    entered = true;
    if constexpr (!std::is_void_v<R>) return sample<R>(kAnswer);
  }

  template <size_t... n>
  static std::tuple<A...> samples(std::index_sequence<n...>) {
    return {sample<A>(int{n} + 1)...};
  }

  static ServiceProbe::Outcome call() {
    entered = false;
    noted = {};
    const std::tuple<A...> arguments = samples(std::index_sequence_for<A...>());
    bool resultRight = true;
    if constexpr (std::is_void_v<R>) {
      std::apply(wrapper, arguments);
    } else {
      const R result = std::apply(wrapper, arguments);
      R expected{};
      if constexpr (missing != 0) expected = static_cast<R>(missing);
      resultRight = same(result, entered ? sample<R>(kAnswer) : expected);
    }
    const bool argumentsRight =
        entered &&
        std::apply(
            [&](A... a) { return std::apply([&](A... b) { return (same(a, b) && ...); }, noted); },
            arguments);
    return {entered, argumentsRight, resultRight};
  }
};

template <FixedString entryName, auto wrapper, int missing = 0>
ServiceProbe service() {
  using P = WrapperProbe<entryName, wrapper, missing>;
  return {entryName.text, reinterpret_cast<void*>(&P::entry), &P::call};
}

/// One of several functions of a name, by its type.
template <typename Signature>
constexpr Signature* overload(Signature* function) {
  return function;
}

template <typename T>
using Getter = HostBoolean(REALobjectStruct*, const char*, T*) noexcept;
template <typename T>
using Setter = HostBoolean(REALobjectStruct*, const char*, T) noexcept;

template <FixedString entryName, typename T>
ServiceProbe getter() {
  return service<entryName, overload<Getter<T>>(&REALGetPropValue)>();
}
template <FixedString entryName, typename T>
ServiceProbe setter() {
  return service<entryName, overload<Setter<T>>(&REALSetPropValue)>();
}

using LockAs = HostBoolean(REALpictureStruct*, REALpictureDescription*, HostLong) noexcept;
using LockAny = HostBoolean(REALpictureStruct*, REALpictureDescription*) noexcept;
using NewByName = REALobjectStruct*(const char*) noexcept;
using NewByClass = REALobjectStruct*(REALclassRefStruct*) noexcept;
using IsA = HostBoolean(REALobjectStruct*, REALclassRefStruct*) noexcept;
using IsAByName = HostBoolean(REALobjectStruct*, const char*) noexcept;
using DrawPrimitive = void(REALgraphicsStruct*, REALpictureStruct*, const RB::Rect*, int) noexcept;
using DrawPlain = void(REALgraphicsStruct*, REALpictureStruct*, const RB::Rect*) noexcept;

const ServiceProbe kWrappers[] = {
    service<"PluginRegisterClass", &REALRegisterClass>(),
    service<"PluginRegisterClassExtension", &REALRegisterClassExtension>(),
    service<"PluginRegisterMethod", &REALRegisterMethod>(),
    service<"PluginRegisterControl", &REALRegisterControl>(),
    service<"PluginRegisterModule", &REALRegisterModule>(),
    service<"PluginRegisterBackgroundTask", &REALRegisterBackgroundTask, -1>(),
    service<"PluginUnregisterBackgroundTask", &REALUnregisterBackgroundTask>(),
    service<"REALinRuntime", &REALinRuntime>(),
    service<"REALInDebugMode", &REALInDebugMode>(),
    service<"REALYieldToRB", &REALYieldToRB>(),
    service<"PluginCallFunctionWithExceptionHandler", &REALCallFunctionWithExceptionHandler>(),

    service<"REALLockObject", &REALLockObject>(),
    service<"REALUnlockObject", &REALUnlockObject>(),
    service<"PluginNewInstance", overload<NewByName>(&REALnewInstance)>(),
    service<"CreateInstance", overload<NewByClass>(&REALnewInstance)>(),
    service<"pluginObjectType", &REALGetClassRef>(),
    service<"RuntimeObjectIsa", overload<IsA>(&REALObjectIsA)>(),
    service<"PluginGetPluginData", &REALGetPluginData>(),
    service<"GetEventInstance", &REALGetEventInstance>(),
    service<"RuntimeRaiseException", &REALRaiseException>(),
    service<"RuntimeMsgBox", &REALMessageBox>(),
    service<"REALLoadObjectMethod", &REALLoadObjectMethod>(),

    getter<"REALGetPropValueInt", HostLong>(),
    getter<"REALGetPropValueBool", HostBoolean>(),
    getter<"REALGetPropValueString", REALstringStruct*>(),
    getter<"REALGetPropValueDouble", double>(),
    getter<"REALGetPropValueObject", REALobjectStruct*>(),
    getter<"REALGetPropValueInt64", long long>(),
    getter<"REALGetPropValueUInt64", unsigned long long>(),
    getter<"REALGetPropValueUInt32", HostULong>(),
    getter<"REALGetPropValueUInt16", unsigned short>(),
    getter<"REALGetPropValueInt16", short>(),
    getter<"REALGetPropValueInt8", char>(),
    getter<"REALGetPropValueSingle", float>(),
    setter<"REALSetPropValueInt", HostLong>(),
    setter<"REALSetPropValueString", REALstringStruct*>(),
    setter<"REALSetPropValueDouble", double>(),
    setter<"REALSetPropValueObject", REALobjectStruct*>(),
    setter<"REALSetPropValueUInt32", HostULong>(),
    setter<"REALSetPropValueUInt64", unsigned long long>(),
    setter<"REALSetPropValueInt64", long long>(),
    setter<"REALSetPropValueBoolean", HostBoolean>(),

    service<"StringToVariant", &REALNewVariantString>(),
    service<"Int32ToVariant", &REALNewVariantInteger>(),
    service<"DoubleToVariant", &REALNewVariantDouble>(),
    service<"BooleanToVariant", &REALNewVariantBoolean>(),
    service<"ColorToVariant", &REALNewVariantColor>(),
    service<"UInt32ToVariant", &REALNewVariantUInt32>(),
    service<"Int64ToVariant", &REALNewVariantInt64>(),
    service<"UInt64ToVariant", &REALNewVariantUInt64>(),
    service<"SingleToVariant", &REALNewVariantSingle>(),

    service<"REALBuildString", &originalREALBuildString>(),
    service<"REALLockString", &REALLockString>(),
    service<"REALUnlockString", &REALUnlockString>(),
    service<"REALSetStringEncoding", &REALSetStringEncoding>(),
    service<"REALGetStringEncoding", &REALGetStringEncoding>(),
    service<"RuntimeStringCompare", &REALCompareStrings>(),
    service<"RuntimeAddString", &REALAddStrings>(),
    service<"REALConvertString", &REALConvertString>(),
    service<"REALGetFontEncoding", &REALGetFontEncoding>(),

    service<"newPicture", &REALNewPicture>(),
    service<"pluginPictureGraphicsGetter", &REALGetPictureGraphics>(),
    service<"REALLockPictureDescription", overload<LockAs>(&REALLockPictureDescription)>(),
    service<"lockPictureDescription", overload<LockAny>(&REALLockPictureDescription)>(),
    service<"unlockPictureDescription", &REALUnlockPictureDescription>(),
    service<"REALPictureClearCache", &REALPictureClearCache>(),
    service<"REALBuildPictureFromBuffer", &REALBuildPictureFromBuffer>(),
    service<"REALBuildPictureFromGWorld", &REALBuildPictureFromGWorld>(),
    service<"REALGetPictureMask", &REALGetPictureMask>(),
    service<"REALDrawPicturePrimitive", overload<DrawPrimitive>(&REALDrawPicturePrimitive)>(),
    service<"RuntimeGraphicsDrawString", &REALGraphicsDrawString>(),
    service<"RuntimeGraphicsDrawLine", &GraphicsDrawLine>(),
    service<"REALGraphicsDC", &REALGraphicsDC>(),
    service<"REALGetGraphicsOrigin", &REALGetGraphicsOrigin>(),
    service<"REALSetGraphicsOrigin", &REALSetGraphicsOrigin>(),

    service<"newMemoryBlock", &REALNewMemoryBlock>(),
    service<"memoryBlockGetPtr", &REALMemoryBlockGetPtr>(),
    service<"memoryBlockGetSize", &REALMemoryBlockGetSize>(),
    service<"PtrToMemoryBlock", &REALPtrToMemoryBlock>(),

    service<"GetControlBounds", &REALGetControlBounds>(),
    service<"REALGetControlGraphics", &REALGetControlGraphics>(),
    service<"getControlWindow", &REALGetControlWindow>(),
    service<"GetTabPanelVisible", &REALGetTabPanelVisible>(),
    service<"REALpathFromFolderItem", &REALpathFromFolderItem>(),

    service<"RuntimeUBound", &REALGetArrayUBound>(),
    service<"RuntimeDirectReadIntArray", &REALGetArrayInt>(),
    service<"RuntimeDirectReadStringArray", &REALGetArrayString>(),
    service<"RuntimeDirectReadObjectArray", &REALGetArrayObject>(),
    service<"RuntimeArrayCreateSingleDimBoundedArray", &REALCreateArray>(),
};

// --- Arrays -------------------------------------------------------------------------------------

/// The routines for exactly T, without conversions.
template <typename T, bool inserts, bool sets>
constexpr ElementProbe<T> element() {
  ElementProbe<T> probe{nullptr, &REALGetArrayValue, nullptr};
  if constexpr (inserts) probe.insert = &REALInsertArrayValue;
  if constexpr (sets) probe.set = &REALSetArrayValue;
  return probe;
}

}  // namespace

extern "C" ZVK_EXPORT const Probe zvkProbe;
#define ZVK_VALUE(Result, member, routine, parameters) .member = &routine,
const Probe zvkProbe = {
    .state = {&gResolver, &rbversion, &IsConsole, &IsDesktop, &gHasControls},
    .startUp = {ZVK_STARTUP(ZVK_VALUE)},
    .services = {ZVK_SERVICES(ZVK_VALUE).wrappers = kWrappers,
                 .wrapperCount = static_cast<int>(std::size(kWrappers)),
                 .int64 = element<long long, true, true>(),
                 .int32 = element<HostLong, true, true>(),
                 .uint64 = element<unsigned long long, true, true>(),
                 .uint32 = element<HostULong, true, true>(),
                 .uint16 = element<unsigned short, true, false>(),
                 .uint8 = element<unsigned char, false, false>(),
                 .single = element<float, true, false>(), .real = element<double, true, true>(),
                 .string = element<REALstringStruct*, true, true>(),
                 .object = element<REALobjectStruct*, true, true>()},
    .values = {ZVK_VALUES(ZVK_VALUE)},
    .editors = {ZVK_EDITORS(ZVK_VALUE)},
    .pictures = {ZVK_PICTURES(ZVK_VALUE)},
    .toolkits = {.loadGdk = &LoadGTK, .loadCairo = &LoadCairo},
    .waveform = {.drawWuLine = &DrawWuLine,
                 .outlineRed = &gOutLineColorR,
                 .outlineGreen = &gOutLineColorG,
                 .outlineBlue = &gOutLineColorB},
};
