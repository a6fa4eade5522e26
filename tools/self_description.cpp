#include "self_description.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string_view>
#include <vector>

namespace nuv::tools {
namespace {

std::string json_string(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      result += {'\\', c};
    } else if (static_cast<unsigned char>(c) < ' ') {
      result += fmt::format("\\u{:04x}", static_cast<unsigned char>(c));
    } else {
      result += c;
    }
  }
  return result + '"';
}

template <class Items, class Describe>
std::string list(const Items& items, const Describe& describe) {
  std::vector<std::string> parts;
  for (const auto& item : items) parts.push_back(describe(item));
  return fmt::format("[{}]", fmt::join(parts, ",\n"));
}

bool is_file_name(CLI::Option& option) {
  try {
    option.get_validator(file_check);
    return true;
  } catch (const CLI::OptionNotFound&) {
    return false;
  }
}

/// What an option takes: a word for it, and the values where they can be counted. The parser gives both in one text,
/// WORD:{one,other}.
struct Value {
  std::string word;
  std::vector<std::string> choices;
};

Value value_of(const CLI::Option& option) {
  if (option.get_items_expected_max() == 0) return {};  // a flag
  const std::string text = option.get_type_name();
  const std::size_t set = text.find(":{");
  if (set == std::string::npos || !text.ends_with('}')) return {text, {}};
  return {text.substr(0, set), CLI::detail::split(text.substr(set + 2, text.size() - set - 3), ',')};
}

std::string describe(CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  if (option.get_positional()) names.push_back(option.get_name(true));
  const Value value = value_of(option);
  return fmt::format(R"({{"names": {}, "value": {}, "choices": {}, "is_file": {}, "is_required": {}, "about": {}}})",
                     list(names, json_string), json_string(value.word), list(value.choices, json_string),
                     is_file_name(option), option.get_required(), json_string(option.get_description()));
}

/// With all that its help text shows.
std::string describe(CLI::App& command) {
  const auto options =
      command.get_options([](CLI::Option* o) { return !o->get_group().empty() && o->nonpositional(); });
  const auto arguments =
      command.get_options([](CLI::Option* o) { return !o->get_group().empty() && !o->nonpositional(); });
  const auto commands = command.get_subcommands([](CLI::App* c) { return !c->get_group().empty(); });
  return fmt::format(R"({{"name": {}, "about": {}, "footer": {}, "arguments": {}, "options": {}, "commands": {}}})",
                     json_string(command.get_name()), json_string(command.get_description()),
                     json_string(command.get_footer()), list(arguments, [](CLI::Option* o) { return describe(*o); }),
                     list(options, [](CLI::Option* o) { return describe(*o); }),
                     list(commands, [](CLI::App* c) { return describe(*c); }));
}

}  // namespace

std::string description_in_json(CLI::App& program) {
  return describe(program) + "\n";
}

}  // namespace nuv::tools
