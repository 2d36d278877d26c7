#include "filters/FilterClasses.h"

#include "filters/Filters.h"
#include "frame/DeclarationRecords.h"

namespace {

using namespace declare;

// --- PictureSepiaZVK ----------------------------------------------------------------------------

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
