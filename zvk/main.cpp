// zvk: tries the plug-in out from the command line, inside the stand-in host.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <functional>

#include "Tool.h"
#include "host/plugin/Plugin.h"

namespace {

// Beside the program. Started through a loader or an emulator, /proc may name that one instead.
std::string defaultPlugin(const char* program) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path places[] = {fs::read_symlink("/proc/self/exe", error),
                             fs::absolute(program, error)};
  for (const fs::path& place : places) {
    const fs::path plugin = place.parent_path() / "PictureZVK.so";
    if (fs::exists(plugin, error)) return plugin;
  }
  return places[1].parent_path() / "PictureZVK.so";
}

constexpr const char* kCallHelp =
    "A CALL is a declared method with its arguments, such as InvertZVK or "
    "'TintPictureZVK(_, &cFF8040, &cFFE0B0)'. It acts on the current picture, first IN, then each "
    "call's result.\n"
    "  _                the current picture\n"
    "  @FILE            another picture, or the bytes of a memory block or string\n"
    "  bytes:HEX        a memory block\n"
    "  &cRRGGBB         a colour; also numbers, true, false, nil and \"text\"\n"
    "  METHOD(..)=VALUE assigns\n"
    "  CLASS(NAME=VALUE, ..) runs a filter class with these properties\n"
    "byref arguments may be left out; what they give is printed, as is every result that is not a "
    "picture.";

int printText(const std::string& text) {
  fputs(text.c_str(), stdout);
  return zvk::kDone;
}

void addListOptions(CLI::App& sub, zvk::ListOptions& options) {
  sub.add_option("PATTERN", options.pattern,
                 "only what has it in its declaration, family or description");
  sub.add_flag("--json", options.json, "prints an array of objects");
  sub.add_flag("--verbose", options.verbose, "also declarations, flags and record sizes");
}

void addWaveformOptions(CLI::App& sub, zvk::WaveformOptions& options) {
  constexpr int kLargestSide = 32767;
  const CLI::Range side(1, kLargestSide);
  sub.add_option("IN", options.input, "a recording: WAV, FLAC or Ogg")->required();
  sub.add_option("-o,--output", options.output, "file for the picture")->required();
  sub.add_option("--width", options.width, "columns")->check(side)->capture_default_str();
  sub.add_option("--height", options.height, "rows")->check(side)->capture_default_str();
  sub.add_option("--smooth", options.smooth,
                 "how far back the moving average looks, in columns or samples; 1: not at all")
      ->capture_default_str();
  sub.add_option("--outline", options.outline, "width of the outline; 0 for none")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  const struct {
    const char *name, *what;
    std::string& value;
  } colors[] = {{"--back", "background", options.back},
                {"--fore", "bands", options.fore},
                {"--outline-color", "outline", options.outlineColor}};
  for (const auto& color : colors) {
    sub.add_option(color.name, color.value, std::string("colour of the ") + color.what)
        ->type_name("&cRRGGBB");
  }
  sub.add_flag("--samples", options.samples,
               "hands over every sample, left and right (a single channel twice), instead of the "
               "lowest and the highest one of each column's time");
}

}  // namespace

int main(int argc, char** argv) {
  using namespace zvk;
  CommonOptions common;
  ListOptions listOptions;
  HelpOptions helpOptions;
  RunOptions runOptions;
  WaveformOptions waveformOptions;
  std::function<int()> command;

  CLI::App app("Tries the PictureZVK plug-in out, inside a stand-in host.", "zvk");
  app.require_subcommand(1);
  const auto addCommon = [&](CLI::App* sub) {
    sub->add_option("--plugin", common.plugin,
                    "the plug-in's file (default: PictureZVK.so beside zvk)");
    sub->add_option("--host-version", common.hostVersion, "version that the host reports");
  };

  CLI::App* listing = app.add_subcommand("list", "shows everything that the plug-in declares");
  addCommon(listing);
  addListOptions(*listing, listOptions);
  listing->callback([&] { command = [&] { return list(common, listOptions); }; });

  CLI::App* helping =
      app.add_subcommand("help", "explains a method, a class or a command, with examples");
  helping->add_option("NAME", helpOptions.words,
                      "methods or classes, such as Tint, or a command of zvk");
  helping->add_flag("--json", helpOptions.json, "prints an array of objects");
  helping->callback([&] {
    command = [&] {
      // Asked for its help, a command line gives that of the command that it runs.
      const auto helpOf = [](const CLI::App* about, const char* caller) {
        return about->get_formatter()->make_help(about, caller, CLI::AppFormatMode::Normal);
      };
      if (helpOptions.words.empty()) return printText(helpOf(&app, ""));
      for (const CLI::App* about : app.get_subcommands({})) {
        const bool meant = about->check_name(helpOptions.words.front());
        if (meant) return printText(helpOf(about, "zvk"));
      }
      return help(helpOptions);
    };
  });

  CLI::App* running = app.add_subcommand("run", "applies calls to a picture, one after another");
  addCommon(running);
  running->footer(kCallHelp);
  running->add_option("IN", runOptions.input, "a picture, or bytes for a call that takes them")
      ->required();
  running->add_option("CALL", runOptions.calls, "the calls")->required();
  running->add_option("-o,--output", runOptions.output, "file for the last picture or bytes");
  running->add_flag("--json", runOptions.json, "prints results as JSON, one object per call");
  std::map<std::string, host::Storage> storages;
  for (size_t i = 0; i < std::size(host::kStorageNames); ++i) {
    storages[std::string(host::kStorageNames[i])] = static_cast<host::Storage>(i);
  }
  std::string storageName(host::kStorageNames[0]);
  const auto addStorage = [&](CLI::App* sub) {
    sub->add_option("--storage", storageName, "where the host keeps pictures")
        ->check(CLI::IsMember(storages));
  };
  addStorage(running);
  running->callback([&] { command = [&] { return run(common, runOptions); }; });

  CLI::App* drawing = app.add_subcommand("waveform", "draws a recording as a waveform picture");
  addCommon(drawing);
  addStorage(drawing);
  addWaveformOptions(*drawing, waveformOptions);
  drawing->callback([&] { command = [&] { return waveform(common, waveformOptions); }; });

  try {
    app.parse(argc, argv);
    common.storage = storages.at(storageName);
    if (common.plugin.empty()) common.plugin = defaultPlugin(argv[0]);
    return command();
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    fprintf(stderr, "zvk: %s\n", error.what());
    return kWrongInput;
  } catch (const CallFailed& error) {
    fprintf(stderr, "zvk: %s\n", error.what());
    return kCallFailed;
  } catch (const std::exception& error) {
    fprintf(stderr, "zvk: %s\n", error.what());
    return kWrongInput;
  }
}
