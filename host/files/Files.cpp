#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

namespace host {

namespace fs = std::filesystem;

namespace {

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

[[noreturn]] void failToWrite(const std::string& path, const std::string& cause) {
  throw FileError(outputName(path) + ": cannot be written: " + cause);
}

void fill(FILE* file, const std::string& path, const std::function<void(FILE*)>& write) {
  errno = 0;
  write(file);
  if (fflush(file) != 0 || ferror(file)) failToWrite(path, strerror(errno));
}

// --- Temporary files ----------------------------------------------------------------------------

/// The file that is being written, for the signal handler; empty when there is none.
char temporaryPath[PATH_MAX];
volatile sig_atomic_t temporaryExists = 0;

constexpr int kEndingSignals[] = {SIGINT,  SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU,
                                  SIGALRM, SIGABRT, SIGBUS, SIGFPE,  SIGILL,  SIGSEGV};

void removeTemporaryFile(int signal) {
  if (temporaryExists) unlink(temporaryPath);
  std::signal(signal, SIG_DFL);
  raise(signal);
}

/// Where a signal is left to end the process, it takes the temporary file with it. A file that
/// grows beyond a limit is an error like others.
void guardAgainstSignals() {
  static bool done = false;
  if (std::exchange(done, true)) return;
  for (const int number : kEndingSignals) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler != SIG_DFL) continue;
    action.sa_handler = removeTemporaryFile;
    sigaction(number, &action, nullptr);
  }
  std::signal(SIGXFSZ, SIG_IGN);
}

/// A new file beside another one; removed unless it takes that one's place.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& target) : target_(target) {
    guardAgainstSignals();
    const std::string pattern = target + ".XXXXXX";
    if (pattern.size() >= sizeof temporaryPath) failToWrite(target, strerror(ENAMETOOLONG));
    // A signal before the name is complete finds nothing to remove.
    sigset_t all, old;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &old);
    strcpy(temporaryPath, pattern.c_str());
    const int descriptor = mkstemp(temporaryPath);
    const int cause = errno;
    temporaryExists = descriptor >= 0;
    sigprocmask(SIG_SETMASK, &old, nullptr);
    if (descriptor < 0) failToWrite(target, strerror(cause));
    file_.reset(fdopen(descriptor, "wb"));
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!temporaryExists) return;
    unlink(temporaryPath);
    temporaryExists = 0;
  }

  FILE* file() const { return file_.get(); }

  void takePlace() {
    // What mkstemp made is private; a file that is replaced passes on its own permissions.
    struct stat old;
    const mode_t mask = umask(0);
    umask(mask);
    const bool replaces = stat(target_.c_str(), &old) == 0;
    fchmod(fileno(file()), replaces ? old.st_mode & 07777 : 0666 & ~mask);
    if (fclose(file_.release()) != 0) failToWrite(target_, strerror(errno));
    if (rename(temporaryPath, target_.c_str()) != 0) failToWrite(target_, strerror(errno));
    temporaryExists = 0;
  }

 private:
  const std::string& target_;
  File file_;
};

void replaceRegularFile(const std::string& path, const std::function<void(FILE*)>& write) {
  TemporaryFile temporary(path);
  fill(temporary.file(), path, write);
  temporary.takePlace();
}

/// Where a path leads through links, even to what is not there yet.
fs::path followed(fs::path path) {
  constexpr int kMostLinks = 40;
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
    path = path.parent_path() / fs::read_symlink(path, error);
  }
  return path;
}

}  // namespace

std::string inputName(const std::string& path) {
  return path == kStandard ? "standard input" : path.empty() ? "\"\"" : path;
}

std::string outputName(const std::string& path) {
  return path == kStandard ? "standard output" : path;
}

std::string readFile(const std::string& path) {
  const auto fail = [&](const char* cause) { throw FileError(inputName(path) + ": " + cause); };
  const File opened(path == kStandard ? nullptr : fopen(path.c_str(), "rb"));
  FILE* file = path == kStandard ? stdin : opened.get();
  if (file == nullptr) fail(strerror(errno));
  std::string bytes;
  struct stat status;
  if (fstat(fileno(file), &status) == 0) {
    if (S_ISDIR(status.st_mode)) fail("it is a directory; a file is needed");
    if (S_ISREG(status.st_mode)) bytes.reserve(static_cast<size_t>(status.st_size) + 1);
  }
  constexpr size_t kBlock = size_t{1} << 18;
  for (size_t size = 0;; size = bytes.size()) {
    bytes.resize(std::max(std::min(bytes.capacity(), size + kBlock), size + 4096));
    const size_t count = fread(bytes.data() + size, 1, bytes.size() - size, file);
    bytes.resize(size + count);
    if (count == 0) break;
  }
  if (ferror(file)) fail(strerror(errno));
  return bytes;
}

void requireWritable(const std::string& path) {
  if (path == kStandard) return;
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) failToWrite(path, "it is a directory");
  if (fs::exists(status) && !fs::is_regular_file(status)) return;
  fs::path folder = followed(path).parent_path();
  if (folder.empty()) folder = ".";
  if (!fs::exists(folder, error)) {
    failToWrite(path, "there is no folder " + folder.string() + "; mkdir -p makes one");
  }
  if (!fs::is_directory(folder, error)) {
    failToWrite(path, folder.string() + " is a file, not a folder");
  }
  if (access(folder.c_str(), W_OK | X_OK) != 0) failToWrite(path, strerror(errno));
}

void replaceFile(const std::string& path, const std::function<void(FILE*)>& write) {
  if (path == kStandard) return fill(stdout, path, write);
  requireWritable(path);
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  // A link stays a link, to a file that is replaced.
  if (!fs::exists(status) || fs::is_regular_file(status)) {
    return replaceRegularFile(followed(path), write);
  }
  // A device or a pipe is no file to replace.
  const File file(fopen(path.c_str(), "wb"));
  if (!file) failToWrite(path, strerror(errno));
  fill(file.get(), path, write);
}

void writeFile(const std::string& path, std::string_view bytes) {
  replaceFile(path, [&](FILE* file) { fwrite(bytes.data(), 1, bytes.size(), file); });
}

}  // namespace host
