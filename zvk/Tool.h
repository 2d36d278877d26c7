// What the sub-commands share.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/Host.h"

namespace zvk {

/// Exit statuses.
inline constexpr int kDone = 0;
inline constexpr int kCallFailed = 1;  ///< a call failed, or the host's accounts are not balanced
inline constexpr int kWrongInput = 2;

/// Wrong input: one line that says what is wrong and what is possible.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A call of the plug-in gave nil, false or an exception, or changed nothing.
class CallFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct CommonOptions {
  std::string plugin;
  std::optional<double> hostVersion;
  host::Storage storage = host::Storage::kCairo;
};

struct ListOptions {
  std::string pattern;  ///< part of a name, a declaration, a family or a first sentence
  bool json = false;
  bool verbose = false;  ///< flags and record sizes too
};

struct HelpOptions {
  std::vector<std::string> words;  ///< methods and classes
  bool json = false;
};

/// How pictures come from and go to files.
struct FileOptions {
  bool damaged = false;            ///< takes what is there of damaged files
  bool alpha = false;              ///< the input gets an alpha channel where it has none
  std::string mask;                ///< file of a separate mask for the input
  std::string background;          ///< colour below transparent parts; empty: white, and it is said
  std::string format;              ///< of the output; empty: as its name says
  std::optional<int> quality;      ///< of JPEG
  std::optional<int> compression;  ///< of PNG
};

struct RunOptions {
  std::string input;
  std::vector<std::string> calls;
  std::string output;
  bool json = false;
  bool preview = false;
  std::string label;  ///< stands before results, where there are those of other files too
  FileOptions files;
};

struct WaveformOptions {
  std::string input, output;
  int width = 1000, height = 500;
  int smooth = 1;
  int outline = 0;
  std::string back, fore, outlineColor;  ///< &cRRGGBB; empty for what the method declares
  bool samples = false;  ///< every sample as it is, instead of each column's extremes
  bool preview = false;
  FileOptions files;
};

struct InfoOptions {
  std::vector<std::string> inputs;
  bool json = false;
  FileOptions files;
};

/// Many files, each through the same calls.
struct BatchOptions {
  std::string input;  ///< a file or a pattern; more files may stand before the calls
  RunOptions each;    ///< its output is a pattern or a folder
  int jobs = 0;       ///< processes at a time; 0: one per processor
  bool skipExisting = false;
};

/// Settings of a host as the options ask for it. Throws InputError when the storage cannot be had.
host::Settings hostSettings(const CommonOptions& options);

/// Prints the host's problems to standard error; true when there are none.
bool reportAccounts(const host::Host& host);

/// Runs `act` in a host of these options; the exit status, kCallFailed where the host's accounts
/// are not balanced at the end. What `act` throws goes on.
template <typename Act>
int inHost(const CommonOptions& common, Act act) {
  host::Host host(hostSettings(common));
  try {
    act(host);
  } catch (...) {
    reportAccounts(host);
    throw;
  }
  return reportAccounts(host) ? kDone : kCallFailed;
}

/// The sub-commands. Each returns the exit status or throws InputError, CallFailed or one of the
/// host's exceptions.
int list(const CommonOptions& common, const ListOptions& options);
int help(const HelpOptions& options);
int run(const CommonOptions& common, const RunOptions& options);
/// Checks what `run` can know without its input; an output that is a pattern is checked as it is.
int check(const CommonOptions& common, const RunOptions& options);
int runMany(const CommonOptions& common, const BatchOptions& options);
int waveform(const CommonOptions& common, const WaveformOptions& options);
int info(const CommonOptions& common, const InfoOptions& options);

/// Parses the command line and runs what it asks for; returns and throws as they do.
int runCommandLine(int argc, char** argv);

/// Runs `command` and turns what it throws into one line on standard error and an exit status.
template <typename Command>
int guarded(Command command);
/// The exit status of what is being thrown, its line printed.
int reportFailure();

template <typename Command>
int guarded(Command command) {
  try {
    return command();
  } catch (...) {
    return reportFailure();
  }
}

}  // namespace zvk
