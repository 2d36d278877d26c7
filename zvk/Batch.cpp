// zvk run for many files: every file in a process of its own, as many at a time as asked for, so
// that one that crashes costs nothing but its own file.
#include <fcntl.h>
#include <glob.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "CallText.h"
#include "Speech.h"
#include "Tool.h"
#include "host/files/PictureFile.h"

namespace zvk {

namespace fs = std::filesystem;

namespace {

// --- Which files --------------------------------------------------------------------------------

bool exists(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error);
}

bool isPattern(const std::string& word) {
  return word.find_first_of("*?[") != std::string::npos && !exists(word);
}

/// The regular files of a pattern, sorted.
std::vector<std::string> matching(const std::string& pattern) {
  glob_t found{};
  std::vector<std::string> files;
  if (glob(pattern.c_str(), 0, nullptr, &found) == 0) {
    for (size_t i = 0; i < found.gl_pathc; ++i) {
      if (!fs::is_directory(found.gl_pathv[i])) files.emplace_back(found.gl_pathv[i]);
    }
  }
  globfree(&found);
  if (files.empty()) throw InputError(pattern + ": no file is called so");
  return files;
}

bool readsAsCall(const std::string& word) {
  try {
    parseCall(word);
    return true;
  } catch (const InputError&) {
    return false;
  }
}

/// Whether a word that is no call was rather meant to be a file.
bool isPath(const std::string& word) {
  return word.find_first_of("./") != std::string::npos &&
         word.find_first_of("(=") == std::string::npos;
}

struct Job {
  std::string input, output;
};

/// The words of a command line, apart: the shell puts all files of a pattern before the calls.
struct Words {
  std::vector<std::string> inputs, calls;
  bool many = false;

  explicit Words(const BatchOptions& options) : calls(options.each.calls) {
    addInput(options.input);
    while (!calls.empty() && !readsAsCall(calls.front()) &&
           (exists(calls.front()) || isPattern(calls.front()))) {
      many = true;
      addInput(calls.front());
      calls.erase(calls.begin());
    }
    if (!calls.empty() && !readsAsCall(calls.front()) && isPath(calls.front())) {
      throw InputError(calls.front() + ": no file is called so, and it is no call");
    }
    if (calls.empty()) throw InputError("CALL is required; zvk help run shows what is possible");
  }

 private:
  void addInput(const std::string& word) {
    if (!isPattern(word)) return inputs.push_back(word);
    many = true;
    for (std::string& file : matching(word)) inputs.push_back(std::move(file));
  }
};

void replaceAll(std::string& text, std::string_view what, const std::string& by) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
}

bool isFolder(const std::string& output) {
  std::error_code error;
  return output.ends_with('/') || fs::is_directory(output, error);
}

constexpr std::string_view kFields[] = {"{name}", "{ext}", "{dir}"};

bool isTemplate(const std::string& output) {
  return std::any_of(std::begin(kFields), std::end(kFields), [&](std::string_view field) {
    return output.find(field) != std::string::npos;
  });
}

/// Refuses "{nmae}", which would become every file's name.
void requireKnownFields(const std::string& output) {
  for (size_t open = 0; (open = output.find('{', open)) != std::string::npos; ++open) {
    const size_t close = output.find('}', open);
    if (close == std::string::npos) return;
    const std::string field = output.substr(open, close + 1 - open);
    if (std::find(std::begin(kFields), std::end(kFields), field) != std::end(kFields)) continue;
    throw InputError("-o " + output + ": there is no " + field +
                     "; possible are {name}, {ext} and {dir}");
  }
}

/// The ending of a result in a folder: the source's where it can be written, else PNG.
std::string endingFor(const std::string& input, const std::string& format) {
  if (!format.empty()) return "." + format;
  const std::string ending = fs::path(input).extension();
  try {
    host::formatFor(input, "");
    return ending.empty() ? ".png" : ending;
  } catch (const host::FileError&) {
    return ".png";
  }
}

std::string outputFor(const std::string& input, const RunOptions& options) {
  const fs::path path(input);
  if (isFolder(options.output)) {
    return fs::path(options.output) /
           (path.stem().string() + endingFor(input, options.files.format));
  }
  std::string output = options.output;
  const std::string ending = path.extension(), folder = path.parent_path();
  replaceAll(output, "{name}", path.stem());
  replaceAll(output, "{ext}", ending.empty() ? "" : ending.substr(1));
  replaceAll(output, "{dir}", folder.empty() ? "." : folder);
  return output;
}

std::vector<Job> jobsFor(const std::vector<std::string>& inputs, const RunOptions& options) {
  std::vector<Job> jobs;
  std::map<std::string, std::string> sources;
  std::set<fs::path> originals;
  std::error_code error;
  for (const std::string& input : inputs) originals.insert(fs::weakly_canonical(input, error));
  for (const std::string& input : inputs) {
    Job job{input, outputFor(input, options)};
    if (!job.output.empty()) {
      const auto [known, isNew] = sources.try_emplace(job.output, input);
      if (!isNew) {
        throw InputError(known->second + " and " + input + " would both become " + job.output +
                         "; -o can hold {name}, {ext} and {dir}, or be a folder");
      }
      if (originals.contains(fs::weakly_canonical(job.output, error))) {
        throw InputError(job.output +
                         ": an input would be replaced; -o needs another folder or name");
      }
      host::requireWritable(job.output);
    }
    jobs.push_back(std::move(job));
  }
  return jobs;
}

