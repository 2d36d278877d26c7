// Runs cases, each in a process of its own with a time limit, several at once.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "Slot.h"

namespace zvk::validation {

/// What came of one case.
struct Outcome {
  Case work;
  int number;         ///< counts a trial's cases from 1; 0 for its plan
  std::string ended;  ///< how the process ended, unless it came to its end
  const Slot* slot;   ///< valid until the next case starts in it
};

class Runner {
 public:
  Runner(const Context& context, int jobs, double caseSeconds);
  ~Runner();
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  /// All cases of a trial. `planned` receives the outcome of planning them.
  std::vector<Case> plan(int16_t trial, const std::function<void(const Outcome&)>& planned);
  /// Runs cases that `next` gives, until it gives none and all are done. `next` returns the number
  /// of the case, 0 when there are no more.
  void run(const std::function<int(Case&)>& next, const std::function<void(const Outcome&)>& done);

 private:
  using Clock = std::chrono::steady_clock;
  struct Job {
    pid_t process = 0;  ///< 0: none
    Case work;
    int number = 0;
    Clock::time_point start;
    bool late = false;
    int output = -1;  ///< file that takes what is printed
  };

  void start(Job& job, Slot& slot, const Case& work, int number);
  [[noreturn]] void work(const Job& job, Slot& slot) const;
  /// Waits for one job to end; returns its index.
  size_t waitForOne();
  /// Seconds of work that it may take.
  double secondsFor(const Job& job) const;
  std::string ending(const Job& job, const Slot& slot, int status) const;

  const Context& context_;
  double caseSeconds_;
  std::vector<Job> jobs_;
  int status_ = 0;  ///< with which the last job ended
  pid_t parent_ = getpid();
  std::span<Slot> slots_;
};

}  // namespace zvk::validation
