#include "Runner.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <stdexcept>

namespace zvk::validation {

namespace {

/// Plans run every method once or more, so they get more time than cases.
constexpr double kPlanTimes = 6;

// SIGCHLD waits until it is waited for.
sigset_t childSignal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGCHLD);
  return set;
}

// What the process printed: sanitizers and the C library say why they end it, and go on with
// stacks.
std::string lastWords(int file) {
  char text[600];
  const ssize_t length = pread(file, text, sizeof text, 0);
  return length > 0 ? std::string(text, static_cast<size_t>(length)) : "";
}

// Until it is waited for, the number stays its own.
bool hasEnded(pid_t process) {
  siginfo_t information{};
  return waitid(P_PID, static_cast<id_t>(process), &information, WEXITED | WNOHANG | WNOWAIT) ==
             0 &&
         information.si_pid == process;
}

// With whatever it started.
int endWhole(pid_t process) {
  kill(-process, SIGKILL);
  kill(process, SIGKILL);
  int status = 0;
  waitpid(process, &status, 0);
  return status;
}

}  // namespace

Runner::Runner(const Context& context, int jobs, double caseSeconds)
    : context_(context),
      caseSeconds_(caseSeconds),
      jobs_(static_cast<size_t>(jobs)),
      slots_(shareSlots(jobs_.size())) {
  if (slots_.empty()) throw std::runtime_error("no memory for the cases");
  for (Job& job : jobs_) {
    job.output = memfd_create("output", MFD_CLOEXEC);
    if (job.output < 0) throw std::runtime_error("no file for what cases print");
  }
  // Whoever ignores it, as this program's parent may, cannot wait for processes.
  signal(SIGCHLD, SIG_DFL);
  const sigset_t children = childSignal();
  sigprocmask(SIG_BLOCK, &children, nullptr);
}

Runner::~Runner() {
  for (const Job& job : jobs_) {
    if (job.process > 0) endWhole(job.process);
    close(job.output);
  }
  munmap(slots_.data(), slots_.size_bytes());
  const sigset_t children = childSignal();
  sigprocmask(SIG_UNBLOCK, &children, nullptr);
}

void Runner::work(const Job& job, Slot& slot) const {
  // A case that hangs must not outlive this program, whatever ends that one.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent_) _exit(1);
  setpgid(0, 0);
  const sigset_t children = childSignal();
  sigprocmask(SIG_UNBLOCK, &children, nullptr);
  // What is typed or piped in is not for the plug-in.
  if (const int nothing = open("/dev/null", O_RDONLY); nothing >= 0) {
    dup2(nothing, STDIN_FILENO);
    close(nothing);
  }
  dup2(job.output, STDOUT_FILENO);
  dup2(job.output, STDERR_FILENO);
  for (const Job& each : jobs_) close(each.output);
  // A core file of each crash would fill the disk; a loop without end is found out by its work,
  // however busy the machine is.
  const auto seconds = static_cast<rlim_t>(std::ceil(secondsFor(job)));
  const rlimit none{0, 0}, limited{seconds, seconds + 1};
  setrlimit(RLIMIT_CORE, &none);
  setrlimit(RLIMIT_CPU, &limited);
  Log log(slot);
  const Trial& trial = trials()[static_cast<size_t>(job.work.trial)];
  try {
    if (job.number == 0) {
      const std::vector<Case> cases = trial.plan(context_, log);
      slot.caseCount = static_cast<uint32_t>(std::min(cases.size(), std::size(slot.cases)));
      std::copy_n(cases.begin(), slot.caseCount, slot.cases);
    } else {
      trial.run(context_, job.work, log);
    }
    slot.complete = true;
  } catch (const std::exception& error) {
    const std::string doing = slot.doing;
    log.doing(error.what() + (doing.empty() ? "" : "; in " + doing));
    slot.threw = true;
  }
  _exit(0);
}

void Runner::start(Job& job, Slot& slot, const Case& work, int number) {
  slot.calls = 0;
  slot.complete = slot.threw = false;
  slot.doing[0] = 0;
  slot.used = 0;
  slot.caseCount = 0;
  if (ftruncate(job.output, 0) != 0) throw std::runtime_error("no file for what cases print");
  lseek(job.output, 0, SEEK_SET);
  job.work = work;
  job.number = number;
  job.start = Clock::now();
  job.late = false;
  fflush(nullptr);
  job.process = fork();
  if (job.process < 0) throw std::runtime_error("no further process can be started");
  if (job.process == 0) this->work(job, slot);
}

double Runner::secondsFor(const Job& job) const {
  return caseSeconds_ * (job.number == 0 ? kPlanTimes : 1);
}

std::string Runner::ending(const Job& job, const Slot& slot, int status) const {
  if (slot.complete && WIFEXITED(status)) return "";
  // The plug-in may have written over anything.
  const std::string doing(slot.doing, strnlen(slot.doing, sizeof slot.doing));
  if (slot.threw) return doing;
  std::string text;
  char number[32];
  if (job.late || (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU)) {
    snprintf(number, sizeof number, "%g", secondsFor(job));
    text = std::string("took longer than ") + number + " seconds";
  } else if (WIFSIGNALED(status)) {
    text = std::string("crashed (") + strsignal(WTERMSIG(status)) + ")";
  } else {
    text = "ended the process with status " + std::to_string(WEXITSTATUS(status));
  }
  if (!doing.empty()) text += " in " + doing;
  const std::string words = lastWords(job.output);
  if (!words.empty()) text += "; printed: " + words;
  return text;
}

size_t Runner::waitForOne() {
  const sigset_t children = childSignal();
  for (;;) {
    for (size_t i = 0; i < jobs_.size(); ++i) {
      Job& job = jobs_[i];
      if (job.process == 0) continue;
      if (hasEnded(job.process)) {
        status_ = endWhole(job.process);
        job.process = 0;
        return i;
      }
      const std::chrono::duration<double> age = Clock::now() - job.start;
      // Wall time counts less than work: the machine may be busy with other things.
      if (!job.late && age.count() > 4 * secondsFor(job)) {
        job.late = true;
        kill(job.process, SIGKILL);
      }
    }
    const timespec wait{0, 100'000'000};
    sigtimedwait(&children, nullptr, &wait);
  }
}

std::vector<Case> Runner::plan(int16_t trial, const std::function<void(const Outcome&)>& planned) {
  Case work;
  work.trial = trial;
  start(jobs_[0], slots_[0], work, 0);
  waitForOne();
  const Slot& slot = slots_[0];
  const size_t count = std::min<size_t>(slot.caseCount, std::size(slot.cases));
  std::vector<Case> cases(slot.cases, slot.cases + count);
  for (Case& each : cases) each.trial = trial;
  planned({work, 0, ending(jobs_[0], slot, status_), &slot});
  return cases;
}

void Runner::run(const std::function<int(Case&)>& next,
                 const std::function<void(const Outcome&)>& done) {
  size_t running = 0;
  bool more = true;
  while (more || running > 0) {
    for (size_t i = 0; more && i < jobs_.size(); ++i) {
      if (jobs_[i].process != 0) continue;
      Case work;
      const int number = next(work);
      more = number != 0;
      if (!more) break;
      start(jobs_[i], slots_[i], work, number);
      ++running;
    }
    if (running == 0) break;
    const size_t i = waitForOne();
    --running;
    done({jobs_[i].work, jobs_[i].number, ending(jobs_[i], slots_[i], status_), &slots_[i]});
  }
}

}  // namespace zvk::validation
