// zvk: the plug-in from the command line, inside the stand-in host.
#include <fcntl.h>
#include <unistd.h>

#include "Speech.h"
#include "Tool.h"

namespace {

// A file that is opened in place of a closed standard stream would receive what is printed.
void holdStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    // The wrong way round, so that reading and writing are still errors.
    open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) {
  holdStandardStreams();
  return zvk::guarded([&] {
    const int status = zvk::runCommandLine(argc, argv);
    zvk::finishOutput();
    return status;
  });
}
