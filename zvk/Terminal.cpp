#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace zvk {

size_t textWidth() {
  constexpr size_t kLeast = 40, kUsual = 80, kMost = 100;
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? std::clamp<size_t>(size.ws_col, kLeast, kMost) : kUsual;
}

bool textIsStyled() {
  const char* refused = getenv("NO_COLOR");
  return isAbleTerminal(STDOUT_FILENO) && (refused == nullptr || *refused == '\0');
}

bool isAbleTerminal(int descriptor) {
  const char* kind = getenv("TERM");
  return isatty(descriptor) != 0 && kind != nullptr && std::string_view(kind) != "dumb";
}

std::string emphasized(std::string_view text) {
  if (!textIsStyled()) return std::string(text);
  return "\033[1m" + std::string(text) + "\033[0m";
}

}  // namespace zvk
