#include "CommandLine.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>

#include "Speech.h"
#include "host/files/PictureFile.h"
#include "host/plugin/Names.h"
#include "host/plugin/Plugin.h"
#include "zvk/validate/Validate.h"

namespace zvk {

namespace {

// --- Texts --------------------------------------------------------------------------------------

constexpr const char* kStatuses =
    "Exit status: 0 when everything was done; 1 when a call failed, when one of several files "
    "failed "
    "or memory was short; 2 for wrong input and for files that cannot be read or written.";

constexpr const char* kFormats =
    "Formats: JPEG and PNG, and what gdk-pixbuf has loaders for (BMP, GIF, TIFF, PNM, TGA, ICO ..) "
    "are read; .png, .jpg, .bmp and .tif are written. \"-\" is standard input or output.";

constexpr const char* kCallHelp =
    "A CALL is a declared method with its arguments, such as InvertZVK or "
    "'TintPictureZVK(_, &cFF8040, orange)'. It acts on the current picture, first IN, then each "
    "call's result. ZVK may be left out, and case does not matter.\n"
    "  _                the current picture\n"
    "  @FILE            another picture, or the bytes of a memory block or string\n"
    "  bytes:HEX        a memory block\n"
    "  &cRRGGBB         a colour, also #rrggbb or a name; numbers, true, false, nil, \"text\"\n"
    "  METHOD(..)=VALUE assigns\n"
    "  CLASS(NAME=VALUE, ..) runs a filter class with these properties\n"
    "byref arguments may be left out; what they give is printed, as is every result that is not a "
    "picture.";

constexpr const char* kManyHelp =
    "Many files: IN may be a pattern in quotes ('*.jpg') or several files. -o is then a folder, or "
    "holds {name} (the file's name without its ending), {ext} or {dir}. All processors are used; a "
    "file that fails does not keep the others from being done.";

constexpr const char* kRunExamples =
    "Examples:\n"
    "  zvk run photo.jpg 'ChangeContrast(0.5)' Invert -o out.png\n"
    "  zvk run photo.jpg 'PictureLut3D(Table=@look.cube)' -o graded.jpg --quality 95\n"
    "  zvk run photo.jpg 'FindPicture(@detail.png)'\n"
    "  zvk run '*.jpg' 'PictureSepia(SepiaRed=40)' -o 'out/{name}.png' --skip-existing\n"
    "  curl -s URL | zvk run - Invert -o - --format png | display";

constexpr const char* kValidateExamples =
    "Examples:\n"
    "  zvk validate PictureZVK.so\n"
    "  zvk validate other.so --only 'calls.*' --skip calls.works\n"
    "  zvk validate PictureZVK.so --only 'sequences.*' --time 600";

constexpr const char* kWaveformExamples =
    "Examples:\n"
    "  zvk waveform speech.wav -o waveform.png\n"
    "  zvk waveform music.flac --width 2000 --fore orange --back '#101010' -o wave.png\n"
    "Recordings: WAV, FLAC, Ogg and what else libsndfile reads.";

constexpr const char* kInfoExamples =
    "Examples:\n"
    "  zvk info photo.jpg\n"
    "  zvk info *.png --json";

constexpr const char* kCompletionExamples =
    "Examples:\n"
    "  zvk completion bash > ~/.local/share/bash-completion/completions/zvk\n"
    "  zvk completion zsh > ~/.zfunc/_zvk     (a folder of $fpath)\n"
    "  zvk completion fish > ~/.config/fish/completions/zvk.fish\n"
    "  zvk completion man > zvk.1";

constexpr const char* kListExamples =
    "Examples:\n"
    "  zvk list\n"
    "  zvk list mask\n"
    "  zvk list --json";

constexpr const char* kHelpExamples =
    "Examples:\n"
    "  zvk help run\n"
    "  zvk help Tint\n"
    "  zvk help PictureSepia --json";

std::string paragraphs(std::initializer_list<std::string> texts) {
  std::string result;
  for (const std::string& text : texts) {
    if (!text.empty()) result += (result.empty() ? "" : "\n\n") + text;
  }
  return result;
}

// Beside the program. Started through a loader or an emulator, /proc may name that one instead.
std::string defaultPlugin(const std::string& program) {
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

// --- Options that several sub-commands have -----------------------------------------------------

/// Numbers from `low` to `high`, said in a few words.
CLI::Validator within(double low, double high = INFINITY) {
  const auto check = [=](const std::string& text) -> std::string {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool number = error == std::errc() && end == text.data() + text.size();
    if (number && value >= low && value <= high) return "";
    char range[40];
    snprintf(range, sizeof range, std::isinf(high) ? "%g or more" : "%g to %g", low, high);
    return std::string("must be ") + range + ", not " + text;
  };
  return CLI::Validator(check, "");
}

void addInputOptions(CLI::App& sub, FileOptions& files) {
  sub.add_flag("--damaged", files.damaged, "takes what is there of damaged files");
  sub.add_option("--background", files.background,
                 "colour below transparent parts, where alpha cannot be kept (default: white)")
      ->type_name("COLOUR");
}

void addOutputOptions(CLI::App& sub, FileOptions& files) {
  constexpr int kBestQuality = 100, kSmallest = 9;
  const host::SaveOptions usual;
  sub.add_option("--format", files.format, "format of the output, where its name does not tell")
      ->check(CLI::IsMember(host::writableEndings(), CLI::ignore_case))
      ->type_name("NAME");
  sub.add_option("--quality", files.quality, "of JPEG, 1 to 100; colours are kept sharp from 90")
      ->check(within(1, kBestQuality))
      ->type_name("N")
      ->default_str(std::to_string(usual.quality));
  sub.add_option("--compression", files.compression, "of PNG, 0 (fastest) to 9 (smallest)")
      ->check(within(0, kSmallest))
      ->type_name("N")
      ->default_str(std::to_string(usual.compression));
}

int runOneOrMany(const CommonOptions& common, const BatchOptions& batch) {
  return runMany(common, batch);
}

/// With --verbose also declarations, flags and record sizes.
int listVerbosely(const CommonOptions& common, const ListOptions& options) {
  ListOptions list = options;
  list.verbose = speech.verbose;
  return zvk::list(common, list);
}

int showVersion(const CommonOptions& common) {
  return inHost(common, [&](host::Host& host) {
    const host::Plugin plugin(common.plugin);
    printf("zvk %s\nplug-in %s\ninterface version %d\n", ZVK_VERSION, common.plugin.c_str(),
           static_cast<int>(host.pluginVersion));
  });
}

}  // namespace

// --- Sub-commands -------------------------------------------------------------------------------

template <typename Options>
CLI::App& CommandLine::add(const char* name, const char* what, const std::string& more,
                           std::shared_ptr<Options> options,
                           int (*act)(const CommonOptions&, const Options&)) {
  CLI::App& sub = *app_.add_subcommand(name, what);
  sub.footer(paragraphs({more, kStatuses}));
  sub.add_option("--plugin", common_.plugin,
                 "the plug-in's file (default: PictureZVK.so beside zvk)")
      ->type_name("FILE");
  sub.add_option("--host-version", common_.hostVersion, "version that the host reports")
      ->type_name("N");
  sub.add_flag("-q,--quiet", speech.quiet, "neither notes nor progress");
  sub.add_flag("-v,--verbose", speech.verbose, "more: times per stage, flags");
  sub.callback(
      [this, options, act] { command_ = [this, options, act] { return act(common_, *options); }; });
  return sub;
}

void CommandLine::addStorage(CLI::App& sub) {
  std::vector<std::string> names(std::begin(host::kStorageNames), std::end(host::kStorageNames));
  sub.add_option("--storage", storageName_, "where the host keeps pictures")
      ->check(CLI::IsMember(names))
      ->type_name("NAME")
      ->default_str(names.front());
}

void CommandLine::addList() {
  auto options = std::make_shared<ListOptions>();
  CLI::App& sub = add("list", "shows everything that the plug-in declares", kListExamples, options,
                      listVerbosely);
  sub.add_option("PATTERN", options->pattern,
                 "only what has it in its declaration, family or description");
  sub.add_flag("--json", options->json, "prints an array of objects");
}

void CommandLine::addRun() {
  auto batch = std::make_shared<BatchOptions>();
  RunOptions& each = batch->each;
  CLI::App& sub =
      add("run", "applies calls to pictures, one after another",
          paragraphs({kCallHelp, kManyHelp, kFormats, kRunExamples}), batch, runOneOrMany);
  sub.add_option("IN", batch->input, "a picture, or bytes for a call that takes them; \"-\"")
      ->required();
  sub.add_option("CALL", each.calls, "the calls")->required();
  sub.add_option("-o,--output", each.output, "file for the last picture or bytes")
      ->type_name("FILE");
  addStorage(sub);
  addInputOptions(sub, each.files);
  sub.add_flag("--alpha", each.files.alpha, "gives the input an alpha channel where it has none");
  sub.add_option("--mask", each.files.mask,
                 "a separate mask for the input, as large as it: black where it is opaque")
      ->type_name("FILE");
  addOutputOptions(sub, each.files);
  sub.add_flag("--preview", each.preview, "shows the last picture in the terminal");
  sub.add_flag("--json", each.json, "prints results as JSON, one object per call");
  sub.add_option("-j,--jobs", batch->jobs, "files at a time (default: one per processor)")
      ->check(within(1))
      ->type_name("N");
  sub.add_flag("--skip-existing", batch->skipExisting, "leaves out files whose output is there");
}

void CommandLine::addWaveform() {
  auto options = std::make_shared<WaveformOptions>();
  CLI::App& sub = add("waveform", "draws a recording as a waveform picture", kWaveformExamples,
                      options, waveform);
  constexpr int kLargestSide = 32767;
  const CLI::Validator side = within(1, kLargestSide);
  sub.add_option("IN", options->input, "a recording; \"-\"")->required();
  sub.add_option("-o,--output", options->output, "file for the picture")->type_name("FILE");
  sub.add_option("--width", options->width, "columns")
      ->check(side)
      ->type_name("N")
      ->capture_default_str();
  sub.add_option("--height", options->height, "rows")
      ->check(side)
      ->type_name("N")
      ->capture_default_str();
  sub.add_option("--smooth", options->smooth,
                 "how far back the moving average looks, in columns or samples; 1: not at all")
      ->check(within(1))
      ->type_name("N")
      ->capture_default_str();
  sub.add_option("--outline", options->outline, "width of the outline; 0 for none")
      ->check(within(0))
      ->type_name("N")
      ->capture_default_str();
  const struct {
    const char *name, *what;
    std::string& value;
  } colors[] = {{"--back", "background", options->back},
                {"--fore", "bands", options->fore},
                {"--outline-color", "outline", options->outlineColor}};
  for (const auto& color : colors) {
    sub.add_option(color.name, color.value, std::string("colour of the ") + color.what)
        ->type_name("COLOUR");
  }
  sub.add_flag("--samples", options->samples,
               "hands over every sample, left and right (a single channel twice), instead of the "
               "lowest and the highest one of each column's time");
  addStorage(sub);
  sub.add_flag("--damaged", options->files.damaged, "draws what is there of a cut recording");
  addOutputOptions(sub, options->files);
  sub.add_flag("--preview", options->preview, "shows the picture in the terminal");
}

void CommandLine::addInfo() {
  auto options = std::make_shared<InfoOptions>();
  CLI::App& sub = add("info", "tells what pictures are: size, format, alpha, channels",
                      paragraphs({kFormats, kInfoExamples}), options, info);
  sub.add_option("FILE", options->inputs, "pictures")->required();
  addStorage(sub);
  sub.add_flag("--damaged", options->files.damaged, "takes what is there of damaged files");
  sub.add_flag("--json", options->json, "prints one JSON object per file");
}

void CommandLine::addValidate() {
  auto options = std::make_shared<ValidateOptions>();
  CLI::App& sub = add("validate", "tells whether a plug-in is fit for somebody else's process",
                      kValidateExamples, options, validate);
  sub.add_option("PLUGIN", options->plugin, "the plug-in's file (default: as --plugin)");
  sub.add_flag("--list", options->list, "shows the checks");
  sub.add_option("--only", options->only, "runs these checks; * stands for any text")
      ->type_name("PATTERN");
  sub.add_option("--skip", options->skip, "leaves these checks out")->type_name("PATTERN");
  sub.add_option("--seed", options->seed, "of everything random")->capture_default_str();
  sub.add_option("--time", options->time, "seconds of random sequences")
      ->check(within(0))
      ->type_name("N")
      ->capture_default_str();
  sub.add_option("--limit", options->caseSeconds, "seconds of work that one case may take")
      ->check(within(0.001))
      ->type_name("N")
      ->capture_default_str();
  sub.add_option("-j,--jobs", options->jobs, "cases at once (default: one per processor)")
      ->check(within(1))
      ->type_name("N");
  sub.add_option("--case", options->number, "the one case that runs, of the check of --only")
      ->check(within(1))
      ->type_name("N");
  sub.add_flag("--all", options->all, "shows every failing case, not only each check's first");
  sub.add_flag("--json", options->json, "prints the outcome as JSON");
}

void CommandLine::addHelp() {
  auto options = std::make_shared<HelpOptions>();
  CLI::App& sub =
      *app_.add_subcommand("help", "explains a method, a class or a command, with examples");
  sub.footer(paragraphs({kHelpExamples, kStatuses}));
  sub.add_option("NAME", options->words, "methods or classes, such as Tint, or a command of zvk");
  sub.add_flag("--json", options->json, "prints an array of objects");
  sub.callback([this, options] { command_ = [this, options] { return help(*options); }; });
}

void CommandLine::addCompletion() {
  auto shell = std::make_shared<std::string>();
  CLI::App& sub = *app_.add_subcommand("completion", "writes shell completion or the manual page");
  sub.footer(paragraphs({kCompletionExamples, kStatuses}));
  sub.add_option("SHELL", *shell, "bash, zsh, fish or man")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish", "man"}));
  sub.callback([this, shell] {
    command_ = [this, shell] {
      return inHost(common_, [&](host::Host&) {
        const std::string text = *shell == "man"
                                     ? manualPage(app_)
                                     : completionScript(app_, host::Plugin(common_.plugin), *shell);
        fputs(text.c_str(), stdout);
      });
    };
  });
}

int CommandLine::help(const HelpOptions& options) {
  // Asked for its help, a command line gives that of the command that it runs.
  const auto print = [](const CLI::App& app, const std::string& name) {
    fputs(app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal).c_str(), stdout);
    return kDone;
  };
  if (options.words.empty()) return print(app_, app_.get_name());
  for (const CLI::App* sub : app_.get_subcommands({})) {
    if (!sub->check_name(options.words.front())) continue;
    if (options.words.size() > 1) {
      throw InputError(options.words[1] + " is too much; zvk help " + sub->get_name() +
                       " explains the command");
    }
    return print(*sub, app_.get_name() + " " + sub->get_name());
  }
  return zvk::help(options);
}

// --- Parsing ------------------------------------------------------------------------------------

CommandLine::CommandLine(const char* program)
    : program_(program),
      app_(
          "Tries the PictureZVK plug-in out, inside a stand-in host, and works on pictures with "
          "it.",
          "zvk"),
      storageName_(host::kStorageNames[0]) {
  app_.footer(
      paragraphs({"Examples:\n"
                  "  zvk run photo.jpg 'ChangeContrast(0.5)' Invert -o out.png\n"
                  "  zvk info photo.jpg\n"
                  "  zvk list\n"
                  "  zvk help run",
                  kFormats, kStatuses}));
  app_.set_help_flag("-h,--help", "shows this help");
  app_.require_subcommand(0, 1);  // so that files may be called like commands
  app_.add_flag("--version", showsVersion_,
                "shows the versions of the tool, the plug-in and its interface");
  addRun();
  addInfo();
  addWaveform();
  addList();
  addValidate();
  addHelp();
  addCompletion();
}

void CommandLine::requireKnownCommand(const char* word) const {
  host::Names names;
  for (const CLI::App* sub : app_.get_subcommands({})) names.push_back(sub->get_name());
  if (std::find(names.begin(), names.end(), word) != names.end()) return;
  throw InputError(std::string(word) + ": there is no such command" +
                   host::suggestion(host::nearestNames(word, names)));
}

int CommandLine::refuse(const CLI::ParseError& error) const {
  const CLI::App* sub = &app_;
  for (const CLI::App* used : app_.get_subcommands()) sub = used;
  const std::string help = sub == &app_ ? "zvk help" : "zvk help " + sub->get_name();
  const std::vector<std::string> unknown = app_.remaining(true);
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr && !unknown.empty()) {
    host::Names options;
    for (const CLI::Option* option : sub->get_options()) {
      if (option->nonpositional()) options.push_back("--" + option->get_lnames().at(0));
    }
    throw InputError(unknown.front() + " is not expected" +
                     host::suggestion(host::nearestNames(unknown.front(), options)));
  }
  throw InputError(std::string(error.what()) + "; " + help + " shows what is possible");
}

int CommandLine::run(int argc, char** argv) {
  if (argc < 2) return help({});
  if (*argv[1] != '-') requireKnownCommand(argv[1]);
  try {
    app_.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    fputs(app_.help().c_str(), stdout);
    return kDone;
  } catch (const CLI::ParseError& error) {
    return refuse(error);
  }
  for (size_t i = 0; i < std::size(host::kStorageNames); ++i) {
    if (storageName_ == host::kStorageNames[i]) common_.storage = static_cast<host::Storage>(i);
  }
  if (common_.plugin.empty()) common_.plugin = defaultPlugin(program_);
  if (showsVersion_) return showVersion(common_);
  return command_ ? command_() : help({});
}

int runCommandLine(int argc, char** argv) { return CommandLine(argv[0]).run(argc, argv); }

}  // namespace zvk
