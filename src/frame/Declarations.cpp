#include "Declarations.h"

#include "DeclarationGrammar.h"
#include "HostService.h"
#include "filters/Filters.h"
#include "operations/Operations.h"

namespace {

template <auto routine>
void* addressOf() noexcept {
  return reinterpret_cast<void*>(routine);
}

template <FixedString text>
consteval grammar::Declaration parsed() {
  constexpr auto declaration = grammar::parse(text.text);
  static_assert(declaration.has_value(), "the declaration is malformed");
  return *declaration;
}

/// What a method receives before its declared parameters.
template <typename Self>
struct MethodOf {
  template <FixedString text, auto routine>
  static REALmethodDefinition method(int32_t flags = kMarkConsoleSafe) noexcept {
    static_assert(grammar::Signature<decltype(routine), Self>::matches(parsed<text>()),
                  "the routine is not what its declaration says");
    return {addressOf<routine>(), nullptr, text.text, flags};
  }

  /// An assignable method: the setter receives the value behind the declared parameters.
  template <FixedString text, auto getter, auto setter>
  static REALmethodDefinition assignable(int32_t flags = kMarkConsoleSafe) noexcept {
    static_assert(
        grammar::Signature<decltype(setter), Self>::matches(grammar::asAssignment(parsed<text>())),
        "the setter is not what its declaration says");
    REALmethodDefinition record = method<text, getter>(flags);
    record.setter = addressOf<setter>();
    return record;
  }
};

using PictureMethod = MethodOf<REALpictureStruct*>;
using InstanceMethod = MethodOf<REALobjectStruct*>;

template <FixedString text, auto routine>
REALmethodDefinition globalMethod() noexcept {
  static_assert(grammar::Signature<decltype(routine)>::matches(parsed<text>()),
                "the routine is not what its declaration says");
  return {addressOf<routine>(), nullptr, text.text, kMarkConsoleSafe};
}

/// A property that the host stores in the instance data by itself.
REALpropertyDefinition storedProperty(const char* name, const char* type, size_t position,
                                      int32_t flags) noexcept {
  return {
      nullptr, name, type, flags, hostAccessor(), hostAccessor(), static_cast<int32_t>(position),
      {}};
}

/// A Double property that goes through routines of ours.
template <auto getter, auto setter>
REALpropertyDefinition computedProperty(const char* name) noexcept {
  static_assert(
      std::is_same_v<decltype(getter), double (*)(REALobjectStruct*, HostLong) noexcept> &&
      std::is_same_v<decltype(setter), void (*)(REALobjectStruct*, HostLong, double) noexcept>);
  return {nullptr, name, "Double", 0, addressOf<getter>(), addressOf<setter>(), 0, {}};
}

template <typename Record, size_t count>
constexpr int32_t countOf(const Record (&)[count]) noexcept {
  return static_cast<int32_t>(count);
}

// --- PictureSepiaZVK ----------------------------------------------------------------------------

constexpr int32_t kNotMarked = 0;

REALpropertyDefinition sepiaProperties[] = {
    storedProperty("SourcePicture", "Picture", offsetof(PictureSepiaData, sourcePicture), 0),
    storedProperty("DestinationPicture", "Picture", offsetof(PictureSepiaData, destinationPicture),
                   0),
    storedProperty("MaxX", "Integer", offsetof(PictureSepiaData, maxX), 0),
    storedProperty("MinX", "Integer", offsetof(PictureSepiaData, minX), 0),
    storedProperty("MaxY", "Integer", offsetof(PictureSepiaData, maxY), 0),
    storedProperty("MinY", "Integer", offsetof(PictureSepiaData, minY), 0),
    storedProperty("SepiaRed", "Integer", offsetof(PictureSepiaData, sepiaRed), 0),
    storedProperty("SepiaGreen", "Integer", offsetof(PictureSepiaData, sepiaGreen), 0),
    storedProperty("SepiaBlue", "Integer", offsetof(PictureSepiaData, sepiaBlue), 0),
    computedProperty<&GetFactorR, &SetFactorR>("FactorRed"),
    computedProperty<&GetFactorB, &SetFactorB>("FactorBlue"),
    computedProperty<&GetFactorG, &SetFactorG>("FactorGreen"),
};

REALmethodDefinition sepiaMethods[] = {
    InstanceMethod::method<"Close", &SepiaClose>(kNotMarked),
    InstanceMethod::method<"Run as boolean", &SepiaRun>(kNotMarked),
};

// --- PictureLut3DZVK ----------------------------------------------------------------------------

REALpropertyDefinition lut3DProperties[] = {
    storedProperty("SourcePicture", "Picture", offsetof(Lut3DData, sourcePicture),
                   kMarkConsoleSafe),
    storedProperty("DestinationPicture", "Picture", offsetof(Lut3DData, destinationPicture),
                   kMarkConsoleSafe),
    storedProperty("MaxX", "Integer", offsetof(Lut3DData, maxX), kMarkConsoleSafe),
    storedProperty("MinX", "Integer", offsetof(Lut3DData, minX), kMarkConsoleSafe),
    storedProperty("MaxY", "Integer", offsetof(Lut3DData, maxY), kMarkConsoleSafe),
    storedProperty("MinY", "Integer", offsetof(Lut3DData, minY), kMarkConsoleSafe),
};

REALmethodDefinition lut3DMethods[] = {
    InstanceMethod::method<"Close", &Lut3DClose>(),
    InstanceMethod::method<"Run as boolean", &Lut3DRun>(),
    InstanceMethod::assignable<
        "Table(r as integer, g as integer, b as integer, x as integer) as double", &Lut3DGetTable,
        &Lut3DSetTable>(),
};

// --- Picture ------------------------------------------------------------------------------------

REALmethodDefinition pictureMethods[] = {
    PictureMethod::method<"ColornessZVK(threshold as integer = 10) as double", &ColornessZVK>(
        kNotMarked),
    PictureMethod::method<
        "ScrollVerticalZVK(delta as integer, wrap as boolean, scrollmask as boolean) as boolean",
        &ScrollVerticalZVK>(kNotMarked),
    PictureMethod::method<
        "ScrollHorizontalZVK(delta as integer, wrap as boolean, scrollmask as boolean) as boolean",
        &ScrollHorizontalZVK>(kNotMarked),
    PictureMethod::method<"ScrollZVK(deltaX as integer, deltaY as integer, wrap as boolean, "
                          "scrollmask as boolean) as boolean",
                          &ScrollZVK>(kNotMarked),
    PictureMethod::method<"HasMaskZVK as boolean", &PictureHasMask>(),
    PictureMethod::method<
        "ChangeContrastBrightnessAbsoluteZVK(ContrastRed as double, ContrastGreen as double, "
        "ContrastBlue as double, BrightnessRed as double, BrightnessGreen as double, "
        "BrightnessBlue as double) as picture",
        &ContrastAbsBrightnessPicture3>(),
    PictureMethod::method<
        "ChangeContrastBrightnessLinearZVK(ContrastRed as double, ContrastGreen as double, "
        "ContrastBlue as double, BrightnessRed as double, BrightnessGreen as double, "
        "BrightnessBlue as double) as picture",
        &ContrastLinBrightnessPicture3>(),
    PictureMethod::method<"ChangeContrastBrightnessAbsoluteZVK(Contrast as double, Brightness as "
                          "double) as picture",
                          &ContrastAbsBrightnessPicture1>(),
    PictureMethod::method<"ChangeContrastBrightnessLinearZVK(Contrast as double, Brightness as "
                          "double) as picture",
                          &ContrastLinBrightnessPicture1>(),
    PictureMethod::method<"ChangeBrightnessAbsoluteZVK(BrightnessRed as double, BrightnessGreen as "
                          "double, BrightnessBlue as double) as picture",
                          &AbsBrightnessPicture3>(),
    PictureMethod::method<"ChangeBrightnessLinearZVK(BrightnessRed as double, BrightnessGreen as "
                          "double, BrightnessBlue as double) as picture",
                          &LinBrightnessPicture3>(),
    PictureMethod::method<"ChangeBrightnessAbsoluteZVK(Brightness as double) as picture",
                          &AbsBrightnessPicture1>(),
    PictureMethod::method<"ChangeBrightnessLinearZVK(Brightness as double) as picture",
                          &LinBrightnessPicture1>(),
    PictureMethod::method<"ChangeContrastZVK(Contrast as double) as picture", &ContrastPicture1>(),
    PictureMethod::method<"ChangeContrastZVK(ContrastRed as double, ContrastGreen as double, "
                          "ContrastBlue as double) as picture",
                          &ContrastPicture3>(),
    PictureMethod::method<"ChangeCustomZVK(a as double, b as double) as picture",
                          &TransformPicture>(),
    PictureMethod::method<"InvertZVK(left as integer,top as integer,width as integer,height as "
                          "integer) as picture",
                          &InvertPicture>(),
    PictureMethod::method<"InvertZVK as picture", &InvertPicture2>(),
    PictureMethod::method<"InvertGrayZVK(left as integer,top as integer,width as integer,height as "
                          "integer) as picture",
                          &InvertGrayPicture>(),
    PictureMethod::method<"InvertGrayZVK as picture", &InvertGrayPicture2>(),
    PictureMethod::method<"ExtractColorRectangleMaskZVK(left as integer,top as integer,width as "
                          "integer,height as integer) as picture",
                          &ExtractColorRectangleMaskZVK>(),
    PictureMethod::method<"ExtractColorRectangleMaskZVK as picture",
                          &ExtractColorRectangleMaskZVK2>(),
    PictureMethod::assignable<"EmbeddedMaskZVK(swap as boolean) as picture", &GetEmbededMask,
                              &SetEmbededMask>(),
    PictureMethod::method<"CountColorZVK(col as color) as integer", &CountColorZVK>(),
    PictureMethod::method<"CountColorsZVK(byref red as memoryblock, byref blue as memoryblock, "
                          "byref green as memoryblock, byref count as integer)",
                          &CountColorsZVK>(kNotMarked),
    PictureMethod::method<"TransformColorsZVK(red as memoryblock, blue as memoryblock, green as "
                          "memoryblock) as picture",
                          &TransformColorsZVK>(kNotMarked),
    PictureMethod::method<
        "ReplaceColorZVK(SearchColor as color, ReplaceWithColor as color) as picture",
        &ReplaceColorZVK>(kNotMarked),
    PictureMethod::method<"ExtractColorZVK(SearchColor as color, ReplaceWithColor as color, "
                          "BackGroundColor as color) as picture",
                          &ExtractColorZVK>(kNotMarked),
    PictureMethod::method<"ChangeSaturationZVK(Amount as integer) as picture",
                          &SaturationPicture>(),
    PictureMethod::method<"ReplaceRedChannelZVK(RedChannel as picture) as picture",
                          &ReplaceRedChannel>(),
    PictureMethod::method<"ReplaceGreenChannelZVK(GreenChannel as picture) as picture",
                          &ReplaceGreenChannel>(),
    PictureMethod::method<"ReplaceBlueChannelZVK(BlueChannel as picture) as picture",
                          &ReplaceBlueChannel>(),
    PictureMethod::method<
        "FindPicture(pic as picture, byref x as integer, byref y as integer) as boolean",
        &FindPicture>(),
    PictureMethod::method<"isWhiteZVK as boolean", &isWhite2>(),
    PictureMethod::method<"isBlackZVK as boolean", &isBlack2>(),
    PictureMethod::method<"isWhiteZVK(left as integer,top as integer,width as integer,height as "
                          "integer) as boolean",
                          &isWhite>(),
    PictureMethod::method<"isBlackZVK(left as integer,top as integer,width as integer,height as "
                          "integer) as boolean",
                          &isBlack>(),
};
static_assert(countOf(pictureMethods) == 37);

}  // namespace

