// Writes the manual pages and the completion of the shells.
// usage: kellanseek_manual VERSION PAGES OUTPUT, with the folder of the pages' texts and the folder to fill.
#include <algorithm>
#include <cctype>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include <CLI/CLI.hpp>

#include "commands/CommandLine.h"
#include "tools/kelsim/Options.h"
#include "tools/manual/Program.h"

namespace kellanseek::manual {

std::string Joined(const std::vector<std::string>& texts, const std::string& separator) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : separator) + text;
  return joined;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

namespace {

namespace fs = std::filesystem;

/// The parser describes a range as "UINT in [1 - 100]".
std::string LimitsText(const std::string& described) {
  const std::size_t begin = described.find(" in [");
  if (begin == std::string::npos || described.back() != ']') return described;
  constexpr std::size_t kSkipped = 5;
  return Replaced(described.substr(begin + kSkipped, described.size() - 1 - begin - kSkipped), " - ", " to ");
}

bool IsBeginning(const std::string& choice) { return choice.back() == '='; }

/// Takes a type apart, which the parser makes of a name and the validators' descriptions: "SECONDS:0 to
/// 86400", "FORMAT:{table,json}", "KEY=VALUE:{name=,kind=}".
void ReadType(Option& option, const std::string& type) {
  option.values = Values::Any;
  for (const std::string& part : CLI::detail::split(type, ':')) {
    if (part.size() > 2 && part.front() == '{' && part.back() == '}') {
      option.values = Values::Choices;
      option.choices = CLI::detail::split(part.substr(1, part.size() - 2), ',');
    } else if (option.value.empty()) {
      option.value = part;
    } else if (part != option.value) {
      option.limits = LimitsText(part);
    }
  }
  if (option.values == Values::Choices && !IsBeginning(option.choices.front()))
    option.value = Joined(option.choices, "|");
  if (option.value == "PATH" || option.value == "FILE") option.values = Values::Files;
  if (option.value == "DIR") option.values = Values::Directories;
}

Option Read(const CLI::Option& given) {
  Option option;
  if (given.nonpositional()) {
    for (const std::string& name : given.get_snames()) option.names.push_back("-" + name);
    for (const std::string& name : given.get_lnames()) option.names.push_back("--" + name);
  } else {
    option.names = {given.get_name(true)};
  }
  option.description = given.get_description();
  if (given.get_items_expected_max() > 0) ReadType(option, given.get_type_name());
  option.byDefault = given.get_default_str();
  for (const CLI::Option* const other : given.get_excludes()) option.excludes.push_back(other->get_name());
  std::sort(option.excludes.begin(), option.excludes.end());
  option.required = given.get_required();
  option.repeated = given.get_items_expected_max() > 1 ||
                    given.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  return option;
}

Command Read(const CLI::App& app, const std::string& path, const std::vector<Option>& general) {
  Command command{path, app.get_name(), app.get_description(), app.get_footer(), {}, {}, {}};
  for (const CLI::Option* const given : app.get_options()) {
    if (given->get_group().empty()) continue;
    Option option = Read(*given);
    option.general = given == app.get_help_ptr() && app.get_parent() != nullptr;
    (given->nonpositional() ? command.options : command.arguments).push_back(std::move(option));
  }
  command.options.insert(command.options.end(), general.begin(), general.end());
  std::vector<Option> handed;
  for (Option option : command.options) {
    option.general = true;
    if (app.get_fallthrough() && option.names.back() != "--help" && option.names.back() != "--version")
      handed.push_back(std::move(option));
  }
  for (const CLI::App* const each : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (each->get_group().empty()) continue;
    const std::string below = (path.empty() ? "" : path + " ") + each->get_name();
    command.commands.push_back(Read(*each, below, handed));
  }
  return command;
}

/// A text that roff prints as it is. Every hyphen is one that can be copied to a shell, and options are not
/// broken.
std::string Roff(std::string text) {
  text = Replaced(Replaced(std::move(text), "\\", "\\e"), "-", "\\-");
  text = Replaced("\n" + text, " \\-\\-", " \\%\\-\\-");
  for (const char* const control : {".", "'"})
    text = Replaced(text, std::string("\n") + control, std::string("\n\\&") + control);
  return text.substr(1);
}

std::string Bold(const std::string& text) { return "\\fB" + Roff(text) + "\\fP"; }
std::string Italic(const std::string& text) { return "\\fI" + Roff(text) + "\\fP"; }

/// "--wait SECONDS", with a blank at which no line is broken.
std::string NameAndValue(const Option& option, const std::string& name) {
  std::string text = Bold(name);
  return option.values == Values::None ? text : text + "\\~" + Italic(option.value);
}

std::string Heading(const Option& option, bool argument) {
  if (argument) return Italic(option.names.front()) + (option.repeated ? " ..." : "");
  std::string text;
  for (const std::string& name : option.names)
    text +=
        (text.empty() ? "" : ", ") + (name == option.names.back() ? NameAndValue(option, name) : Bold(name));
  return text;
}

std::string Usage(const Option& option, bool argument) {
  const std::string text =
      argument ? Italic(option.names.front()) : NameAndValue(option, option.names.back());
  return (option.required ? text : "[" + text + "]") + (option.repeated ? "\\~..." : "") + "\n";
}

bool Says(const Option& option, const std::string& what) {
  return CLI::detail::to_lower(option.description).find(CLI::detail::to_lower(what)) != std::string::npos;
}

std::string Paragraph(const Option& option, bool argument) {
  std::string text = ".TP\n" + Heading(option, argument) + "\n" + Roff(option.description) + ".\n";
  if (!option.limits.empty() && !Says(option, option.limits))
    text += "Allowed: " + Roff(option.limits) + ".\n";
  if (!option.byDefault.empty()) text += "Default: " + Roff(option.byDefault) + ".\n";
  if (option.repeated && !argument && !Says(option, "may be repeated")) text += "May be repeated.\n";
  if (!option.excludes.empty()) text += "Not together with " + Roff(Joined(option.excludes, ", ")) + ".\n";
  return text;
}

bool IsOwn(const Option& option) { return !option.general; }

std::string Options(const Command& command) {
  std::string text;
  for (const Option& argument : command.arguments) text += Paragraph(argument, true);
  for (const Option& option : command.options) {
    if (IsOwn(option)) text += Paragraph(option, false);
  }
  if (command.footer.empty()) return text;
  text += ".PP\n.EX\n";
  for (const std::string& line : CLI::detail::split(command.footer, '\n')) text += Roff(line) + "\n";
  return text + ".EE\n";
}

std::string Synopsis(const Command& command, const std::string& program) {
  std::string text;
  const bool isGroup = !command.commands.empty();
  if (!isGroup || std::any_of(command.options.begin(), command.options.end(), IsOwn)) {
    text += ".SY \"" + Roff(program + (command.path.empty() ? "" : " " + command.path)) + "\"\n";
    for (const Option& option : command.options) {
      if (IsOwn(option)) text += Usage(option, false);
    }
    for (const Option& argument : command.arguments) text += Usage(argument, true);
    text += isGroup ? Italic("command") + "\\~...\n.YS\n" : ".YS\n";
  }
  for (const Command& each : command.commands) text += Synopsis(each, program);
  return text;
}

std::string Commands(const Command& command) {
  std::string text;
  for (const Command& each : command.commands) {
    if (each.commands.empty())
      text += ".SS \"" + Roff(each.path) + "\"\n" + Roff(each.description) + ".\n" + Options(each);
    text += Commands(each);
  }
  return text;
}

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return text;
}

