// Shell completion and the manual page, from the command line's own declarations and the plug-in's.
#include <algorithm>
#include <cctype>

#include "CommandLine.h"
#include "host/plugin/Names.h"
#include "host/plugin/Plugin.h"

namespace zvk {

namespace {

std::string joined(const std::vector<std::string>& words, const char* separator = " ") {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

std::string shellWord(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? "'\\''" : std::string(1, c);
  return result + "'";
}

struct OptionText {
  std::vector<std::string> names;   ///< "--output", "-o"
  std::string type;                 ///< "FILE"; empty for flags
  std::vector<std::string> values;  ///< that are possible, where they are few
  std::string defaultValue, what;
};

std::vector<OptionText> optionsOf(const CLI::App& app) {
  std::vector<OptionText> options;
  for (const CLI::Option* option : app.get_options()) {
    if (!option->nonpositional()) continue;
    OptionText text;
    for (const std::string& name : option->get_lnames()) text.names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) text.names.push_back("-" + name);
    if (option->get_items_expected_max() > 0) {
      // A check that lists what is possible stands behind the type: "NAME:{cairo,record}".
      const std::string type = option->get_type_name();
      text.type = type.substr(0, type.find(':'));
      const size_t open = type.find('{'), close = type.find('}');
      if (open != std::string::npos && close != std::string::npos) {
        std::string rest = type.substr(open + 1, close - open - 1) + ",";
        for (size_t comma; (comma = rest.find(',')) != std::string::npos;) {
          text.values.push_back(rest.substr(0, comma));
          rest.erase(0, comma + 1);
        }
      }
    }
    text.defaultValue = option->get_default_str();
    text.what = option->get_description();
    options.push_back(std::move(text));
  }
  return options;
}

/// A class with the properties that a call of it can set.
struct ClassText {
  std::string name;
  std::vector<std::string> properties;
};

struct PluginText {
  std::vector<std::string> methods;
  std::vector<ClassText> classes;
};

PluginText textOf(const host::Plugin& plugin) {
  PluginText text;
  for (const host::Method& method : plugin.methods()) {
    if (method.kind != host::Method::Kind::kClass) text.methods.emplace_back(method.name());
  }
  for (const auto* definition : plugin.host().registrations.classes) {
    ClassText named{definition->name, {}};
    for (int i = 0; i < definition->propertyCount; ++i) {
      named.properties.emplace_back(definition->properties[i].name);
    }
    for (const host::Method& method : plugin.methods()) {
      if (method.className == named.name && method.assignable()) {
        named.properties.emplace_back(method.name());
      }
    }
    text.methods.push_back(named.name);
    text.classes.push_back(std::move(named));
  }
  std::sort(text.methods.begin(), text.methods.end());
  text.methods.erase(std::unique(text.methods.begin(), text.methods.end()), text.methods.end());
  return text;
}

std::vector<std::string> allNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const OptionText& option : optionsOf(app)) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

std::vector<std::string> commandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* sub : app.get_subcommands({})) names.push_back(sub->get_name());
  return names;
}

std::string lowerCase(std::string text) {
  for (char& c : text) c = grammar::lowerCase(c);
  return text;
}

/// As calls may leave them: without "ZVK".
std::vector<std::string> shortNames(const std::vector<std::string>& names) {
  std::vector<std::string> result;
  for (const std::string& name : names) result.emplace_back(host::withoutSuffix(name));
  return result;
}

// --- bash ---------------------------------------------------------------------------------------

/// The lines of a "case" over the options that take a value.
std::string bashValues(const CLI::App& app) {
  std::string text;
  for (const CLI::App* sub : app.get_subcommands({})) {
    for (const OptionText& option : optionsOf(*sub)) {
      if (option.type.empty()) continue;
      const std::string action = !option.values.empty()
                                     ? "_zvk_words '" + joined(option.values) + "'; "
                                 : option.type == "FILE" ? "_zvk_files; "
                                                         : "";
      const std::string line = "    " + joined(option.names, "|") + ") " + action + "return ;;\n";
      if (text.find(line) == std::string::npos) text += line;
    }
  }
  return text;
}

