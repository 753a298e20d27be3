#include "host/Documentation.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <functional>
#include <sstream>

namespace velmora::host {

namespace {

// Every command below the program, parents before their commands.
void eachCommand(const CLI::App& app, const std::function<void(const CLI::App&)>& visit) {
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    visit(*command);
    eachCommand(*command, visit);
  }
}

// A command's path below the program ("defaults write"), as the completion names it.
std::string pathBelowProgram(const CLI::App& command) {
  const std::string path = commandPathOf(command);
  const auto space = path.find(' ');
  return space == std::string::npos ? std::string() : path.substr(space + 1);
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
  return command.get_options([](const CLI::Option* o) { return !o->get_positional(); });
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command) {
  return command.get_options([](const CLI::Option* o) { return o->get_positional(); });
}

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::string words(const std::vector<std::string>& list) {
  std::string text;
  for (const std::string& word : list) text += (text.empty() ? "" : " ") + word;
  return text;
}

// What completes the value of an option or argument: its few words, else
// what its type name says it is.
std::string valueKind(const CommandLine& commandLine, const CLI::Option& option) {
  const std::vector<std::string> choices = commandLine.choices(option);
  if (!choices.empty()) return "words " + words(choices);
  const std::string type = option.get_type_name();
  if (type == "DIR") return "directory";
  if (type == "FILE") return "file";
  if (type == "ZONE") return "zone";
  return "none";
}

constexpr const char* kCompletion = R"BASH(
_velmora() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} path="" argument=0 word i value=""
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    _velmora_command "$path"
    if [[ -n $_velmora_rest && $argument -ge $_velmora_rest ]]; then
      ((argument++))  # the words of a typed value, as they stand
    elif [[ $word == -* && $word != - && $word != -- ]]; then
      [[ " $_velmora_valued " == *" $word "* ]] && ((i++))
    elif [[ $argument -eq 0 && " $_velmora_commands " == *" $word "* ]]; then
      path=${path:+$path }$word
    elif [[ $word != -- ]]; then
      ((argument++))
    fi
  done
  _velmora_command "$path"
  if [[ $COMP_CWORD -gt 1 && " $_velmora_valued " == *" $prev "* ]] &&
    ! [[ -n $_velmora_rest && $argument -ge $_velmora_rest ]]; then
    value=$(_velmora_value "$path" "$prev")
  elif [[ $cur == -* && ! ( -n $_velmora_rest && $argument -ge $_velmora_rest ) ]]; then
    value="words $_velmora_options"
  elif [[ $argument -eq 0 && -n $_velmora_commands ]]; then
    value="words $_velmora_commands"
  else
    value=$(_velmora_value "$path" "$argument")
  fi
  local IFS=$'\n'
  case $value in
    words\ *) COMPREPLY=($(IFS=' ' compgen -W "${value#words }" -- "$cur")) ;;
    file) COMPREPLY=($(compgen -f -- "$cur")); compopt -o filenames 2>/dev/null ;;
    directory) COMPREPLY=($(compgen -d -- "$cur")); compopt -o filenames 2>/dev/null ;;
    zone)
      COMPREPLY=($(cd /usr/share/zoneinfo 2>/dev/null && compgen -f -- "$cur" | while read -r z; do
        if [[ -d /usr/share/zoneinfo/$z ]]; then echo "$z/"; else echo "$z"; fi; done))
      compopt -o nospace 2>/dev/null ;;
    *) COMPREPLY=() ;;
  esac
}
complete -F _velmora velmora
)BASH";

}  // namespace

std::string bashCompletion(const CommandLine& commandLine) {
  const CLI::App& program = commandLine.app();
  std::ostringstream commands, values;
  // The commands, options and arguments of each command, the program's own options included, as they fall through.
  auto describe = [&](const CLI::App& command) {
    std::vector<std::string> options, valued, subcommands;
    for (const CLI::App* level = &command; level; level = level->get_parent())
      for (const CLI::Option* option : optionsOf(*level))
        for (const std::string& name : optionNamesOf(*option)) {
          if (std::find(options.begin(), options.end(), name) != options.end()) continue;  // each command's --help
          options.push_back(name);
          if (takesValue(*option)) valued.push_back(name);
        }
    for (const CLI::App* sub : command.get_subcommands([](const CLI::App*) { return true; }))
      subcommands.push_back(sub->get_name());
    // An argument whose words may begin with "-" (a typed value) takes every word after it as it stands.
    std::string rest;
    const auto arguments = argumentsOf(command);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      const auto choices = commandLine.choices(*arguments[i]);
      if (!choices.empty() && choices.front().starts_with("-")) rest = std::to_string(i);
    }
    const std::string path = pathBelowProgram(command);
    commands << "    \"" << path << "\") _velmora_commands=\"" << words(subcommands) << "\" _velmora_options=\""
             << words(options) << "\" _velmora_valued=\"" << words(valued) << "\" _velmora_rest=\"" << rest
             << "\" ;;\n";
    for (const CLI::App* level = &command; level; level = level->get_parent())
      for (const CLI::Option* option : optionsOf(*level))
        if (takesValue(*option))
          for (const std::string& name : optionNamesOf(*option))
            values << "    \"" << path << " " << name << "\") echo \"" << valueKind(commandLine, *option) << "\" ;;\n";
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      const bool many = arguments[i]->get_items_expected_max() > 1;
      values << "    \"" << path << " " << i << "\"" << (many && rest.empty() ? "|\"" + path + " \"[0-9]*" : "")
             << ") echo \"" << valueKind(commandLine, *arguments[i]) << "\" ;;\n";
    }
  };
  describe(program);
  eachCommand(program, describe);

  std::ostringstream script;
  script << "# bash completion of velmora, made from the program's own command line\n\n"
         << "# The commands, options, options that take a value, and the argument from which every word is part of "
            "a value, of a command.\n"
         << "_velmora_command() {\n  case $1 in\n"
         << commands.str() << "    *) _velmora_commands=\"\" _velmora_options=\"\" _velmora_valued=\"\" "
         << "_velmora_rest=\"\" ;;\n  esac\n}\n\n"
         << "# What completes an option's value or an argument (given by its number): words, a file, a directory, a "
            "time zone.\n"
         << "_velmora_value() {\n  case \"$1 $2\" in\n"
         << values.str() << "    *) echo none ;;\n  esac\n}\n"
         << kCompletion;
  return script.str();
}

