#include "command_line/command_line.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

#include "command_line/commands.hpp"
#include "command_line/nearest.hpp"
#include "command_line/options.hpp"
#include "error.hpp"
#include "output.hpp"
#include "self_description.hpp"

namespace nuv::tools {
namespace {

const CLI::App* command_named(const CLI::App& app, const std::string& name) {
  const auto commands = app.get_subcommands([&](const CLI::App* command) { return command->check_name(name); });
  return commands.empty() ? nullptr : commands.front();
}

std::vector<std::string> names_of_commands(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

/// The long options that a command takes.
std::vector<std::string> names_of_options(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string suggestion(const std::string& word, const std::vector<std::string>& known) {
  const auto name = nearest(word, known);
  return name ? fmt::format("; did you mean {}?", *name) : "";
}

std::string no_such_command(const std::string& word, const CLI::App& app) {
  return fmt::format("no such command: {}{}", printable(word), suggestion(word, names_of_commands(app)));
}

/// The help of the parser itself, which gives that of the command it parsed when asked directly.
std::string overview(const CLI::App& app) {
  return app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
}

bool is_option(const std::string& word) {
  return word.size() > 1 && word.front() == '-';
}

/// What words were wrong that the parser could not place, if it is that.
std::optional<std::string> unplaced_words(const CLI::App& app, const CLI::App* command, const CLI::ParseError& error) {
  const std::vector<std::string> words = app.remaining(true);
  const auto option = std::find_if(words.begin(), words.end(), is_option);
  if (option != words.end()) {
    const std::string name = option->substr(0, option->find('='));
    const CLI::App& asked = command ? *command : app;
    return fmt::format("{} has no option {}{}", command ? "nuv " + command->get_name() : "nuv", name,
                       suggestion(name, names_of_options(asked)));
  }
  if (words.empty()) return command ? std::nullopt : std::optional<std::string>("a command is missing");
  if (!command) return no_such_command(words.front(), app);
  const bool is_too_much = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  return is_too_much ? std::optional(fmt::format("one argument too many: {}", words.front())) : std::nullopt;
}

}  // namespace

void add_help(CLI::App& app) {
  const auto name = std::make_shared<std::string>();
  CLI::App& command = *app.add_subcommand("help", "Show what a command does and which options it takes.");
  command.add_option("COMMAND", *name, "Name of the command (default: all)");
  command.callback([&app, name] {
    const CLI::App* const asked = name->empty() ? nullptr : command_named(app, *name);
    if (!name->empty() && !asked) throw UsageError(no_such_command(*name, app));
    Output output;
    output.write(asked ? asked->help(app.get_name()) : overview(app));
    output.commit();
  });
}

void add_describe(CLI::App& app) {
  const auto file = std::make_shared<std::optional<std::string>>();
  CLI::App& command = *app.add_subcommand("describe", "Show commands and options in JSON, for programs.")->group("");
  add_output_option(command, *file, "File for them");
  command.callback([&app, file] {
    Output output(*file);
    output.write(description_in_json(app));
    output.commit();
  });
}

std::unique_ptr<CLI::App> command_line() {
  auto app = std::make_unique<CLI::App>(
      "Solves dense and band systems of linear equations, least squares and eigenproblems, finds singular values, and\n"
      "makes test matrices.",
      "nuv");
  app->set_version_flag("--version", "nuv " NUV_VERSION);
  app->require_subcommand(1);
  for (const auto add : {add_solve, add_lstsq, add_cond, add_inv, add_det, add_norm, add_residual, add_eig, add_svd,
                         add_convert, add_make, add_info, add_describe, add_help}) {
    add(*app);
  }
  app->footer(
      "nuv help COMMAND tells more of each.\n"
      "Exit status: 0 done, 1 not done (one line on standard error says why), 2 wrong usage.");
  return app;
}

std::string usage_message(const CLI::App& app, const CLI::ParseError& error) {
  const auto commands = app.get_subcommands();
  const CLI::App* const command = commands.empty() ? nullptr : commands.front();
  return unplaced_words(app, command, error).value_or(error.what());
}

}  // namespace nuv::tools
