// The nuv command: solves equations that stand in files, makes matrices to test with, and tells which libraries would
// do it.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "error.hpp"
#include "info.hpp"
#include "lstsq.hpp"
#include "make.hpp"
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

/// Takes digits, and drops the zeros that would make the parser read octal ones.
template <class T>
const CLI::Validator& whole_number() {
  static const CLI::Validator validator(
      [](std::string& text) {
        T value = 0;
        const char* const end = text.data() + text.size();
        const auto [stop, status] = std::from_chars(text.data(), end, value);
        if (status != std::errc() || stop != end || text.starts_with('-')) {
          return fmt::format("{} is not a whole number from 0 to {}", in_quotes(text), std::numeric_limits<T>::max());
        }
        text = std::to_string(value);
        return std::string();
      },
      "");
  return validator;
}

constexpr std::string_view about_files =
    "Files may be array or coordinate, real, complex or integer, general, symmetric, skew-symmetric or hermitian.\n"
    "Coordinate entries given more than once are summed. X is written as a general array with as many digits as\n"
    "it takes to read back the same numbers. ";
constexpr std::string_view about_status =
    "Exit status: 0 solved, 1 not solved (one line on standard error says why), 2 wrong usage.";

/// The options of all commands with a result.
void add_result_options(CLI::App& command, std::optional<std::string>& file, const std::string& about_file,
                        std::optional<char>& precision, const std::string& default_precision) {
  command.add_option("-o,--output", file, about_file + " (default: standard output)")
      ->type_name("FILE")
      ->check(not_empty());
  command
      .add_option("-p,--precision", precision,
                  "s, d, c or z: real or complex, single or double (default: " + default_precision + ")")
      ->type_name("LETTER")
      ->check(CLI::IsMember({"s", "d", "c", "z"}));
}

/// What the commands that solve for an X have in common.
void add_equation_options(CLI::App& command, EquationOptions& options, const std::string& about_matrix) {
  command.add_option("A", options.matrix_file, about_matrix)->required()->check(not_empty());
  command.add_option("B", options.right_hand_side_file, "Matrix Market file of the right-hand sides, one per column")
      ->required()
      ->check(not_empty());
  add_result_options(command, options.output_file, "File for X", options.precision, "d, or z for complex data");
}

constexpr std::string_view about_make =
    "KIND is general, band, symmetric, hermitian (complex) or positive (symmetric or Hermitian positive definite).\n"
    "Real symmetric and Hermitian matrices get eigenvalues, all others, complex symmetric ones too, singular values:\n"
    "  mode 1  one NORM, the others NORM / COND        mode 4  in equal steps from NORM to NORM / COND\n"
    "  mode 2  one NORM / COND, the others NORM        mode 5  at random between these, logarithms uniform\n"
    "  mode 3  in equal ratios from NORM to NORM/COND  mode 6  random numbers of the distribution\n"
    "  mode 0  those in the file of --spectrum         modes -1 to -6: the same in reverse order\n"
    "In modes 1 to 5 half of the eigenvalues that may be negative are. What is smaller than the rounding errors\n"
    "of the largest value is lost in them.\n"
    "\n"
    "The matrix is a diagonal one, multiplied by random orthogonal or unitary matrices. The same seed gives the\n"
    "same matrix, on another processor up to rounding: the words of iseed are made of the first number that\n"
    "SplitMix64 gives for it, twelve bits each from the top, and the last is made odd. Standard error shows them.\n"
    "\n"
    "The file is an array, or coordinates where some of the elements are zero; it says symmetric or hermitian\n"
    "where the matrix is, and holds the lower triangle then. A comment in it repeats the command.\n";

void add_make_options(CLI::App& command, MakeOptions& options) {
  command.add_option("KIND", options.kind, "What matrix: general, band, symmetric, hermitian or positive")
      ->required()
      ->check(CLI::IsMember({"general", "band", "symmetric", "hermitian", "positive"}));
  command.add_option("ROWS", options.rows, "Number of rows")->required()->transform(whole_number<nuv::Int>());
  command.add_option("COLUMNS", options.columns, "Number of columns (default: as many)")
      ->transform(whole_number<nuv::Int>());
  const auto add = [&](const char* name, auto& value, const char* type, const char* about) {
    return command.add_option(name, value, about)->type_name(type);
  };
  add("--cond", options.cond, "COND", "Largest value over smallest, modes 1 to 5 (default: 100)");
  add("--mode", options.mode, "MODE", "How the values are spread, see below (default: 3, or 0 with --spectrum)")
      ->check(CLI::Range(-6, 6));
  add("--norm", options.norm, "NORM", "Largest value, modes 1 to 5 (default: 1)");
  add("--distribution", options.distribution, "NAME",
      "Of the values in mode 6: uniform on (0, 1), symmetric on (-1, 1) or normal (default)")
      ->check(CLI::IsMember({"uniform", "symmetric", "normal"}));
  add("--spectrum", options.spectrum_file, "FILE", "The values: one on each line, or a Matrix Market vector")
      ->check(not_empty());
  add("--lower", options.lower, "KL", "Diagonals below the main one: of a band, or of a matrix with symmetry")
      ->transform(whole_number<nuv::Int>());
  add("--upper", options.upper, "KU", "Diagonals above the main one: of a band, or of a matrix with symmetry")
      ->transform(whole_number<nuv::Int>());
  add("--seed", options.seed, "SEED", "What the random numbers follow from, 0 to 2^64 - 1 (default: 1)")
      ->transform(whole_number<std::uint64_t>());
  add_result_options(command, options.output_file, "File for the matrix", options.precision, "d, or z for hermitian");
}

struct CommandLine {
  CLI::App app{"Solves dense systems of linear equations and least squares, and makes test matrices.", "nuv"};
  CLI::App* solve;
  CLI::App* lstsq;
  CLI::App* make;
  CLI::App* info;
  SolveOptions options;
  EquationOptions lstsq_options;
  MakeOptions make_options;

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

    make = app.add_subcommand("make", "Make a random matrix with given singular values or eigenvalues.");
    add_make_options(*make, make_options);
    make->footer(fmt::format("{}Exit status: 0 made, 1 not made (one line on standard error says why), 2 wrong usage.",
                             about_make));

    info = app.add_subcommand("info", "Show which libraries are bound, from which files, and on what processor.");
  }
};

// The parser misses a command before it looks at the words that it could not place; the user mistyped one of them.
std::string usage_message(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unplaced = app.remaining();
  const bool mistyped = app.get_subcommands().empty() && !unplaced.empty();
  return mistyped ? "no such command or option: " + unplaced.front() : error.what();
}

int refuse_usage(const std::string& message) {
  complain(message + " (nuv --help tells more)");
  return exit_usage;
}

int run(int argc, char** argv) {
  CommandLine command_line;
  try {
    command_line.app.parse(argc, argv);
    if (*command_line.solve) solve(command_line.options);
    if (*command_line.lstsq) fit(command_line.lstsq_options);
    if (*command_line.make) make(command_line.make_options);
    if (*command_line.info) print(library_report());
    return 0;
  } catch (const CLI::CallForHelp&) {
    print(command_line.app.help());
    return 0;
  } catch (const CLI::CallForVersion& version) {
    print(std::string(version.what()) + "\n");
    return 0;
  } catch (const CLI::ParseError& error) {
    return refuse_usage(usage_message(command_line.app, error));
  } catch (const UsageError& error) {
    return refuse_usage(error.what());
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
