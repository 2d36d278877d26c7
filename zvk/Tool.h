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

/// A call of the plug-in gave nil, false or an exception.
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

struct RunOptions {
  std::string input;
  std::vector<std::string> calls;
  std::string output;
  bool json = false;
};

struct WaveformOptions {
  std::string input, output;
  int width = 1000, height = 500;
  int smooth = 1;
  int outline = 0;
  std::string back, fore, outlineColor;  ///< &cRRGGBB; empty for what the method declares
  bool samples = false;  ///< every sample as it is, instead of each column's extremes
};

/// Settings of a host as the options ask for it. Throws InputError when the storage cannot be had.
host::Settings hostSettings(const CommonOptions& options);

/// Prints the host's problems to standard error; true when there are none.
bool reportAccounts(const host::Host& host);

/// The sub-commands. Each returns the exit status or throws InputError, CallFailed or one of the
/// host's exceptions.
int list(const CommonOptions& common, const ListOptions& options);
int help(const HelpOptions& options);
int run(const CommonOptions& common, const RunOptions& options);
int waveform(const CommonOptions& common, const WaveformOptions& options);

}  // namespace zvk
