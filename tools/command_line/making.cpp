#include "command_line/commands.hpp"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>

#include "command_line/options.hpp"
#include "make.hpp"

namespace nuv::tools {
namespace {

constexpr std::string_view about_make =
    "KIND is general, band, symmetric, hermitian (complex) or positive (symmetric or Hermitian positive definite).\n"
    "Real symmetric and Hermitian matrices get eigenvalues, all others, complex symmetric ones too, singular values:\n"
    "  mode 1  one NORM, the others NORM / COND        mode 4  in equal steps from NORM to NORM / COND\n"
    "  mode 2  one NORM / COND, the others NORM        mode 5  at random between these, logarithms uniform\n"
    "  mode 3  in equal ratios from NORM to NORM/COND  mode 6  random numbers of the distribution\n"
    "  mode 0  those in the file of --spectrum         modes -1 to -6: the same in reverse order\n"
    "In modes 1 to 5 eigenvalues that may be negative have random signs. What is smaller than the rounding errors\n"
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
  add("--spectrum", options.spectrum_file, "FILE", "The values: a column or a row of numbers in any format")
      ->check(not_empty());
  add("--lower", options.lower, "KL", "Diagonals below the main one: of a band, or of a matrix with symmetry")
      ->transform(whole_number<nuv::Int>());
  add("--upper", options.upper, "KU", "Diagonals above the main one: of a band, or of a matrix with symmetry")
      ->transform(whole_number<nuv::Int>());
  add("--seed", options.seed, "SEED", "What the random numbers follow from, 0 to 2^64 - 1 (default: 1)")
      ->transform(whole_number<std::uint64_t>());
  add_output_option(command, options.output_file, "File for the matrix");
  add_precision_option(command, options.precision, "d, or z for hermitian");
  add_format_option(command, options.format);
}

}  // namespace

void add_make(CLI::App& app) {
  add_command(app, "make", "Make a random matrix with given singular values or eigenvalues.", make,
              fmt::format("{}Exit status: 0 made, 1 not made (one line on standard error says why), 2 wrong usage.",
                          about_make),
              add_make_options);
}

}  // namespace nuv::tools
