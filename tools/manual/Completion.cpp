#include <algorithm>
#include <functional>

#include "tools/manual/Program.h"

namespace kellanseek::manual {
namespace {

std::string Quoted(const std::string& text) { return "'" + Replaced(text, "'", R"('\'')") + "'"; }

void ForEach(const Command& command, const std::function<void(const Command&)>& visit) {
  visit(command);
  for (const Command& each : command.commands) ForEach(each, visit);
}

std::vector<std::string> NamesOf(const std::vector<Command>& commands) {
  std::vector<std::string> names;
  names.reserve(commands.size());
  for (const Command& command : commands) names.push_back(command.name);
  return names;
}

std::vector<std::string> NamesOf(const std::vector<Option>& options) {
  std::vector<std::string> names;
  for (const Option& option : options) names.insert(names.end(), option.names.begin(), option.names.end());
  return names;
}

/// One branch of a `case` over "COMMAND OPTION" and "COMMAND NUMBER".
std::string BashBranch(const std::string& pattern, const Option& option) {
  std::string values;
  switch (option.values) {
    case Values::None: return "";
    case Values::Any: break;
    case Values::Files: values = "@files"; break;
    case Values::Directories: values = "@directories"; break;
    case Values::Choices: values = Joined(option.choices, " "); break;
  }
  return "    " + pattern + ") values=" + Quoted(values) + " ;;\n";
}

std::string BashBranches(const Command& command) {
  std::string text;
  for (const Option& option : command.options) {
    for (const std::string& name : option.names)
      text += BashBranch(Quoted(command.path + " " + name), option);
  }
  for (std::size_t i = 0; i < command.arguments.size(); ++i) {
    const Option& argument = command.arguments[i];
    text += BashBranch(argument.repeated ? Quoted(command.path + " ") + "[0-9]*"
                                         : Quoted(command.path + " " + std::to_string(i + 1)),
                       argument);
  }
  return text;
}

constexpr const char* kBash = R"(# Completion of @NAME@ in bash, made from the program's own definitions.

# Sets `commands` and `options` to the words that may follow the command $1.
_@NAME@_words() {
  case $1 in
@WORDS@  esac
}

# Sets `values` to the values of $2, an option of the command $1 or the number of one of its arguments. Fails if
# there is no such argument, or the option takes no value.
_@NAME@_values() {
  case "$1 $2" in
@VALUES@    *) return 1 ;;
  esac
}

_@NAME@() {
  local command='' option='' argument=1 commands='' options='' values='' word i
  local current=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  _@NAME@_words ''
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $word == '=' ]]; then  # bash makes three words of NAME=VALUE
      [[ -n $option ]] || ((++i < COMP_CWORD)) || return 0
    elif [[ -n $option ]]; then
      option=''
    elif [[ $word == -* ]]; then
      if _@NAME@_values "$command" "$word"; then option=$word; fi
    elif [[ " $commands " == *" $word "* ]]; then
      command=${command:+$command }$word
      _@NAME@_words "$command"
    else
      argument=$((argument + 1))
    fi
  done
  if [[ $current == '=' ]]; then
    [[ -n $option ]] || return 0
    current=''
  fi
  values=''
  if [[ -n $option ]]; then
    _@NAME@_values "$command" "$option"
  elif [[ $current == -* ]]; then
    values=$options
  elif [[ -n $commands ]]; then
    values=$commands
  else
    _@NAME@_values "$command" "$argument" || values=$options
  fi
  case $values in
    @files) compopt -o default ;;
    @directories) compopt -o dirnames ;;
    *) mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current") ;;
  esac
  if [[ ${COMPREPLY[0]-} == *= ]]; then compopt -o nospace; fi
}

complete -F _@NAME@ @NAME@
)";

/// In the middle of a specification of zsh's _arguments.
std::string ZshText(std::string text) {
  for (const char* const special : {"\\", ":", "[", "]"})
    text = Replaced(text, special, std::string("\\") + special);
  return text;
}

