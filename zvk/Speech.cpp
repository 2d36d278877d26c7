#include "Speech.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>

#include "Terminal.h"
#include "host/files/Files.h"

namespace zvk {

Speech speech;

namespace {
constexpr const char* kClearLine = "\r\033[K";
}

void note(const std::string& text) {
  static std::set<std::string> said;
  if (speech.quiet || !said.insert(text).second) return;
  fprintf(stderr, "zvk: note: %s\n", text.c_str());
}

bool showsProgress() { return !speech.quiet && isAbleTerminal(STDERR_FILENO); }

std::string inWords(Clock::duration time) {
  const double seconds = std::chrono::duration<double>(time).count();
  char text[40];
  if (seconds < 1) {
    snprintf(text, sizeof text, "%.0f ms", seconds * 1000);
  } else if (seconds < 60) {
    snprintf(text, sizeof text, "%.1f s", seconds);
  } else {
    const auto whole = static_cast<long long>(seconds);
    snprintf(text, sizeof text, "%lld min %lld s", whole / 60, whole % 60);
  }
  return text;
}

// --- Stages -------------------------------------------------------------------------------------

Stage::Stage(std::string what) : what_(std::move(what)) {
  if (showsProgress()) watcher_ = std::thread(&Stage::watch, this);
}

Stage::~Stage() {
  if (watcher_.joinable()) {
    {
      const std::lock_guard lock(mutex_);
      over_ = true;
    }
    ended_.notify_one();
    watcher_.join();
  }
  if (speech.verbose) {
    fprintf(stderr, "zvk: %s: %s\n", what_.c_str(), inWords(Clock::now() - start_).c_str());
  }
}

void Stage::progress(double done) {
  const std::lock_guard lock(mutex_);
  percent_ = static_cast<int>(done * 100);
}

void Stage::watch() {
  constexpr auto kPatience = std::chrono::seconds(1), kStep = std::chrono::seconds(1);
  std::unique_lock lock(mutex_);
  const auto over = [this] { return over_; };
  if (ended_.wait_for(lock, kPatience, over)) return;
  do {
    const std::string percent = percent_ < 0 ? "" : " " + std::to_string(percent_) + " %,";
    fprintf(stderr, "%s%s:%s %s", kClearLine, what_.c_str(), percent.c_str(),
            inWords(Clock::now() - start_).c_str());
  } while (!ended_.wait_for(lock, kStep, over));
  fputs(kClearLine, stderr);
}

// --- Many files ---------------------------------------------------------------------------------

void ProgressBar::show(size_t done, size_t failed) {
  if (!showsProgress()) return;
  constexpr size_t kWidth = 30;
  const size_t filled = total_ == 0 ? kWidth : done * kWidth / total_;
  std::string bar;
  for (size_t i = 0; i < kWidth; ++i) bar += i < filled ? "█" : "░";
  std::string text = std::to_string(done) + " of " + std::to_string(total_);
  if (failed > 0) text += ", " + std::to_string(failed) + " failed";
  const auto passed = Clock::now() - start_;
  if (done > 0 && done < total_) {
    const auto left = static_cast<long long>(total_ - done), over = static_cast<long long>(done);
    text += ", " + inWords(passed * left / over) + " left";
  }
  fprintf(stderr, "%s%s %s", kClearLine, bar.c_str(), text.c_str());
  shown_ = true;
}

void ProgressBar::clear() {
  if (shown_) fputs(kClearLine, stderr);
  shown_ = false;
}

void finishOutput() {
  if (fflush(stdout) == 0 && !ferror(stdout)) return;
  // What failed long ago fails again, and tells why.
  errno = 0;
  clearerr(stdout);
  fputc('\n', stdout);
  fflush(stdout);
  const std::string cause = strerror(errno != 0 ? errno : EIO);
  throw host::FileError("standard output: cannot be written: " + cause);
}

}  // namespace zvk