constexpr const char* kBashHelpers = R"(# Completion of zvk for bash.
# Adds the words that begin like the current one, in any case; $2 and $3 stand around each.
_zvk_words() {
  local word
  for word in $1; do
    [[ ${word,,} == "${current,,}"* ]] && COMPREPLY+=("$2$word$3")
  done
}
_zvk_files() { mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -P "$1" -- "$current"); }
# What stands before the last of these characters stays; a quote at the start is the shell's.
_zvk_behind() {
  local rest=${current##*[$1]}
  start=${current%"$rest"} current=$rest
  start=${start#[\'\"]}
}
)";

std::string bashScript(const CLI::App& app, const PluginText& plugin) {
  std::string script = kBashHelpers;
  script +=
      "_zvk() {\n"
      "  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} words= start=\n"
      "  COMPREPLY=()\n"
      "  case $before in\n" +
      bashValues(app) +
      "  esac\n"
      "  if [ \"$COMP_CWORD\" = 1 ]; then\n"
      "    _zvk_words '" +
      joined(commandNames(app)) +
      " --help --version'\n"
      "    return\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]} in\n";
  for (const CLI::App* sub : app.get_subcommands({})) {
    script += "    " + sub->get_name() + ") words='" + joined(allNames(*sub)) + "' ;;\n";
  }
  script +=
      "  esac\n"
      "  if [[ $current =~ @[^,\\)]*$ ]]; then\n"
      "    _zvk_behind @\n"
      "    _zvk_files \"$start\"\n"
      "    return\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]}:${current,,} in\n"
      "    *:-*) _zvk_words \"$words\" ;;\n";
  for (const ClassText& named : plugin.classes) {
    const std::string name = lowerCase(std::string(host::withoutSuffix(named.name)));
    script += "    run:*" + name + "\\(*|run:*" + name + "zvk\\(*)\n" +
              "      _zvk_behind '(, '\n"
              "      _zvk_words '" +
              joined(named.properties) +
              "' \"$start\" =\n"
              "      compopt -o nospace ;;\n";
  }
  script +=
      "    run:*|help:*)\n"
      "      _zvk_behind \\'\\\"\n"
      "      _zvk_words '" +
      joined(shortNames(plugin.methods)) +
      "'\n"
      "      [ ${#COMPREPLY[@]} = 0 ] && _zvk_words '" +
      joined(plugin.methods) +
      "'\n"
      "      if [ \"${COMP_WORDS[1]}\" = run ]; then _zvk_files; else _zvk_words '" +
      joined(commandNames(app)) +
      "'; fi ;;\n"
      "    completion:*) _zvk_words 'bash zsh fish man' ;;\n"
      "    *) _zvk_files ;;\n"
      "  esac\n"
      "}\n"
      "complete -o filenames -F _zvk zvk\n";
  return script;
}

// --- zsh ----------------------------------------------------------------------------------------

std::string withoutBrackets(std::string text) {
  for (char& c : text) {
    if (c == '[') c = '(';
    if (c == ']') c = ')';
    if (c == ':') c = ';';
  }
  return text;
}

std::string zshScript(const CLI::App& app, const PluginText& plugin) {
  std::string script =
      "#compdef zvk\n"
      "# Completion of zvk for zsh.\n"
      "_zvk_calls() {\n"
      "  local anyCase='m:{a-zA-Z}={A-Za-z}'\n"
      "  case ${(L)PREFIX} in\n";
  for (const ClassText& named : plugin.classes) {
    const std::string name = lowerCase(std::string(host::withoutSuffix(named.name)));
    script += "    *" + name + "(|zvk)\\(*) compset -P '*[(, ]'; compadd -M $anyCase -S = -- " +
              joined(named.properties) + " ;;\n";
  }
  script += "    *) compadd -M $anyCase -- " + joined(shortNames(plugin.methods)) +
            " || compadd -M $anyCase -- " + joined(plugin.methods) +
            "\n"
            "      if [[ $command = help ]]; then compadd -- " +
            joined(commandNames(app)) +
            "; else _files; fi ;;\n"
            "  esac\n"
            "}\n"
            "_zvk() {\n"
            "  local -a commands\n"
            "  commands=(\n";
  for (const CLI::App* sub : app.get_subcommands({})) {
    script += "    " + shellWord(sub->get_name() + ":" + sub->get_description()) + "\n";
  }
  script +=
      "  )\n"
      "  if (( CURRENT == 2 )); then _describe command commands; return; fi\n"
      "  local command=$words[2]\n"
      "  shift words; (( CURRENT-- ))\n"
      "  case $command in\n";
  for (const CLI::App* sub : app.get_subcommands({})) {
    script += "    " + sub->get_name() + ") _arguments -s";
    for (const OptionText& option : optionsOf(*sub)) {
      for (const std::string& name : option.names) {
        std::string text = name + "[" + withoutBrackets(option.what) + "]";
        if (!option.type.empty()) {
          text += ":" + option.type + ":";
          if (!option.values.empty()) text += "(" + joined(option.values) + ")";
          if (option.type == "FILE") text += "_files";
        }
        script += " \\\n      " + shellWord(text);
      }
    }
    const std::string& name = sub->get_name();
    script += name == "run" || name == "help" ? " \\\n      '*:call:_zvk_calls' ;;\n"
              : name == "completion"          ? " \\\n      '1:shell:(bash zsh fish man)' ;;\n"
                                              : " \\\n      '*:file:_files' ;;\n";
  }
  return script +
         "  esac\n"
         "}\n"
         "if [ \"$funcstack[1]\" = _zvk ]; then _zvk \"$@\"; else compdef _zvk zvk; fi\n";
}

// --- fish ---------------------------------------------------------------------------------------

std::string fishScript(const CLI::App& app, const PluginText& plugin) {
  std::string script =
      "# Completion of zvk for fish.\n"
      "complete -c zvk -n __fish_use_subcommand -f -l version\n";
  for (const CLI::App* sub : app.get_subcommands({})) {
    const std::string& name = sub->get_name();
    script += "complete -c zvk -n __fish_use_subcommand -f -a " + name + " -d " +
              shellWord(sub->get_description()) + "\n";
    const std::string within = "complete -c zvk -n '__fish_seen_subcommand_from " + name + "'";
    for (const OptionText& option : optionsOf(*sub)) {
      script += within;
      for (const std::string& word : option.names) {
        script += word.starts_with("--") ? " -l " + word.substr(2) : " -s " + word.substr(1);
      }
      if (!option.type.empty()) script += option.type == "FILE" ? " -r" : " -x";
      if (!option.values.empty()) script += " -a " + shellWord(joined(option.values));
      script += " -d " + shellWord(option.what) + "\n";
    }
    const std::string methods = shellWord(joined(shortNames(plugin.methods)));
    if (name == "run") script += within + " -a " + methods + "\n";
    if (name == "help") {
      script += within + " -f -a " + methods + "\n" + within + " -f -a " +
                shellWord(joined(commandNames(app))) + "\n";
    }
    if (name == "completion") script += within + " -f -a 'bash zsh fish man'\n";
  }
  for (const ClassText& named : plugin.classes) {
    std::vector<std::string> calls;
    for (const std::string& property : named.properties) {
      calls.push_back(std::string(host::withoutSuffix(named.name)) + "\\(" + property + "=");
    }
    script += "complete -c zvk -n '__fish_seen_subcommand_from run' -a " +
              shellWord(joined(calls)) + "\n";
  }
  return script;
}

// --- The manual page ----------------------------------------------------------------------------

/// Running text in the language of man: lines that begin with blanks stand as they are.
std::string manText(const std::string& text) {
  std::string result;
  bool fixed = false;
  size_t at = 0;
  while (at < text.size()) {
    const size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    at = end + 1;
    const bool indented = line.starts_with("  ");
    if (indented != fixed) result += indented ? ".RS\n.nf\n" : ".fi\n.RE\n";
    fixed = indented;
    if (line.empty()) {
      result += ".PP\n";
      continue;
    }
    if (indented) line.erase(0, 2);
    for (size_t i = 0; (i = line.find_first_of("\\-", i)) != std::string::npos; i += 2) {
      line.insert(i, "\\");
    }
    if (line.starts_with('.') || line.starts_with('\'')) line.insert(0, "\\&");
    result += line + "\n";
  }
  return result + (fixed ? ".fi\n.RE\n" : "");
}

/// "IN", "CALL..." or "[PATTERN]".
std::string synopsis(const CLI::Option& positional) {
  const std::string name =
      positional.get_name(true) + (positional.get_expected_max() > 1 ? "..." : "");
  return positional.get_required() ? name : "[" + name + "]";
}

std::string manOptions(const CLI::App& app) {
  std::string text;
  for (const OptionText& option : optionsOf(app)) {
    std::string names = joined(option.names, ", ");
    std::string what = option.what;
    if (!option.values.empty()) what += " (" + joined(option.values, ", ") + ")";
    if (!option.defaultValue.empty()) what += "; default: " + option.defaultValue;
    text += ".TP\n.B " + manText(names + (option.type.empty() ? "" : " " + option.type)) +
            manText(what);
  }
  return text;
}

}  // namespace

