#include "Tool.h"

#include <cstdio>

namespace zvk {

host::Settings hostSettings(const CommonOptions& options) {
  if (options.storage == host::Storage::kDrawable && !host::displayAvailable()) {
    throw InputError("--storage drawable needs an X display of depth 24 (DISPLAY names none)");
  }
  host::Settings settings = host::Settings::forStorage(options.storage);
  if (options.hostVersion) settings.version = options.hostVersion;
  settings.logging = false;
  return settings;
}

bool reportAccounts(const host::Host& host) {
  const std::vector<std::string> problems = host.accounts();
  for (const std::string& problem : problems) {
    fprintf(stderr, "zvk: the host's accounts are not balanced: %s\n", problem.c_str());
  }
  return problems.empty();
}

}  // namespace zvk
