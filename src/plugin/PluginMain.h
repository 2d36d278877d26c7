// Start-up: how the plug-in introduces itself to the host.
#pragma once

#include "frame/Abi.h"

/// Called once by the host, right after it has loaded the library.
extern "C" ZVK_EXPORT void REALPluginMain(HostResolver resolver) noexcept;

/// Declares everything that the plug-in adds to the host's language.
void PluginEntry() noexcept;

/// The end of start-up.
void MyPluginEnde() noexcept;