/// ":NAME:ACTION", the end of a specification.
std::string ZshValue(const std::string& name, const Option& option) {
  std::string action;
  switch (option.values) {
    case Values::None: return "";
    case Values::Any: action = " "; break;
    case Values::Files: action = "_files"; break;
    case Values::Directories: action = "_path_files -/"; break;
    case Values::Choices:
      action = option.choices.front().back() == '=' ? "compadd -S \"\" - " + Joined(option.choices, " ")
                                                    : "(" + Joined(option.choices, " ") + ")";
      break;
  }
  return ":" + ZshText(name) + ":" + action;
}

std::string ZshSpecifications(const Command& command) {
  std::string text;
  const auto add = [&text](const std::string& specification) { text += " \\\n    " + Quoted(specification); };
  for (const Option& option : command.options) {
    std::vector<std::string> without = option.excludes;
    if (!option.repeated) without.insert(without.begin(), option.names.begin(), option.names.end());
    const std::string start =
        (without.empty() ? "" : "(" + Joined(without, " ") + ")") + (option.repeated ? "*" : "");
    for (const std::string& name : option.names) {
      add(start + name + (option.values == Values::None ? "" : "=") + "[" + ZshText(option.description) +
          "]" + ZshValue(option.value, option));
    }
  }
  for (std::size_t i = 0; i < command.arguments.size(); ++i) {
    const Option& argument = command.arguments[i];
    add((argument.repeated ? "*" : std::to_string(i + 1)) + ZshValue(argument.names.front(), argument));
  }
  return text;
}

std::string ZshFunctionName(const std::string& program, const Command& command) {
  return "_" + program + (command.path.empty() ? "" : "_" + Replaced(command.path, " ", "_"));
}

std::string ZshFunction(const std::string& program, const Command& command) {
  std::string text = ZshFunctionName(program, command) + "() {\n";
  if (command.commands.empty()) return text + "  _arguments" + ZshSpecifications(command) + "\n}\n\n";
  text +=
      "  local curcontext=$curcontext state line\n  local -a commands\n  _arguments -C" +
      ZshSpecifications(command) +
      " \\\n    '1: :->command' '*:: :->rest' && return\n  case $state in\n    command)\n      commands=(\n";
  for (const Command& each : command.commands)
    text += "        " + Quoted(ZshText(each.name) + ":" + ZshText(each.description)) + "\n";
  text += "      )\n      _describe command commands\n      ;;\n    rest)\n      case $words[1] in\n";
  for (const Command& each : command.commands)
    text += "        " + each.name + ") " + ZshFunctionName(program, each) + " ;;\n";
  return text + "      esac\n      ;;\n  esac\n}\n\n";
}

constexpr const char* kZsh = R"(#compdef @NAME@
# Completion of @NAME@ in zsh, made from the program's own definitions.

@FUNCTIONS@if [[ $funcstack[1] == _@NAME@ ]]; then
  _@NAME@ "$@"
else
  compdef _@NAME@ @NAME@
fi
)";

}  // namespace

std::string BashCompletion(const Command& program) {
  std::string words, values;
  ForEach(program, [&](const Command& command) {
    words += "    " + Quoted(command.path) +
             ")\n      commands=" + Quoted(Joined(NamesOf(command.commands), " ")) +
             "\n      options=" + Quoted(Joined(NamesOf(command.options), " ")) + "\n      ;;\n";
    values += BashBranches(command);
  });
  return Replaced(Replaced(Replaced(kBash, "@WORDS@", words), "@VALUES@", values), "@NAME@", program.name);
}

std::string ZshCompletion(const Command& program) {
  std::string functions;
  ForEach(program, [&](const Command& command) { functions += ZshFunction(program.name, command); });
  return Replaced(Replaced(kZsh, "@FUNCTIONS@", functions), "@NAME@", program.name);
}

}  // namespace kellanseek::manual
