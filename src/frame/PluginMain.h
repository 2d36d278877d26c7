// Start-up: how the plug-in introduces itself to the host.
#pragma once

#include "Abi.h"

/// The host's version, for example 2012.0; 0 until start-up and on hosts that report none.
extern double rbversion;

/// What kind of application runs; set once known, never cleared. Set by the first picture that is
/// opened.
extern HostBoolean IsConsole;
extern HostBoolean IsDesktop;
extern HostBoolean gHasControls;

/// Called once by the host, right after it has loaded the library.
extern "C" ZVK_EXPORT void REALPluginMain(HostResolver resolver) noexcept;

/// Declares everything that the plug-in adds to the host's language.
void PluginEntry() noexcept;

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

/// Sets IsDesktop or IsConsole from the application classes that the host knows; neither when it
/// knows none.
void CheckApplication() noexcept;

void MyPluginEnde() noexcept;