// --- Processes ----------------------------------------------------------------------------------

volatile sig_atomic_t interruptedBy = 0;

/// While it lives, signals that would end the process are only noted.
class Interruption {
 public:
  Interruption() {
    struct sigaction action {};
    action.sa_handler = [](int signal) { interruptedBy = signal; };
    for (size_t i = 0; i < std::size(kSignals); ++i) {
      sigaction(kSignals[i], nullptr, &old_[i]);
      // nohup and shells that put work into the background have some ignored.
      if (old_[i].sa_handler == SIG_DFL) sigaction(kSignals[i], &action, nullptr);
    }
  }
  ~Interruption() { restore(); }
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  void restore() {
    for (size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &old_[i], nullptr);
  }

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
  struct sigaction old_[std::size(kSignals)];
};

/// A child process with what it printed.
class Worker {
 public:
  /// Runs `act` in a new process, its result as the exit status.
  template <typename Act>
  Worker(const Job& job, Interruption& interruption, Act act) : job_(&job) {
    int pipes[2][2];
    for (auto& pair : pipes) {
      if (pipe2(pair, O_CLOEXEC) != 0) throw InputError(std::string("pipe: ") + strerror(errno));
    }
    fflush(stdout);
    process_ = fork();
    if (process_ < 0) throw InputError(std::string("no process can be made: ") + strerror(errno));
    for (int i = 0; i < 2; ++i) {
      if (process_ == 0) dup2(pipes[i][1], i + 1);
      close(pipes[i][1]);
      if (process_ == 0) close(pipes[i][0]);
      streams_[i].descriptor = pipes[i][0];
    }
    if (process_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    interruption.restore();
    const int status = guarded(act);
    fflush(stdout);
    _exit(status);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    for (const Stream& stream : streams_) {
      if (stream.descriptor >= 0) close(stream.descriptor);
    }
  }

  const Job& job() const { return *job_; }
  pid_t process() const { return process_; }
  const std::string& printed() const { return streams_[0].text; }
  const std::string& said() const { return streams_[1].text; }

  void addTo(std::vector<pollfd>& polled) const {
    for (const Stream& stream : streams_) polled.push_back({stream.descriptor, POLLIN, 0});
  }
  /// Takes what there is to read; true when the process has closed both streams.
  bool readAll(const pollfd* polled) {
    bool over = true;
    for (int i = 0; i < 2; ++i) {
      if (polled[i].revents != 0) read(streams_[i]);
      over = over && streams_[i].descriptor < 0;
    }
    return over;
  }
  /// The wait status.
  int wait() const {
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
  }

 private:
  struct Stream {
    int descriptor = -1;
    std::string text;
  };

  static void read(Stream& stream) {
    char block[4096];
    const ssize_t count = ::read(stream.descriptor, block, sizeof block);
    if (count > 0) {
      stream.text.append(block, static_cast<size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      close(std::exchange(stream.descriptor, -1));
    }
  }

  const Job* job_;
  pid_t process_;
  Stream streams_[2];  ///< standard output and standard error
};

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

class Batch {
 public:
  Batch(const CommonOptions& common, const RunOptions& each, std::vector<Job> jobs,
        size_t processes)
      : common_(common),
        each_(each),
        jobs_(std::move(jobs)),
        processes_(processes),
        bar_(jobs_.size()) {}

  int run() {
    const auto start = Clock::now();
    bar_.show(0, 0);
    size_t next = 0;
    while (!interruptedBy && (next < jobs_.size() || !workers_.empty())) {
      while (next < jobs_.size() && workers_.size() < processes_) startOne(jobs_[next++]);
      takeFinished();
    }
    bar_.clear();
    if (interruptedBy) stop();
    showPrinted(jobs_.size());
    for (const auto& [place, failure] : failures_) fprintf(stderr, "zvk: %s\n", failure.c_str());
    summarize(Clock::now() - start);
    if (interruptedBy) {
      interruption_.restore();
      raise(interruptedBy);
    }
    return failures_.empty() ? kDone : kCallFailed;
  }

 private:
  void startOne(const Job& job) {
    RunOptions one = each_;
    one.input = job.input;
    one.output = job.output;
    one.label = job.input;
    workers_.push_back(std::make_unique<Worker>(job, interruption_, [this, one] {
      const int status = zvk::run(common_, one);
      finishOutput();
      return status;
    }));
  }

  void takeFinished() {
    std::vector<pollfd> polled;
    for (const auto& worker : workers_) worker->addTo(polled);
    if (poll(polled.data(), polled.size(), -1) < 0) return;
    const pollfd* streams = polled.data();
    for (auto& worker : workers_) {
      if (worker->readAll(streams)) {
        finish(*worker);
        worker.reset();
      }
      streams += 2;
    }
    std::erase(workers_, nullptr);
  }

  void finish(const Worker& worker) {
    const int status = worker.wait();
    bar_.clear();
    const auto place = static_cast<size_t>(&worker.job() - jobs_.data());
    printed_[place] = worker.printed();
    while (shown_ < jobs_.size() && printed_.contains(shown_)) showPrinted(shown_ + 1);
    const bool failed = status != 0;
    std::vector<std::string> lines = linesOf(worker.said());
    if (failed) failures_[place] = worker.job().input + reasonOf(status, lines, worker.job());
    for (const std::string& line : lines) relay(line, worker.job());
    bar_.show(++done_, failures_.size());
  }

  /// What was printed for the files before `end`, in their order.
  void showPrinted(size_t end) {
    for (; shown_ < end; ++shown_) fputs(printed_[shown_].c_str(), stdout);
    fflush(stdout);
  }

  /// Takes the line that says why a process failed from what it said.
  static std::string reasonOf(int status, std::vector<std::string>& lines, const Job& job) {
    if (WIFSIGNALED(status)) {
      return std::string(": the process crashed (") + strsignal(WTERMSIG(status)) + ")";
    }
    if (lines.empty()) return ": failed";
    std::string text = lines.back();
    lines.pop_back();
    for (const std::string& known : {std::string("zvk: "), job.input + ": "}) {
      if (text.starts_with(known)) text.erase(0, known.size());
    }
    return ": " + text;
  }

  /// What is said of one file is not repeated for others.
  void relay(const std::string& line, const Job& job) {
    std::string general = line;
    replaceAll(general, job.output.empty() ? job.input : job.output, "");
    replaceAll(general, job.input, "");
    if (speech.verbose || said_.insert(general).second) fprintf(stderr, "%s\n", line.c_str());
  }

  void stop() {
    for (const auto& worker : workers_) kill(worker->process(), SIGTERM);
    for (const auto& worker : workers_) worker->wait();
    workers_.clear();
  }

  void summarize(Clock::duration time) const {
    if (speech.quiet) return;
    fprintf(stderr, "zvk: %zu of %zu done", done_ - failures_.size(), jobs_.size());
    if (!failures_.empty()) fprintf(stderr, ", %zu failed", failures_.size());
    std::string end;
    if (interruptedBy) end = std::string("; ended by SIG") + sigabbrev_np(interruptedBy);
    if (interruptedBy && !each_.output.empty()) end += ", --skip-existing goes on";
    fprintf(stderr, " in %s%s\n", inWords(time).c_str(), end.c_str());
  }

  const CommonOptions& common_;
  const RunOptions& each_;
  std::vector<Job> jobs_;
  size_t processes_;
  ProgressBar bar_;
  Interruption interruption_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::map<size_t, std::string> printed_, failures_;  ///< by the job's place
  size_t shown_ = 0;  ///< jobs of which everything printed was passed on
  std::set<std::string> said_;
  size_t done_ = 0;
};

/// Runs the check in a process of its own: what it opens, such as a display, cannot be shared.
int checked(const CommonOptions& common, const RunOptions& each) {
  const pid_t process = fork();
  if (process == 0) {
    const int status = guarded([&] { return check(common, each); });
    fflush(stdout);
    _exit(status);
  }
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : kCallFailed;
}

}  // namespace

int runMany(const CommonOptions& common, const BatchOptions& options) {
  const Words words(options);
  RunOptions each = options.each;
  each.calls = words.calls;
  const std::string& output = each.output;
  requireKnownFields(output);
  const bool many = words.many || isTemplate(output) || output.ends_with('/') || options.jobs > 0 ||
                    options.skipExisting || (isFolder(output) && words.inputs.front() != "-");
  if (!many) {
    each.input = words.inputs.front();
    return run(common, each);
  }
  if (words.inputs.size() > 1 && !output.empty() && !isTemplate(output) && !isFolder(output)) {
    throw InputError("-o " + output + ": several files need a folder (DIR/) or {name} in the name");
  }
  std::vector<Job> jobs = jobsFor(words.inputs, each);
  RunOptions first = each;
  first.output = jobs.front().output;
  if (const int status = checked(common, first); status != kDone) return status;
  if (options.skipExisting) {
    const size_t before = jobs.size();
    std::erase_if(jobs, [](const Job& job) { return !job.output.empty() && exists(job.output); });
    if (before != jobs.size() && !speech.quiet) {
      fprintf(stderr, "zvk: there already: %zu of %zu\n", before - jobs.size(), before);
    }
    if (jobs.empty()) return kDone;
  }
  const size_t processes = options.jobs > 0 ? static_cast<size_t>(options.jobs)
                                            : std::max(1U, std::thread::hardware_concurrency());
  return Batch(common, each, std::move(jobs), processes).run();
}

}  // namespace zvk
