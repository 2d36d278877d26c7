// What the stand-in host's own services cost in one call of the plug-in.
#pragma once

#include "Measure.h"
#include "Stage.h"

namespace bench {

/// Times the services that an operation with one source and a new result uses, called directly in
/// the same order, on a picture of one pixel. Nanoseconds per call.
Timing measureHostShare(Stage& stage, const Effort& effort);

}  // namespace bench
