// The nuv command: solves equations that stand in files, answers questions about their matrices, makes matrices to test
// with, and tells which libraries would do it.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "command_line/command_line.hpp"
#include "error.hpp"
#include "output.hpp"

namespace {

using namespace nuv::tools;

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

void print(const std::string& text) {
  Output output;
  output.write(text);
  output.commit();
}

void complain(const std::string& message) {
  const std::string line = fmt::format("nuv: {}\n", printable(message));
  std::fwrite(line.data(), 1, line.size(), stderr);
}

int refuse_usage(const std::string& message, const CLI::App& app) {
  const auto commands = app.get_subcommands();
  const bool knows_command = !commands.empty() && commands.front()->get_name() != "help";
  const std::string help = knows_command ? "nuv help " + commands.front()->get_name() : "nuv --help";
  complain(fmt::format("{} ({} tells more)", message, help));
  return exit_usage;
}

int run(int argc, char** argv) {
  const auto app = command_line();
  try {
    app->parse(argc, argv);
    return 0;
  } catch (const CLI::CallForHelp&) {
    print(app->help());
    return 0;
  } catch (const CLI::CallForVersion& version) {
    print(std::string(version.what()) + "\n");
    return 0;
  } catch (const CLI::ParseError& error) {
    return refuse_usage(usage_message(*app, error), *app);
  } catch (const UsageError& error) {
    return refuse_usage(error.what(), *app);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a reader that went away shows up as an error of the write
  try {
    return run(argc, argv);
  } catch (const ReaderGone&) {
    return exit_failure;  // who closed the pipe needs no message
  } catch (const std::exception& error) {
    complain(error.what());
    return exit_failure;
  }
}
