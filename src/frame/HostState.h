// What the plug-in knows of the host that has loaded it.
#pragma once

#include "Abi.h"

/// The host's version, for example 2012.0; 0 until start-up and on hosts that report none.
extern double rbversion;

/// What kind of application runs; set once known, never cleared. Set by the first picture that is
/// opened.
extern HostBoolean IsConsole;
extern HostBoolean IsDesktop;

/// Sets IsDesktop or IsConsole from the application classes that the host knows; neither when it
/// knows none.
void CheckApplication() noexcept;
