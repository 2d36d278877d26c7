#include "Validate.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>
#include <utility>

#include "ElfFile.h"
#include "Heap.h"
#include "Runner.h"

namespace zvk {

namespace validation {

bool matches(std::string_view pattern, std::string_view text) {
  const size_t star = pattern.find('*');
  if (star == pattern.npos) return pattern == text;
  if (text.substr(0, star) != pattern.substr(0, star)) return false;
  const std::string_view rest = pattern.substr(star + 1);
  for (size_t i = star; i <= text.size(); ++i) {
    if (matches(rest, text.substr(i))) return true;
  }
  return false;
}

bool serves(const Trial& trial, std::string_view check) {
  if (trial.check == check) return true;
  std::string_view list = trial.alsoServes;
  while (!list.empty()) {
    const size_t end = std::min(list.find(' '), list.size());
    if (matches(list.substr(0, end), check)) return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

std::span<const Trial> trials() {
  static const std::vector<Trial> all = [] {
    std::vector<Trial> list;
    for (auto part : {fileTrials(), startTrials(), callTrials(), instanceTrials(), memoryTrials(),
                      faultTrials(), sequenceTrials()}) {
      list.insert(list.end(), part.begin(), part.end());
    }
    return list;
  }();
  return all;
}

namespace {

/// What is known about a check so far.
struct Verdict {
  const Check* check;
  int cases = 0, failures = 0;
  std::string message, repeat;  ///< of the first failure
  std::string skipped;          ///< why; empty: it was not
  std::string_view cutShort;    ///< check whose crashes and hangs kept cases from finding out
  uint64_t failedIn = 0;        ///< outcome in which it failed at last

  std::string_view status() const {
    if (failures > 0) return "failed";
    return cases > 0 && skipped.empty() ? "passed" : "skipped";
  }
};

/// The course of a validation.
class Validation {
 public:
  explicit Validation(const ValidateOptions& options);
  void run();
  void print() const;
  void printJson() const;
  int count(std::string_view status) const;
  /// Why there is no verdict at all; empty when there is one.
  std::string reasonForNothing() const;

 private:
  bool selected(std::string_view id) const;
  bool wanted(const Trial& trial) const;
  bool isDecided(const Case& work) const;
  /// Leaves out the checks for which `which` is true.
  void skip(const std::function<bool(std::string_view)>& which, const std::string& why);
  /// Runs the trials that have plans and for which `which` is true.
  void runPlanned(Runner& runner, const std::function<bool(const Trial&)>& which);
  /// Runs the trial by which it stands or falls whether others make sense; leaves these out if not.
  void runGate(Runner& runner, std::string_view check, const std::string& why);
  void runSequences(Runner& runner);
  void take(const Outcome& outcome);
  void fail(std::string_view check, const Outcome& outcome, std::string_view message);
  void showProgress(size_t done, size_t all) const;
  std::string repeatCommand(const Outcome& outcome) const;

  using Clock = std::chrono::steady_clock;
  const ValidateOptions& options_;
  Context context_;
  std::vector<Verdict> verdicts_;
  std::map<std::string_view, Verdict*> selected_;
  std::set<const Trial*> ran_;  ///< gates
  int cases_ = 0;
  uint64_t calls_ = 0, outcomes_ = 0;
  Clock::time_point start_ = Clock::now();
  double seconds_ = 0;
};

Validation::Validation(const ValidateOptions& options)
    : options_(options), context_{options.plugin, options.seed} {
  const auto anyMatches = [](const std::vector<std::string>& patterns, std::string_view id) {
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const std::string& pattern) { return matches(pattern, id); });
  };
  for (const auto* patterns : {&options.only, &options.skip}) {
    for (const std::string& pattern : *patterns) {
      const auto all = checks();
      if (std::none_of(all.begin(), all.end(),
                       [&](const Check& check) { return matches(pattern, check.id); })) {
        throw InputError("no check is called " + pattern + "; zvk validate --list shows them all");
      }
    }
  }
  for (const Check& check : checks()) {
    if (!options.only.empty() && !anyMatches(options.only, check.id)) continue;
    if (!anyMatches(options.skip, check.id)) verdicts_.push_back({&check});
  }
  if (verdicts_.empty()) throw InputError("--skip leaves out all that --only asks for");
  for (Verdict& verdict : verdicts_) selected_[verdict.check->id] = &verdict;
}

bool Validation::selected(std::string_view id) const { return selected_.count(id) > 0; }

bool Validation::wanted(const Trial& trial) const {
  return std::any_of(selected_.begin(), selected_.end(),
                     [&](const auto& entry) { return serves(trial, entry.first); });
}

// As a shell takes it.
std::string quoted(const std::string& word) {
  const bool plain = std::all_of(word.begin(), word.end(), [](unsigned char c) {
    return isalnum(c) || strchr("/._-+", c) != nullptr;
  });
  if (plain) return word;
  std::string text = "'";
  for (const char c : word) text += c == '\'' ? "'\\''" : std::string(1, c);
  return text + "'";
}

std::string Validation::repeatCommand(const Outcome& outcome) const {
  const Trial& trial = trials()[static_cast<size_t>(outcome.work.trial)];
  std::string command = "zvk validate " + quoted(options_.plugin) + " --seed " +
                        std::to_string(options_.seed) + " --only " + std::string(trial.check);
  if (outcome.number > 0) command += " --case " + std::to_string(outcome.number);
  return command;
}

// What a plug-in prints, or hands over as text, is not for the terminal to obey.
std::string printable(std::string_view message) {
  std::string text(message);
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return iscntrl(c) != 0; }, ' ');
  return text;
}

void Validation::fail(std::string_view check, const Outcome& outcome, std::string_view message) {
  auto found = selected_.find(check);
  if (found == selected_.end()) {
    // The one case that was asked for tells all it finds, under the check that was asked for.
    if (options_.number == 0 || selected_.empty()) return;
    found = selected_.begin();
  }
  Verdict& verdict = *found->second;
  const std::string text = printable(message);
  if (options_.all && !options_.json) {
    printf("failed   %s, case %d: %s\n", std::string(check).c_str(), outcome.number, text.c_str());
  }
  if (std::exchange(verdict.failedIn, outcomes_) == outcomes_) return;
  if (verdict.failures++ > 0) return;
  verdict.message = text;
  verdict.repeat = repeatCommand(outcome);
}

void Validation::take(const Outcome& outcome) {
  const Trial& trial = trials()[static_cast<size_t>(outcome.work.trial)];
  calls_ += outcome.slot->calls;
  ++outcomes_;
  if (outcome.number > 0) ++cases_;
  for (const Note& note : notes(*outcome.slot)) {
    if (!note.skipped) {
      fail(note.check, outcome, note.message);
    } else if (const auto found = selected_.find(note.check); found != selected_.end()) {
      found->second->skipped = note.message;
    }
  }
  const bool whole = outcome.ended.empty(), tellsTrial = selected(trial.check);
  for (auto& [id, verdict] : selected_) {
    if (!serves(trial, id)) continue;
    // Where the trial's own check is left out, nobody else tells what happened.
    if (!whole && (id == trial.check || !tellsTrial)) fail(id, outcome, outcome.ended);
    if (!whole && verdict->failedIn != outcomes_) {
      verdict->cutShort = trial.check;
    } else if (outcome.number > 0) {
      ++verdict->cases;
    }
  }
}

void Validation::showProgress(size_t done, size_t all) const {
  if (!isatty(STDERR_FILENO) || options_.json) return;
  constexpr int kWidth = 40;
  const int filled = all == 0 ? kWidth : static_cast<int>(done * kWidth / all);
  fprintf(stderr, "\r[%s%s] %d cases", std::string(static_cast<size_t>(filled), '#').c_str(),
          std::string(static_cast<size_t>(kWidth - filled), ' ').c_str(), cases_);
  if (done == all) fprintf(stderr, "\r\033[K");
  fflush(stderr);
}

// A plug-in that hangs each time would take hours.
bool Validation::isDecided(const Case& work) const {
  constexpr int kEnoughFailures = 10;
  const auto found = selected_.find(trials()[static_cast<size_t>(work.trial)].check);
  return !options_.all && found != selected_.end() && found->second->failures >= kEnoughFailures;
}

void Validation::runPlanned(Runner& runner, const std::function<bool(const Trial&)>& which) {
  std::vector<std::pair<Case, int>> work;
  for (size_t i = 0; i < trials().size(); ++i) {
    const Trial& trial = trials()[i];
    if (trial.plan == nullptr || !which(trial) || !wanted(trial)) continue;
    int number = 0;
    for (const Case& each :
         runner.plan(static_cast<int16_t>(i), [&](const Outcome& outcome) { take(outcome); })) {
      ++number;
      if (options_.number == 0 || options_.number == number) work.emplace_back(each, number);
    }
    if (options_.number == 0) continue;
    if (number > 0 && work.empty()) {
      throw InputError(std::string(trial.check) + " has only " + std::to_string(number) +
                       " case(s) here");
    }
    // One trial is enough to repeat one case.
    break;
  }
  size_t next = 0, done = 0;
  runner.run(
      [&](Case& each) {
        while (next < work.size() && isDecided(work[next].first)) {
          ++next;
          ++done;
        }
        if (next == work.size()) return 0;
        each = work[next].first;
        return work[next++].second;
      },
      [&](const Outcome& outcome) {
        take(outcome);
        if (++done % 64 == 0 || done == work.size()) showProgress(done, work.size());
      });
}

void Validation::runSequences(Runner& runner) {
  for (size_t i = 0; i < trials().size(); ++i) {
    const Trial& trial = trials()[i];
    if (trial.plan != nullptr || !wanted(trial)) continue;
    int number = options_.number > 0 ? options_.number - 1 : 0;
    const Clock::time_point start = Clock::now();
    const auto elapsed = [&] {
      return std::chrono::duration<double>(Clock::now() - start).count();
    };
    runner.run(
        [&](Case& each) {
          const bool over = options_.number > 0 ? number == options_.number
                                                : number > 0 && elapsed() >= options_.time;
          if (over) return 0;
          each.trial = static_cast<int16_t>(i);
          each.a = ++number;
          return number;
        },
        [&](const Outcome& outcome) {
          take(outcome);
          const double share = std::min(elapsed() / std::max(options_.time, 0.001), 1.0);
          showProgress(static_cast<size_t>(share * 1000), 1000);
        });
    showProgress(1000, 1000);
  }
}

// A file that this program cannot load is only read.
std::string reasonNotToLoad(const std::string& file) {
  const std::string width = ElfFile(file).width();
  if (width == ElfFile::ownWidth()) return "";
  return "this tool's process is " + ElfFile::ownWidth() + ", the file " +
         (width.empty() ? "no library" : width);
}

bool onlyReadsFile(std::string_view check) {
  return std::any_of(trials().begin(), trials().end(),
                     [&](const Trial& trial) { return !trial.loads && serves(trial, check); });
}

/// What a program with sanitizers cannot find out: they have the heap, and a plug-in that is built
/// like the program calls them.
constexpr std::string_view kHidden[] = {"file.libraries", "file.imports", "file.c-library",
                                        "accounts.heap",  "memory.heap",  "faults.allocations"};

bool isHidden(std::string_view check) {
  return std::find(std::begin(kHidden), std::end(kHidden), check) != std::end(kHidden);
}

void Validation::skip(const std::function<bool(std::string_view)>& which, const std::string& why) {
  std::erase_if(selected_, [&](auto& entry) {
    const bool skipped = which(entry.first);
    if (skipped) entry.second->skipped = why;
    return skipped;
  });
}

void Validation::runGate(Runner& runner, std::string_view check, const std::string& why) {
  const auto here = [&](const Trial& trial) { return trial.check == check; };
  runPlanned(runner, here);
  const Trial& gate = *std::find_if(trials().begin(), trials().end(), here);
  ran_.insert(&gate);
  const auto found = selected_.find(check);
  if (found == selected_.end() || found->second->failures == 0) return;
  // Every further case would fail the same way, or take all the time that it may.
  if (found->second->failures < found->second->cases) return;
  skip(
      [&](std::string_view id) {
        return !onlyReadsFile(id) &&
               std::none_of(ran_.begin(), ran_.end(),
                            [&](const Trial* trial) { return serves(*trial, id); });
      },
      why + ", see " + std::string(check));
}

void Validation::run() {
  if (const std::string why = reasonNotToLoad(options_.plugin); !why.empty()) {
    skip(std::not_fn(onlyReadsFile), why);
  }
  if (!heap::available()) skip(isHidden, "this tool is built with a sanitizer");
  const int processors = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  // Opened once here, not in each case: a process takes longer to load it than to run a case.
  dlopen("libgdk-x11-2.0.so.0", RTLD_NOW | RTLD_GLOBAL);
  Runner runner(context_, options_.jobs > 0 ? options_.jobs : processors, options_.caseSeconds);
  const auto planned = std::any_of(trials().begin(), trials().end(), [&](const Trial& trial) {
    return trial.plan != nullptr && wanted(trial);
  });
  // A case by itself is repeated as it was.
  if (options_.number == 0) {
    runGate(runner, "load.opens", "the plug-in cannot be loaded");
    runGate(runner, "start.survives", "no start-up returns");
  }
  runPlanned(runner, [&](const Trial& trial) { return ran_.count(&trial) == 0; });
  // With the number of a case, the first trial that serves the check has run it.
  if (options_.number == 0 || !planned) runSequences(runner);
  for (Verdict& verdict : verdicts_) {
    if (verdict.cases > 0 || !verdict.skipped.empty()) continue;
    verdict.skipped = verdict.cutShort.empty()
                          ? "no case applies"
                          : "no case came to its end, see " + std::string(verdict.cutShort);
  }
  seconds_ = std::chrono::duration<double>(Clock::now() - start_).count();
}

std::string Validation::reasonForNothing() const {
  const auto isSkipped = [](const Verdict& verdict) { return verdict.status() == "skipped"; };
  const bool nothing = std::all_of(verdicts_.begin(), verdicts_.end(), isSkipped);
  return nothing ? verdicts_.front().skipped : "";
}

int Validation::count(std::string_view status) const {
  return static_cast<int>(
      std::count_if(verdicts_.begin(), verdicts_.end(),
                    [&](const Verdict& verdict) { return verdict.status() == status; }));
}

void Validation::print() const {
  for (const Verdict& verdict : verdicts_) {
    const Check& check = *verdict.check;
    const std::string_view status = verdict.status();
    printf("%-7s  %.*s", std::string(status).c_str(), static_cast<int>(check.id.size()),
           check.id.data());
    if (status == "skipped") {
      printf(": %s\n", verdict.skipped.c_str());
    } else if (status == "passed") {
      printf(" (%d)\n", verdict.cases);
    } else {
      // Without cases it failed while they were planned.
      if (verdict.cases > 0) printf(" (%d of %d)", verdict.failures, verdict.cases);
      putchar('\n');
      printf("    expected  %s\n", std::string(check.expectation).c_str());
      printf("    but       %s\n", verdict.message.c_str());
      printf("    remedy    %s\n", std::string(check.remedy).c_str());
      printf("    repeat    %s\n", verdict.repeat.c_str());
    }
  }
  printf("%d passed, %d failed, %d skipped; %d cases, %llu calls, %.1f seconds\n", count("passed"),
         count("failed"), count("skipped"), cases_, static_cast<unsigned long long>(calls_),
         seconds_);
}

void Validation::printJson() const {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  for (const Verdict& verdict : verdicts_) {
    const std::string_view status = verdict.status();
    list.push_back({{"id", verdict.check->id},
                    {"status", status},
                    {"cases", verdict.cases},
                    {"message", status == "skipped" ? verdict.skipped : verdict.message},
                    {"repeat", verdict.repeat}});
  }
  const Json whole = {
      {"plugin", options_.plugin}, {"seed", options_.seed},     {"checks", std::move(list)},
      {"passed", count("passed")}, {"failed", count("failed")}, {"skipped", count("skipped")},
      {"cases", cases_},           {"calls", calls_},           {"seconds", seconds_}};
  // What a plug-in prints need not be text.
  printf("%s\n", whole.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

void printChecks() {
  for (const Check& check : checks()) {
    printf("%s\n    %s\n    If not: %s\n", std::string(check.id).c_str(),
           std::string(check.expectation).c_str(), std::string(check.remedy).c_str());
  }
  printf("%zu checks\n", checks().size());
}

}  // namespace
}  // namespace validation

int validate(const CommonOptions& common, const ValidateOptions& given) {
  ValidateOptions options = given;
  if (options.plugin.empty()) options.plugin = common.plugin;
  using validation::Validation;
  if (options.list) {
    validation::printChecks();
    return kDone;
  }
  std::error_code error;
  if (!std::filesystem::is_regular_file(options.plugin, error) || !std::ifstream(options.plugin)) {
    throw InputError("the plug-in " + options.plugin + " is no file that can be read");
  }
  if (options.number > 0 && options.only.size() != 1) {
    throw InputError("--case needs one check, as in --only calls.nil --case 7");
  }
  Validation course(options);
  course.run();
  if (options.json) {
    course.printJson();
  } else {
    course.print();
  }
  if (const std::string why = course.reasonForNothing(); !why.empty()) {
    throw InputError("nothing was checked: " + why);
  }
  return course.count("failed") == 0 ? kDone : kCallFailed;
}

}  // namespace zvk
