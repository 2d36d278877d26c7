#include "host/pictures/Display.h"

#include <fcntl.h>
#include <gdk/gdk.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include "host/files/Library.h"

namespace host {

namespace {

struct DisplayLibrary {
  Library library{"libgdk-x11-2.0.so.0"}, connections{"libxcb.so.1"};
  ZVK_FUNCTION(gdk_init_check);
  ZVK_FUNCTION(gdk_visual_get_best_with_depth);
  decltype(&::xcb_parse_display) xcb_parse_display = connections.function("xcb_parse_display");
};

const DisplayLibrary& x() {
  static const DisplayLibrary functions;
  return functions;
}

bool isOpen = false;

/// While it lives, nothing reaches standard error: at each attempt the X library prints there what
/// the server said.
class Silence {
 public:
  Silence() : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
  }
  ~Silence() {
    dup2(kept_, STDERR_FILENO);
    close(kept_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int kept_;
};

/// A server that starts anew whenever its last client leaves refuses the next one meanwhile.
bool connectPatiently() {
  constexpr auto kPause = std::chrono::milliseconds(100);
  constexpr int kAttempts = 15;
  const Silence silence;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (x().gdk_init_check(nullptr, nullptr)) return true;
    std::this_thread::sleep_for(kPause);
  }
  return false;
}

/// What connecting a socket says; empty when somebody takes the call.
std::string answerAt(int family, const sockaddr* address, socklen_t size) {
  const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool answered = descriptor >= 0 && connect(descriptor, address, size) == 0;
  const int cause = errno;
  if (descriptor >= 0) close(descriptor);
  return answered ? "" : strerror(cause);
}

std::string answerOfThisMachine(int number) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "/tmp/.X11-unix/X%d", number);
  return answerAt(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

/// Why a server that its library cannot open does not take clients. `addresses` is null for one of
/// this machine.
std::string refusal(const addrinfo* addresses, int number) {
  const std::string answer =
      addresses != nullptr
          ? answerAt(addresses->ai_family, addresses->ai_addr, addresses->ai_addrlen)
          : answerOfThisMachine(number);
  return answer.empty() ? "the X server does not let this user in (xauth, xhost)"
                        : "no X server answers (" + answer + ")";
}

std::string connectionProblem(const char* name) {
  char* found = nullptr;
  int number = 0, screen = 0;
  if (x().xcb_parse_display(name, &found, &number, &screen) == 0) {
    return "no display is called so; possible are names such as :0 and host:0";
  }
  const std::unique_ptr<char, decltype(&free)> server(found, free);
  constexpr int kFirstPort = 6000;
  const bool remote = *found != '\0' && *found != '/' && strcmp(found, "unix") != 0;
  Addresses addresses(nullptr, freeaddrinfo);
  if (remote) {
    addrinfo wanted{}, *list = nullptr;
    wanted.ai_socktype = SOCK_STREAM;
    const int error =
        getaddrinfo(found, std::to_string(kFirstPort + number).c_str(), &wanted, &list);
    if (error != 0) return "there is no host " + std::string(found) + ": " + gai_strerror(error);
    addresses.reset(list);
  }
  if (!connectPatiently()) return refusal(addresses.get(), number);
  isOpen = true;
  const bool colours = x().gdk_visual_get_best_with_depth(kDrawableDepth) != nullptr;
  return colours ? "" : "the X server has no colours of 24 bits";
}

std::string findDisplayProblem() {
  const char* name = getenv("DISPLAY");
  if (name == nullptr || *name == '\0') return "DISPLAY is not set";
  try {
    const std::string problem = connectionProblem(name);
    return problem.empty() ? "" : "DISPLAY " + std::string(name) + ": " + problem;
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

}  // namespace

const std::string& displayProblem() {
  static const std::string problem = findDisplayProblem();
  return problem;
}

bool displayIsOpen() { return isOpen; }

}  // namespace host