REALclassDefinition PictureSepiaClass = {
    .version = kPluginInterfaceVersion,
    .name = "PictureSepiaZVK",
    .dataSize = (sizeof(PictureSepiaData) + 15) / 16 * 16,
    .constructor = addressOf<&SepiaConstructor>(),
    .destructor = addressOf<&SepiaClose>(),
    .properties = sepiaProperties,
    .propertyCount = countOf(sepiaProperties),
    .methods = sepiaMethods,
    .methodCount = countOf(sepiaMethods),
};

REALclassDefinition Lut3DClass = {
    .version = kPluginInterfaceVersion,
    .name = "PictureLut3DZVK",
    .dataSize = sizeof(Lut3DData),
    .constructor = addressOf<&Lut3DConstructor>(),
    .destructor = addressOf<&Lut3DClose>(),
    .properties = lut3DProperties,
    .propertyCount = countOf(lut3DProperties),
    .methods = lut3DMethods,
    .methodCount = countOf(lut3DMethods),
    .flags = kFlagConsoleSafe,
};

REALclassDefinition PictureExtensionClass = {
    .version = kPluginInterfaceVersion,
    .name = "Picture",
    .methods = pictureMethods,
    .methodCount = countOf(pictureMethods),
    .flags = kFlagConsoleSafe,
};

REALmethodDefinition GlobalMethodTable[] = {
    globalMethod<"BinaryStringtoPictureZVK(data as String) as Picture", &BinaryStringtoPicture>(),
    globalMethod<"PicturetoBinaryStringZVK(p as picture) as string", &PicturetoBinaryString>(),
    globalMethod<"CombinePicturesZVK(red as picture, blue as picture, green as picture) as picture",
                 &CombinePicturesZVK>(),
    globalMethod<"MergePictureZVK(source1 as picture, source2 as picture) as picture",
                 &MergePicture>(),
    globalMethod<"TintPictureZVK(source as picture, GreyBase as color, SepiaBase as color) as "
                 "picture",
                 &TintPicture>(),
    globalMethod<"RenderSamplesZVK(Samples as memoryblock, SampleCount as integer, Smooth as "
                 "integer, Width as integer, Height as integer, outlinewidth as integer, BackColor "
                 "as color=&c88B5C4, ForeColor as color=&c274C5A, OutLineColor as color=&c203F4E) "
                 "as Picture",
                 &RenderSamples>(),
};
static_assert(countOf(GlobalMethodTable) == kGlobalMethodCount);
