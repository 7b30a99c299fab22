#include "tools/commands/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <vector>

#include "api/pipeline.h"
#include "profile/RgbSpaces.h"
#include "tools/Refusal.h"

namespace {

using Words = std::vector<std::string>;

/// What can stand as the value of an option, or as an argument.
struct Values {
  Words words;
  bool areFiles = false;
};

Words ImageSpaces() {
  Words names;
  for (std::size_t i = 0; i < kxp_space_count(); ++i) {
    const std::string name = kxp_space_name(i);
    if (name != "lab" && name != "xyz") names.push_back(name);
  }
  return names;
}

Words ReportSpaces() {
  Words names;
  for (const kxcms::RgbSpace& space : kxcms::RgbSpaces()) names.emplace_back(space.name);
  return names;
}

Words AllSpaces() {
  Words names;
  for (std::size_t i = 0; i < kxp_space_count(); ++i) names.emplace_back(kxp_space_name(i));
  return names;
}

Words With(Words words, const Words& more) {
  words.insert(words.begin(), more.begin(), more.end());
  return words;
}

/// @param command  with those above it, "profile make" say
/// @param name     of the option or the argument
Values ValuesOf(const std::string& command, const std::string& name, const CLI::Option& option) {
  const std::map<std::string, Words> kWords = {
      {"--intent", {"perceptual", "relative", "saturation", "absolute"}},
      {"--pipeline", {"precise", "fixed"}},
      {"--compress", {"same", "none", "lzw", "deflate", "zstd"}},
      {"--bigtiff", {"auto", "yes", "no"}},
      {"--format", {"tiff", "jpeg", "png"}},
      {"--depth", {"8", "16"}},
      {"--pages", {"all", "first"}},
      {"--exists", {"replace", "refuse", "skip"}},
      {"--version", {"2", "4"}},
      {"--completion", {"bash", "zsh"}},
      {"--hash", {"none", "output", "all"}},
      {"--progress", {"auto", "plain", "json"}},
      {"--as", {"summary", "tsv", "sha256sum"}},
  };
  const auto found = kWords.find(name);
  if (found != kWords.end()) return {found->second, false};
  if (name == "--profile" || name == "--assume") return {ImageSpaces(), true};
  if (name == "--tag") return {With(ImageSpaces(), {"auto", "none"}), true};
  if (name == "--to") {
    const bool isOfReport = command == "report" || command == "probe";
    const bool areFiles = option.get_description().find("profile") != std::string::npos;
    return {isOfReport ? ReportSpaces() : ImageSpaces(), areFiles};
  }
  if (command == "profile make" && name == "SPACE") return {AllSpaces(), true};
  if (command == "profile embed" && name == "PROFILE") return {ImageSpaces(), true};
  return {{}, option.get_type_name().find("TEXT") != std::string::npos};
}

bool IsCommand(const CLI::App& app) {
  return !app.get_name().empty();
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* sub) { return IsCommand(*sub); });
}

/// An option with its names, dashes and all.
struct Named {
  const CLI::Option* option;
  Words names;
  bool takesValue;
};

std::vector<Named> OptionsOf(const CLI::App& app) {
  std::vector<Named> found;
  for (const CLI::Option* const option : app.get_options()) {
    Words names;
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    if (!names.empty()) found.push_back({option, names, option->get_items_expected_max() > 0});
  }
  return found;
}

std::vector<const CLI::Option*> ArgumentsOf(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) { return !option->nonpositional(); });
}

std::string Joined(const Words& words) {
  std::string joined;
  for (const std::string& word : words) joined += (joined.empty() ? "" : " ") + word;
  return joined;
}

std::string Below(const std::string& path, const CLI::App& app) {
  return path.empty() ? app.get_name() : path + " " + app.get_name();
}

// ---- bash ---------------------------------------------------------------------------------------

void AppendBashCommands(const CLI::App& app, const std::string& path, std::string& text) {
  for (const CLI::App* const sub : CommandsOf(app)) {
    const std::string below = Below(path, *sub);
    text += "      \"" + path + " " + sub->get_name() + "\") command=\"" + below + "\" ;;\n";
    AppendBashCommands(*sub, below, text);
  }
}

void AppendBashValues(const CLI::App& app, const std::string& path, std::string& text) {
  for (const Named& named : OptionsOf(app)) {
    if (!named.takesValue) continue;
    const Values values = ValuesOf(path, named.names.back(), *named.option);
    std::string pattern;
    for (const std::string& name : named.names) {
      pattern += (pattern.empty() ? "\"" : " | \"") + path + " " + name + "\"";
    }
    text += "    " + pattern + ") words=\"" + Joined(values.words) +
            "\" files=" + (values.areFiles ? "yes" : "no") + " ;;\n";
  }
  for (const CLI::App* const sub : CommandsOf(app)) {
    AppendBashValues(*sub, Below(path, *sub), text);
  }
}

void AppendBashArguments(const CLI::App& app, const std::string& path, std::string& text) {
  Words options, words;
  bool areFiles = false;
  for (const Named& named : OptionsOf(app)) {
    options.insert(options.end(), named.names.begin(), named.names.end());
  }
  for (const CLI::App* const sub : CommandsOf(app)) words.push_back(sub->get_name());
  for (const CLI::Option* const argument : ArgumentsOf(app)) {
    const Values values = ValuesOf(path, argument->get_name(true), *argument);
    words.insert(words.end(), values.words.begin(), values.words.end());
    areFiles = areFiles || values.areFiles;
  }
  text += "      \"" + path + "\") options=\"" + Joined(options) + "\" words=\"" + Joined(words) +
          "\" files=" + (areFiles ? "yes" : "no") + " ;;\n";
  for (const CLI::App* const sub : CommandsOf(app)) {
    AppendBashArguments(*sub, Below(path, *sub), text);
  }
}

