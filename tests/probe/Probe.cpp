#include "Probe.h"

#include "frame/HostServices.h"
#include "operations/SampleRendering.h"

extern "C" ZVK_EXPORT const Probe zvkProbe = {
    .getStringData = &REALGetStringData,
    .disposeStringData = &REALDisposeStringData,
    .drawWuLine = &DrawWuLine,
    .outlineRed = &gOutLineColorR,
    .outlineGreen = &gOutLineColorG,
    .outlineBlue = &gOutLineColorB,
};
