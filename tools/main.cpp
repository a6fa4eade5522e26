// The nuv command: solves a system that stands in files, and tells which libraries would do it.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "error.hpp"
#include "info.hpp"
#include "output.hpp"
#include "solve.hpp"

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

const CLI::Validator& not_empty() {
  static const CLI::Validator validator(
      [](std::string& text) { return text.empty() ? std::string("a file name must not be empty") : std::string(); },
      "");
  return validator;
}

struct CommandLine {
  CLI::App app{"Solves dense systems of linear equations.", "nuv"};
  CLI::App* solve;
  CLI::App* info;
  SolveOptions options;

  CommandLine() {
    app.set_version_flag("--version", "nuv " NUV_VERSION);
    app.require_subcommand(1);

    solve = app.add_subcommand("solve", "Solve A X = B for X.");
    solve->add_option("A", options.matrix_file, "Matrix Market file of the square matrix")
        ->required()
        ->check(not_empty());
    solve->add_option("B", options.right_hand_side_file, "Matrix Market file of the right-hand sides, one per column")
        ->required()
        ->check(not_empty());
    solve->add_option("-o,--output", options.output_file, "File for X (default: standard output)")
        ->type_name("FILE")
        ->check(not_empty());
    solve
        ->add_option("-p,--precision", options.precision,
                     "s, d, c or z: real or complex, single or double (default: d, or z for complex data)")
        ->type_name("LETTER")
        ->check(CLI::IsMember({"s", "d", "c", "z"}));
    solve->add_flag("--spd", options.positive_definite,
                    "A is symmetric (Hermitian) positive definite: solve by Cholesky factorisation");
    solve->footer(
        "Files may be array or coordinate, real, complex or integer, general, symmetric, skew-symmetric or hermitian.\n"
        "Coordinate entries given more than once are summed. X is written as a general array with as many digits as\n"
        "it takes to read back the same numbers. Sizes, scaled residual and time go to standard error.\n"
        "Exit status: 0 solved, 1 not solved (one line on standard error says why), 2 wrong usage.");

    info = app.add_subcommand("info", "Show which libraries are bound, from which files, and on what processor.");
  }
};

// The parser misses a command before it looks at the words that it could not place; the user mistyped one of them.
std::string usage_message(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unplaced = app.remaining();
  const bool mistyped = app.get_subcommands().empty() && !unplaced.empty();
  return fmt::format("{} (nuv --help tells more)",
                     mistyped ? "no such command or option: " + unplaced.front() : error.what());
}

int run(int argc, char** argv) {
  CommandLine command_line;
  try {
    command_line.app.parse(argc, argv);
    if (*command_line.solve) solve(command_line.options);
    if (*command_line.info) print(library_report());
    return 0;
  } catch (const CLI::CallForHelp&) {
    print(command_line.app.help());
    return 0;
  } catch (const CLI::CallForVersion& version) {
    print(std::string(version.what()) + "\n");
    return 0;
  } catch (const CLI::ParseError& error) {
    complain(usage_message(command_line.app, error));
    return exit_usage;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a reader that went away shows up as an error of the write
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    complain(error.what());
    return exit_failure;
  }
}