std::string completionScript(CLI::App& app, const host::Plugin& plugin, const std::string& shell) {
  const PluginText text = textOf(plugin);
  if (shell == "bash") return bashScript(app, text);
  if (shell == "zsh") return zshScript(app, text);
  return fishScript(app, text);
}

std::string manualPage(CLI::App& app) {
  std::string page = ".TH ZVK 1 \"\" \"zvk " ZVK_VERSION "\"\n.SH NAME\nzvk \\- " +
                     manText("works on pictures with the PictureZVK plug-in") + ".SH SYNOPSIS\n";
  for (const CLI::App* sub : app.get_subcommands({})) {
    page += ".B zvk " + sub->get_name() + "\n[OPTIONS]";
    for (const CLI::Option* option : sub->get_options()) {
      if (option->get_positional()) page += " " + synopsis(*option);
    }
    page += "\n.br\n";
  }
  page += ".SH DESCRIPTION\n" + manText(app.get_description() + "\n\n" + app.get_footer());
  page += ".SH OPTIONS\n" + manOptions(app);
  for (const CLI::App* sub : app.get_subcommands({})) {
    std::string title = sub->get_name();
    for (char& c : title) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    page += ".SH ZVK " + title + "\n" + manText(sub->get_description() + "\n\n") + ".PP\n" +
            manOptions(*sub) + ".PP\n" + manText(sub->get_footer());
  }
  return page;
}

}  // namespace zvk
