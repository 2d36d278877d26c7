// The operations as they are declared to the host. The host keeps pointers into these records;
// start-up adjusts their flags in place.
#pragma once

#include <span>

#include "frame/Abi.h"

/// The methods that the plug-in adds to the host's own class Picture.
extern REALclassDefinition PictureExtensionClass;

/// The methods that belong to no class, in the order in which they are registered.
std::span<REALmethodDefinition> globalMethods() noexcept;
