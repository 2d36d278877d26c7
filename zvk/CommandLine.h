// The command line: sub-commands with their options and texts. Help, completion and the manual page
// are made from it.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "Tool.h"
#include "host/plugin/Plugin.h"

namespace zvk {

class CommandLine {
 public:
  /// `program` is what the tool was started as: the plug-in lies beside it.
  explicit CommandLine(const char* program);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  /// Parses and runs; the exit status.
  int run(int argc, char** argv);

  CLI::App& app() { return app_; }

 private:
  /// Adds a sub-command; `options` stay as long as it.
  template <typename Options>
  CLI::App& add(const char* name, const char* what, const std::string& more,
                std::shared_ptr<Options> options, int (*act)(const CommonOptions&, const Options&));
  void addStorage(CLI::App& sub);
  void addList();
  void addRun();
  void addWaveform();
  void addInfo();
  void addHelp();
  void addValidate();
  void addCompletion();
  int help(const HelpOptions& options);
  [[nodiscard]] int refuse(const CLI::ParseError& error) const;
  void requireKnownCommand(const char* word) const;

  std::string program_;
  CLI::App app_;
  CommonOptions common_;
  std::string storageName_;
  bool showsVersion_ = false;
  std::function<int()> command_;
};

/// A shell's completion script for the command line: "bash", "zsh" or "fish". Method names and
/// properties are those of the plug-in.
std::string completionScript(CLI::App& app, const host::Plugin& plugin, const std::string& shell);

/// The manual page in the language of man.
std::string manualPage(CLI::App& app);

}  // namespace zvk