namespace {

// Text as roff reads it: backslashes doubled, a line's leading dot or quote escaped, dashes as minus signs.
std::string roff(const std::string& text) {
  std::string out;
  bool lineStart = true;
  for (const char c : text) {
    if (lineStart && (c == '.' || c == '\'')) out += "\\&";
    if (c == '\\')
      out += "\\e";
    else if (c == '-')
      out += "\\-";
    else
      out += c;
    lineStart = c == '\n';
  }
  return out;
}

void describeOption(std::ostringstream& out, const CLI::Option& option) {
  std::string names;
  for (const std::string& name :
       option.get_positional() ? std::vector<std::string>{option.get_name()} : optionNamesOf(option))
    names += (names.empty() ? "" : ", ") + ("\\fB" + roff(name) + "\\fR");
  const std::string type = option.get_type_name();
  if (!option.get_positional() && !type.empty()) names += " \\fI" + roff(type) + "\\fR";
  out << ".TP\n" << names << "\n" << roff(option.get_description()) << "\n";
}

// The sections help2man makes itself of a help text's paragraphs, which the page's own replace.
bool madeByHelp2man(const std::string& section) {
  for (const char* own : {"ENVIRONMENT", "FILES", "EXAMPLES", "AUTHOR", "REPORTING BUGS", "COPYRIGHT", "SEE ALSO"})
    if (section == own) return true;
  return false;
}

// A footer's paragraphs: a heading ("Environment:") with its indented lines, or running text. Under any
// heading but Examples, a line of a term and its meaning, two spaces or more apart, is a tagged paragraph;
// other indented lines keep their lines. With `asSections`, each heading begins a section of the page.
void describeFooter(std::ostringstream& out, const std::string& footer, bool asSections) {
  std::istringstream lines(footer);
  bool literal = false, examples = false;
  auto endLiteral = [&] {
    if (literal) out << ".fi\n";
    literal = false;
  };
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(" ")) endLiteral();
    if (line.empty()) {
      if (!asSections) out << ".PP\n";
    } else if (!line.starts_with(" ") && line.ends_with(":")) {
      std::string heading = line.substr(0, line.size() - 1);
      for (char& c : heading) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      examples = heading == "EXAMPLES";
      if (asSections)
        out << (madeByHelp2man(heading) ? "[=" : "[") << heading << "]\n";
      else
        out << roff(line) << "\n.br\n";
    } else if (const auto gap = line.find("  ", 2); !examples && line.starts_with("  ") && gap != std::string::npos) {
      endLiteral();
      const auto meaning = line.find_first_not_of(' ', gap);
      out << ".TP\n" << roff(line.substr(2, gap - 2)) << "\n" << roff(line.substr(meaning)) << "\n";
    } else if (line.starts_with("  ")) {
      if (!literal) out << ".nf\n";
      literal = true;
      out << roff(line.substr(2)) << "\n";
    } else {
      out << roff(line) << "\n";
    }
  }
  endLiteral();
}

// A command's own footer, without the paragraph every command has.
std::string ownFooter(const CLI::App& command) {
  std::string footer = command.get_footer();
  const std::string common = CommandLine::commandFooter();
  if (footer.ends_with(common)) footer.resize(footer.size() - common.size());
  while (!footer.empty() && footer.back() == '\n') footer.pop_back();
  return footer;
}

}  // namespace

std::string manualSections(const CommandLine& commandLine) {
  std::ostringstream out;
  // The program's options as --help gives them, but with the installed program's default bundle rather than the
  // directory of the tree the page is made in.
  out << "[=OPTIONS]\n";
  for (const CLI::Option* option : optionsOf(commandLine.app())) describeOption(out, *option);
  out << "[COMMANDS]\n";
  eachCommand(commandLine.app(), [&](const CLI::App& command) {
    out << ".SS \"" << roff(usageOf(command)) << "\"\n" << roff(command.get_description()) << "\n";
    for (const CLI::Option* argument : argumentsOf(command)) describeOption(out, *argument);
    for (const CLI::Option* option : optionsOf(command))
      if (option->get_name() != "--help") describeOption(out, *option);
    // A footer the commands of a command repeat is said once, with it.
    const std::string footer = ownFooter(command);
    if (!footer.empty() && (!command.get_parent()->get_parent() || footer != ownFooter(*command.get_parent()))) {
      out << ".PP\n";
      describeFooter(out, footer, false);
    }
  });
  // The program's examples, environment and exit status.
  describeFooter(out, commandLine.app().get_footer(), true);
  return out.str();
}

}  // namespace velmora::host
