// How declaration records are adjusted to the host before they are handed to it.
#pragma once

#include "frame/Abi.h"

/// A control was registered.
extern HostBoolean gHasControls;

/// Register a record after rounding its data size up to a multiple of 16 in place.
void MyREALRegisterClass(REALclassDefinition* definition) noexcept;
void MyREALRegisterControl(REALcontrol* definition) noexcept;
void MyREALRegisterClassExtension(REALclassDefinition* definition) noexcept;

/// On hosts of version 2010.029 or later, add the host's flag bits for our marker bits to every
/// flag word of the records. Null records and empty lists are left alone.
void FixConsoleFlags(REALmethodDefinition* method) noexcept;
void FixConsoleFlags(REALmethodDefinition* methods, HostLong count) noexcept;
void FixConsoleFlags(REALclassDefinition* definition) noexcept;
void FixConsoleFlags(REALmoduleDefinition* definition) noexcept;

void SetClassConsoleSafe(REALclassDefinition* definition) noexcept;
void SetClassWebOnly(REALclassDefinition* definition) noexcept;