void WriteFile(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  if (!(file << text).flush()) throw std::runtime_error("cannot write " + path.string());
}

struct Places {
  std::string version;
  fs::path pages, output;
};

/// Writes a page: its text with the version in place of @VERSION@, and the parts made from the definitions.
void WritePage(const Places& places, const std::string& name, const std::string& section,
               const Command& program) {
  std::string text = ReadFile(places.pages / (name + "." + section + ".in"));
  text = Replaced(std::move(text), "@VERSION@", places.version);
  text = Replaced(std::move(text), "@SYNOPSIS@\n", Synopsis(program, program.name));
  text = Replaced(std::move(text), "@COMMANDS@\n", Commands(program));
  text = Replaced(std::move(text), "@OPTIONS@\n", Options(program));
  WriteFile(places.output / "man" / ("man" + section) / (name + "." + section), text);
}

void WriteTool(const Places& places, const CLI::App& app) {
  const Command program = Read(app, "", {});
  WritePage(places, program.name, "1", program);
  WriteFile(places.output / "bash-completion" / "completions" / program.name, BashCompletion(program));
  WriteFile(places.output / "zsh" / "site-functions" / ("_" + program.name), ZshCompletion(program));
}

void WriteAll(const Places& places) {
  kelseek::Session session;
  WriteTool(places, *kelseek::MakeCommandLine(session));
  kelsim::DescribeOptions([&places](const CLI::App& app) { WriteTool(places, app); });
  WritePage(places, "kellanseek", "7", {});
}

}  // namespace
}  // namespace kellanseek::manual

int main(int count, char** arguments) {
  try {
    if (count != 4) throw std::runtime_error("usage: kellanseek_manual VERSION PAGES OUTPUT");
    kellanseek::manual::WriteAll({arguments[1], arguments[2], arguments[3]});
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "kellanseek_manual: " << error.what() << '\n';
    return 1;
  }
}
