// What is checked, and how: a table of checks, and trials that find out about one or several of
// them, case by case, each case in a process of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zvk::validation {

/// One thing that a host needs of every plug-in.
struct Check {
  std::string_view id;           ///< topic and name, such as "calls.source-unchanged"
  std::string_view expectation;  ///< what is expected, and why a host needs it
  std::string_view remedy;       ///< what to do when it fails
};

/// All checks, by topic.
std::span<const Check> checks();

/// What the cases of a run have in common.
struct Context {
  std::string plugin;  ///< the plug-in's file
  uint32_t seed = 1;
};

/// One case of a trial: the work of one process. What the numbers mean is the trial's matter.
struct Case {
  int16_t trial = 0;  ///< index among trials()
  int16_t method = -1, layout = -1;
  int16_t kind = 0;
  int32_t a = 0, b = 0;
  size_t expected = 0;   ///< hash of what the call gives when nothing is out of order
  bool inPlace = false;  ///< whether it then changes the picture that it is called on
};

struct Slot;

/// Where a case's process tells what it does and what it found.
class Log {
 public:
  explicit Log(Slot& slot) : slot_(slot) {}
  /// What is done next; it stands in messages, also in the one about a crash.
  void doing(std::string_view what);
  /// The plug-in is called once more.
  void countCall();
  /// The check does not hold.
  void fail(std::string_view check, std::string_view message);
  /// The check cannot be made here.
  void skip(std::string_view check, std::string_view why);
  bool failed() const;

 private:
  void add(char mark, std::string_view check, std::string_view message);

  Slot& slot_;
};

/// A way to find out whether checks hold.
struct Trial {
  /// Crashes, hangs and ends of its processes count to this check; it names the trial, too.
  std::string_view check;
  /// Further checks that each of its cases finds out about: ids, or topics such as "accounts.*".
  std::string_view alsoServes;
  /// All cases, the same ones at each call. Runs in a process of its own. For trials that go on as
  /// long as they are let: null.
  std::vector<Case> (*plan)(const Context&, Log&);
  void (*run)(const Context&, const Case&, Log&);
  /// Whether the file must be of this program's width.
  bool loads = true;
};

/// All trials, in the order in which they run.
std::span<const Trial> trials();

std::span<const Trial> fileTrials();
std::span<const Trial> startTrials();
std::span<const Trial> callTrials();
std::span<const Trial> instanceTrials();
std::span<const Trial> memoryTrials();
std::span<const Trial> faultTrials();
std::span<const Trial> sequenceTrials();

/// Whether a pattern, in which * stands for any text, fits.
bool matches(std::string_view pattern, std::string_view text);
/// Whether a trial finds out about a check.
bool serves(const Trial& trial, std::string_view check);

}  // namespace zvk::validation
