#include "HostState.h"

#include "HostServices.h"

double rbversion = 0.0;
HostBoolean IsConsole = false;
HostBoolean IsDesktop = false;

void CheckApplication() noexcept {
  const bool desktop = REALGetClassRef("Application") != nullptr;
  const bool web = REALGetClassRef("WebApplication") != nullptr;
  const bool console = REALGetClassRef("ConsoleApplication") != nullptr;
  if (desktop) {
    IsDesktop = true;
  } else if (web || console) {
    IsConsole = true;
  }
}