std::string Bash(const CLI::App& app) {
  std::string text = R"(# Completion of kxcms for bash; printed by: kxcms --completion bash

_kxcms() {
  local cur="${COMP_WORDS[COMP_CWORD]}" prev="${COMP_WORDS[COMP_CWORD - 1]}"
  local command="" options="" words="" files="" i
  # --option=value comes in three words.
  if [[ "$cur" == "=" ]]; then
    cur=""
  elif [[ "$prev" == "=" ]] && ((COMP_CWORD > 2)); then
    prev="${COMP_WORDS[COMP_CWORD - 2]}"
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case "$command ${COMP_WORDS[i]}" in
)";
  AppendBashCommands(app, "", text);
  text += R"(    esac
  done
  case "$command $prev" in
)";
  AppendBashValues(app, "", text);
  text += R"(  esac
  if [[ -z "$files" ]]; then
    case "$command" in
)";
  AppendBashArguments(app, "", text);
  text += R"(    esac
    if [[ "$cur" == -* ]]; then
      words="$options" files=no
    fi
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
  if [[ "$files" == yes ]]; then
    local names
    mapfile -t names < <(compgen -f -- "$cur")
    COMPREPLY+=("${names[@]}")
    compopt -o filenames 2>/dev/null
  fi
}
complete -F _kxcms kxcms
)";
  return text;
}

// ---- zsh ----------------------------------------------------------------------------------------

/// For within single quotes and brackets.
std::string Quoted(const std::string& text) {
  std::string quoted;
  for (const char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
      continue;
    }
    if (c == '[' || c == ']' || c == ':' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted;
}

/// What completes a value, behind its name in the argument of _arguments.
std::string ZshAction(const Values& values) {
  const std::string words = "(" + Joined(values.words) + ")";
  if (!values.areFiles) return values.words.empty() ? " " : words;
  if (values.words.empty()) return "_files";
  return "{_alternative \"words\\:word\\:" + words + "\" \"files\\:file\\:_files\"}";
}

std::string ZshFunction(const std::string& path) {
  std::string name = "_kxcms";
  for (const char c : path.empty() ? path : " " + path) name += c == ' ' ? '_' : c;
  return name;
}

void AppendZsh(const CLI::App& app, const std::string& path, std::string& text) {
  for (const CLI::App* const sub : CommandsOf(app)) AppendZsh(*sub, Below(path, *sub), text);
  const bool hasCommands = !CommandsOf(app).empty();
  text += ZshFunction(path) + "() {\n";
  if (hasCommands) {
    text += "  local curcontext=\"$curcontext\" state line\n  typeset -A opt_args\n";
    text += "  local -a commands=(\n";
    for (const CLI::App* const sub : CommandsOf(app)) {
      text += "    '" + sub->get_name() + ":" + Quoted(sub->get_description()) + "'\n";
    }
    text += "  )\n";
  }
  text += hasCommands ? "  _arguments -C -S" : "  _arguments -S";
  for (const Named& named : OptionsOf(app)) {
    const std::string description = "[" + Quoted(named.option->get_description()) + "]";
    for (const std::string& name : named.names) {
      const bool isLong = name.starts_with("--");
      text += " \\\n    '(" + Joined(named.names) + ")" + name;
      if (named.takesValue) {
        const Values values = ValuesOf(path, named.names.back(), *named.option);
        text += (isLong ? "=" : "+") + description + ":value:" + ZshAction(values);
      } else {
        text += description;
      }
      text += "'";
    }
  }
  if (hasCommands) {
    text += " \\\n    '1:command:->command' '*::argument:->argument'\n";
    text += "  case \"$state\" in\n    command) _describe command commands ;;\n";
    text += "    argument)\n      case \"$words[1]\" in\n";
    for (const CLI::App* const sub : CommandsOf(app)) {
      text += "        " + sub->get_name() + ") " + ZshFunction(Below(path, *sub)) + " ;;\n";
    }
    text += "      esac ;;\n  esac\n}\n\n";
    return;
  }
  for (const CLI::Option* const argument : ArgumentsOf(app)) {
    const std::string name = argument->get_name(true);
    const bool isRest = argument->get_items_expected_max() > 1;
    text += std::string(" \\\n    '") + (isRest ? "*" : "") + ":" + name + ":" +
            ZshAction(ValuesOf(path, name, *argument)) + "'";
  }
  text += "\n}\n\n";
}

std::string Zsh(const CLI::App& app) {
  std::string text =
      "#compdef kxcms\n# Completion of kxcms for zsh; printed by: kxcms --completion zsh\n\n";
  AppendZsh(app, "", text);
  return text + "_kxcms \"$@\"\n";
}

}  // namespace

std::string CompletionFor(const CLI::App& app, const std::string& shell) {
  if (shell == "bash") return Bash(app);
  if (shell == "zsh") return Zsh(app);
  throw Refusal(Exit::Usage, "unknown shell " + shell + "; known: bash, zsh");
}
