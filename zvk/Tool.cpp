#include "Tool.h"

#include <cctype>
#include <cstdio>
#include <new>

#include "host/pictures/Display.h"

namespace zvk {

host::Settings hostSettings(const CommonOptions& options) {
  if (options.storage == host::Storage::kDrawable && !host::displayAvailable()) {
    throw InputError("--storage drawable: " + host::displayProblem() +
                     "; xvfb-run -a zvk ... brings an X server of its own");
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

int reportFailure() {
  // One line, whatever bytes of a file or an argument it quotes; no terminal obeys them.
  const auto report = [](std::string text, int status) {
    for (char& c : text) {
      if (iscntrl(static_cast<unsigned char>(c))) c = '?';
    }
    fprintf(stderr, "zvk: %s\n", text.c_str());
    return status;
  };
  try {
    throw;
  } catch (const CallFailed& error) {
    return report(error.what(), kCallFailed);
  } catch (const std::bad_alloc&) {
    return report("out of memory; smaller pictures or fewer --jobs need less", kCallFailed);
  } catch (const std::exception& error) {
    return report(error.what(), kWrongInput);
  }
}

}  // namespace zvk
