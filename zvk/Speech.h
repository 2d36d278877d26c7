// What is said on standard error besides failures, and how far long work is.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace zvk {

/// How much is said; set once from the command line.
struct Speech {
  bool quiet = false;    ///< neither notes nor progress
  bool verbose = false;  ///< times per stage
};
extern Speech speech;

/// One line on standard error, each text once: something that a user would want to know of a result
/// that was made all the same.
void note(const std::string& text);

/// Whether progress can be shown: standard error is a terminal, and nobody asked for quiet.
bool showsProgress();

using Clock = std::chrono::steady_clock;

/// A stage of the work. On a terminal one that takes longer than a second says what it does; with
/// --verbose each tells at its end how long it took.
class Stage {
 public:
  explicit Stage(std::string what);
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;
  ~Stage();

  /// How far it is, 0 to 1, for the line on the terminal.
  void progress(double done);

 private:
  void watch();

  std::string what_;
  Clock::time_point start_ = Clock::now();
  std::mutex mutex_;
  std::condition_variable ended_;
  bool over_ = false;
  int percent_ = -1;
  std::thread watcher_;
};

/// A bar for so many files, with the time that is left.
class ProgressBar {
 public:
  explicit ProgressBar(size_t total) : total_(total) {}
  ~ProgressBar() { clear(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void show(size_t done, size_t failed);
  void clear();

 private:
  size_t total_;
  Clock::time_point start_ = Clock::now();
  bool shown_ = false;
};

/// "3.4 s", "2 min 5 s"
std::string inWords(Clock::duration time);

/// Throws host::FileError when something that was printed could not be written.
void finishOutput();

}  // namespace zvk
