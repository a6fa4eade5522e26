// The nuv command: solves equations that stand in files, and tells which libraries would do it.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "error.hpp"
#include "info.hpp"
#include "lstsq.hpp"
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

constexpr std::string_view about_files =
    "Files may be array or coordinate, real, complex or integer, general, symmetric, skew-symmetric or hermitian.\n"
    "Coordinate entries given more than once are summed. X is written as a general array with as many digits as\n"
    "it takes to read back the same numbers. ";
constexpr std::string_view about_status =
    "Exit status: 0 solved, 1 not solved (one line on standard error says why), 2 wrong usage.";

/// What the commands that solve for an X have in common.
void add_equation_options(CLI::App& command, EquationOptions& options, const std::string& about_matrix) {
  command.add_option("A", options.matrix_file, about_matrix)->required()->check(not_empty());
  command.add_option("B", options.right_hand_side_file, "Matrix Market file of the right-hand sides, one per column")
      ->required()
      ->check(not_empty());
  command.add_option("-o,--output", options.output_file, "File for X (default: standard output)")
      ->type_name("FILE")
      ->check(not_empty());
  command
      .add_option("-p,--precision", options.precision,
                  "s, d, c or z: real or complex, single or double (default: d, or z for complex data)")
      ->type_name("LETTER")
      ->check(CLI::IsMember({"s", "d", "c", "z"}));
}

struct CommandLine {
  CLI::App app{"Solves dense systems of linear equations and least squares.", "nuv"};
  CLI::App* solve;
  CLI::App* lstsq;
  CLI::App* info;
  SolveOptions options;
  EquationOptions lstsq_options;

  CommandLine() {
    app.set_version_flag("--version", "nuv " NUV_VERSION);
    app.require_subcommand(1);

    solve = app.add_subcommand("solve", "Solve A X = B for X.");
    add_equation_options(*solve, options, "Matrix Market file of the square matrix");
    solve->add_flag("--spd", options.positive_definite,
                    "A is symmetric (Hermitian) positive definite: solve by Cholesky factorisation");
    solve->footer(
        fmt::format("{}Sizes, scaled residual and time go to standard error.\n{}", about_files, about_status));

    lstsq = app.add_subcommand("lstsq", "Find the X that comes nearest to A X = B, or the least that fits.");
    add_equation_options(*lstsq, lstsq_options, "Matrix Market file of the matrix, which must have full rank");
    lstsq->footer(fmt::format(
        "With at least as many rows in A as columns each column of X makes the norm of its residual least; with fewer\n"
        "rows it is the solution of least norm.\n{}Sizes, the norm of each residual and time go to standard error.\n{}",
        about_files, about_status));

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
    if (*command_line.lstsq) fit(command_line.lstsq_options);
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
