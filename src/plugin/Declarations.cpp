#include "plugin/Declarations.h"

#include "frame/DeclarationRecords.h"
#include "operations/Operations.h"

namespace {

using namespace declare;

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

REALmethodDefinition globalMethodTable[] = {
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

}  // namespace

REALclassDefinition PictureExtensionClass = {
    .version = kPluginInterfaceVersion,
    .name = "Picture",
    .methods = pictureMethods,
    .methodCount = countOf(pictureMethods),
    .flags = kFlagConsoleSafe,
};

std::span<REALmethodDefinition> globalMethods() noexcept { return globalMethodTable; }
