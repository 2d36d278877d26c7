#include "Probe.h"

#include "frame/HostServices.h"

extern "C" ZVK_EXPORT const Probe zvkProbe = {
    .getStringData = &REALGetStringData,
    .disposeStringData = &REALDisposeStringData,
};
