// The nuv command: solves equations that stand in files, answers questions about their matrices, makes matrices to test
// with, and tells which libraries would do it.

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

#include "cond.hpp"
#include "convert.hpp"
#include "det.hpp"
#include "eig.hpp"
#include "error.hpp"
#include "file_format.hpp"
#include "info.hpp"
#include "inv.hpp"
#include "lstsq.hpp"
#include "make.hpp"
#include "output.hpp"
#include "solve.hpp"
#include "svd.hpp"

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

constexpr std::string_view about_input =
    "Files may be in the Matrix Market format (.mtx: array or coordinate, real, complex or integer, with any "
    "symmetry;\n"
    "entries given more than once are summed), in NumPy's (.npy), or tables (.csv; .txt, .tsv and .dat: blanks "
    "between\n"
    "numbers), packed by gzip or not; - is standard input or output. What a file begins with, or else its suffix, "
    "tells\n"
    "its format; --format is for files that don't, and for the output whatever its suffix. ";
constexpr std::string_view about_files =
    "X is written as a general array\n"
    "with as many digits as it takes to read back the same numbers.\n";
constexpr std::string_view about_status =
    "Exit status: 0 solved, 1 not solved (one line on standard error says why), 2 wrong usage.";
constexpr std::string_view about_answer =
    "Exit status: 0 answered, 1 not answered (one line on standard error says why), 2 wrong usage.";
constexpr const char* about_square = "File of the square matrix";

void add_output_option(CLI::App& command, std::optional<std::string>& file, const std::string& about_file) {
  command.add_option("-o,--output", file, about_file + " (default: standard output)")
      ->type_name("FILE")
      ->check(not_empty());
}

void add_precision_option(CLI::App& command, std::optional<char>& precision,
                          const std::string& default_precision = "d, or z for complex data") {
  command
      .add_option("-p,--precision", precision,
                  "s, d, c or z: real or complex, single or double (default: " + default_precision + ")")
      ->type_name("LETTER")
      ->check(CLI::IsMember({"s", "d", "c", "z"}));
}

void add_format_option(CLI::App& command, std::optional<FileFormat>& format) {
  command
      .add_option_function<std::string>(
          "--format", [&format](const std::string& name) { format = format_named(name); },
          "mtx, npy, csv or table: of the output, and of files that nothing else tells (default: by suffix, or mtx)")
      ->type_name("NAME")
      ->check(CLI::IsMember({"mtx", "npy", "csv", "table"}));
}

/// What the commands have in common that read a matrix.
void add_matrix_options(CLI::App& command, MatrixOptions& options, const std::string& about_matrix) {
  command.add_option("A", options.matrix_file, about_matrix)->required()->check(not_empty());
  add_precision_option(command, options.precision);
  add_format_option(command, options.format);
}

void add_force_option(CLI::App& command, bool& force, const std::string& what) {
  command.add_flag("--force", force, "Write " + what + " even where A is singular to working precision");
}

constexpr std::string_view about_methods =
    "The structure of the file decides on the method, and --method or --spd overrules it:\n"
    "  lu          LU factorisation: for general and skew-symmetric files\n"
    "  indefinite  Bunch-Kaufman factorisation: for symmetric and hermitian files\n"
    "  cholesky    Cholesky factorisation of the whole matrix; --spd takes it, too, or that of a band\n"
    "  band        LU factorisation of a band, with --spd Cholesky factorisation: for coordinate files of at least "
    "four\n"
    "              times as many rows as diagonals, which are never stored whole\n"
    "  mixed       LU factorisation in single precision, refined to double precision\n"
    "A file need not say that its matrix is symmetric; elements that rounding errors have made differ from their\n"
    "mirror images, by up to 4 eps of the diagonal, are taken from the lower triangle.\n"
    "\n"
    "Standard error tells the method, the scaled residual, the reciprocal condition number and a bound of the error\n"
    "of X. A matrix that is singular to working precision is not solved without --force.\n"
    "\n";

void add_solve_options(CLI::App& command, SolveOptions& options) {
  command.add_option("--method", options.method.name, "lu, cholesky, indefinite, band or mixed, see below")
      ->type_name("NAME")
      ->check(CLI::IsMember({"lu", "cholesky", "indefinite", "band", "mixed"}));
  command.add_flag("--spd", options.method.positive_definite,
                   "A is symmetric (Hermitian) positive definite: solve by Cholesky factorisation");
  add_force_option(command, options.force, "X");
}

/// What the commands that solve for an X have in common.
void add_equation_options(CLI::App& command, EquationOptions& options, const std::string& about_matrix) {
  add_matrix_options(command, options, about_matrix);
  command.add_option("B", options.right_hand_side_file, "File of the right-hand sides, one per column")
      ->required()
      ->check(not_empty());
  add_output_option(command, options.output_file, "File for X");
}

constexpr std::string_view about_eig =
    "A must be symmetric or Hermitian, whether its file says so or not. Eigenvalues are shown in ascending order.\n"
    "\n"
    "  qr    QL and QR iteration; by default for values alone\n"
    "  dc    divide and conquer; by default where vectors are wanted\n"
    "  mrrr  relatively robust representations; by default for a part of the values, which are found by bisection\n"
    "\n"
    "--with gives the generalised problem with a positive definite B, of type\n"
    "  1  A x = w B x          2  A B x = w x          3  B A x = w x\n"
    "with vectors of length one in the inner product of B, or for type 3 in that of its inverse.\n"
    "\n"
    "Standard error tells the method, and with --vectors how well vectors and values fit.\n";

void add_eig_options(CLI::App& command, EigenOptions& options) {
  add_matrix_options(command, options, about_square);
  add_output_option(command, options.output_file, "File for the eigenvalues");
  const auto add = [&](const char* name, auto& value, const char* type, const char* about) {
    return command.add_option(name, value, about)->type_name(type);
  };
  add("--vectors", options.vectors_file, "FILE", "File for the eigenvectors, one per column (default: none)")
      ->check(not_empty());
  add("--range", options.range, "FROM:TO", "The eigenvalues above FROM and not above TO (default: all)");
  add("--index", options.index, "I:J", "The I-th to the J-th eigenvalue, counted from 1 in ascending order");
  add("--with", options.partner_file, "B", "File of the second matrix of the generalised problem")->check(not_empty());
  add("--type", options.type, "TYPE", "Of the generalised problem, see below (default: 1)")->check(CLI::Range(1, 3));
  add("--method", options.method, "NAME", "qr, dc or mrrr, see below")->check(CLI::IsMember({"qr", "dc", "mrrr"}));
  add("--plot", options.plot_file, "FILE", "SVG file for a picture of the eigenvalues, by gnuplot")->check(not_empty());
}

constexpr const char* about_tolerance = "Share of the largest up to which others count as zero, see below";

constexpr std::string_view about_lstsq =
    "With at least as many rows in A as columns each column of X makes the norm of its residual least; with fewer\n"
    "rows it is the solution of least norm.\n"
    "\n"
    "A is factored with column pivoting, or A^H where it has fewer rows. The numerical rank is the number of elements\n"
    "on the diagonal of R above TOL times the first, which is the largest; TOL is max(m, n) eps by default, for an m\n"
    "by n matrix and eps = 2.2e-16 in double precision, 1.2e-07 in single. With a lower rank than its smaller size A\n"
    "isn't solved, since more than one X would be right or rounding errors would choose it. Columns in units of very\n"
    "different size can show a low rank, too: change the units, or TOL.\n"
    "\n"
    "Standard error tells sizes, rank, the largest norm of a residual and the time.\n";

void add_lstsq_options(CLI::App& command, LeastSquaresOptions& options) {
  add_equation_options(command, options, "File of the matrix, which must have full rank");
  command.add_option("--rank", options.rank_tolerance, about_tolerance)->type_name("TOL");
}

constexpr std::string_view about_svd =
    "A = U S V^H may have any shape. Singular values, the diagonal of S, are shown in descending order.\n"
    "\n"
    "  thin  vectors that belong to values, min(m, n) on either side of an m by n matrix; by default\n"
    "  full  all vectors: m on the left, n on the right\n"
    "\n"
    "Standard error tells the numerical rank, which is the number of values above TOL times the largest; TOL is\n"
    "max(m, n) eps by default, with eps = 2.2e-16 in double precision, 1.2e-07 in single: rounding errors make what\n"
    "is smaller. The condition number in the two-norm is the largest over the smallest value. With vectors standard\n"
    "error also tells how well they and the values fit.\n";

void add_svd_options(CLI::App& command, SingularOptions& options) {
  add_matrix_options(command, options, "File of the matrix");
  add_output_option(command, options.output_file, "File for the singular values");
  const auto add = [&](const char* name, auto& value, const char* type, const char* about) {
    return command.add_option(name, value, about)->type_name(type);
  };
  add("--left", options.left_file, "FILE", "File for the left singular vectors U, one per column (default: none)")
      ->check(not_empty());
  add("--right", options.right_file, "FILE", "File for the right singular vectors V, one per column (default: none)")
      ->check(not_empty());
  command.add_flag("--thin", options.thin, "Vectors that belong to values alone (default)");
  command.add_flag("--full", options.full, "All vectors of either side");
  add("--rank", options.rank_tolerance, "TOL", about_tolerance);
  add("--plot", options.plot_file, "FILE", "SVG file for a picture of the singular values, by gnuplot")
      ->check(not_empty());
}

void add_convert_options(CLI::App& command, ConvertOptions& options) {
  command.add_option("IN", options.matrix_file, "File of the matrix")->required()->check(not_empty());
  command.add_option("OUT", options.output_file, "File to write it to")->required()->check(not_empty());
  add_precision_option(command, options.precision, "that of the file");
  add_format_option(command, options.format);
  command
      .add_option_function<std::string>(
          "--layout",
          [&options](const std::string& name) {
            options.layout = name == "array" ? Layout::Array : Layout::Coordinate;
          },
          "array or coordinate: of a file in the Matrix Market format (default: as the matrix was stored)")
      ->type_name("NAME")
      ->check(CLI::IsMember({"array", "coordinate"}));
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

struct CommandLine {
  CLI::App app{
      "Solves dense and band systems of linear equations, least squares and eigenproblems, finds singular values, and\n"
      "makes test matrices.",
      "nuv"};
  CLI::App* solve;
  CLI::App* lstsq;
  CLI::App* cond;
  CLI::App* inv;
  CLI::App* det;
  CLI::App* eig;
  CLI::App* svd;
  CLI::App* convert;
  CLI::App* make;
  CLI::App* info;
  SolveOptions options;
  LeastSquaresOptions lstsq_options;
  MatrixOptions cond_options, det_options;
  InverseOptions inv_options;
  EigenOptions eig_options;
  SingularOptions svd_options;
  ConvertOptions convert_options;
  MakeOptions make_options;

  CommandLine() {
    app.set_version_flag("--version", "nuv " NUV_VERSION);
    app.require_subcommand(1);

    solve = app.add_subcommand("solve", "Solve A X = B for X.");
    add_equation_options(*solve, options, about_square);
    add_solve_options(*solve, options);
    solve->footer(fmt::format("{}{}{}{}", about_methods, about_input, about_files, about_status));

    lstsq = app.add_subcommand("lstsq", "Find the X that comes nearest to A X = B, or the least that fits.");
    add_lstsq_options(*lstsq, lstsq_options);
    lstsq->footer(fmt::format("{}{}{}{}", about_lstsq, about_input, about_files, about_status));

    cond = app.add_subcommand("cond", "Estimate the condition number of A.");
    add_matrix_options(*cond, cond_options, about_square);
    cond->footer(fmt::format(
        "Shows the reciprocal condition numbers in the one and the infinity norm, 0 for a matrix with a zero pivot.\n"
        "{}\n{}",
        about_input, about_answer));

    inv = app.add_subcommand("inv", "Invert A.");
    add_matrix_options(*inv, inv_options, about_square);
    add_output_option(*inv, inv_options.output_file, "File for the inverse");
    add_force_option(*inv, inv_options.force, "the inverse");
    inv->footer(fmt::format(
        "To solve a system, nuv solve is faster and more accurate.\n{}\nCondition number and time go to standard "
        "error.\n{}",
        about_input, about_answer));

    det = app.add_subcommand("det", "Compute the determinant of A.");
    add_matrix_options(*det, det_options, about_square);
    det->footer(
        fmt::format("Shows the sign, or the phase of a complex determinant, and the logarithm of the magnitude, which "
                    "stay in range\n"
                    "where the determinant does not.\n{}\n{}",
                    about_input, about_answer));

    eig = app.add_subcommand("eig", "Find eigenvalues and eigenvectors of a symmetric or Hermitian A.");
    add_eig_options(*eig, eig_options);
    eig->footer(fmt::format("{}{}{}", about_eig, about_input, about_answer));

    svd = app.add_subcommand("svd", "Find singular values, singular vectors and the rank of A.");
    add_svd_options(*svd, svd_options);
    svd->footer(fmt::format("{}{}\n{}", about_svd, about_input, about_answer));

    convert = app.add_subcommand("convert", "Write a matrix in another format.");
    add_convert_options(*convert, convert_options);
    convert->footer(fmt::format(
        "A file in the Matrix Market format says so where the matrix is symmetric, skew-symmetric or Hermitian to the\n"
        "last bit, and holds its lower triangle then. A matrix in coordinates is never stored whole if it stays so.\n"
        "\n{}\nExit status: 0 written, 1 not written (one line on standard error says why), 2 wrong usage.",
        about_input));

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
    if (*command_line.cond) print(condition_report(command_line.cond_options));
    if (*command_line.inv) invert(command_line.inv_options);
    if (*command_line.det) print(determinant_report(command_line.det_options));
    if (*command_line.eig) find_eigenvalues(command_line.eig_options);
    if (*command_line.svd) find_singular_values(command_line.svd_options);
    if (*command_line.convert) convert(command_line.convert_options);
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
  } catch (const ReaderGone&) {
    return exit_failure;  // who closed the pipe needs no message
  } catch (const std::exception& error) {
    complain(error.what());
    return exit_failure;
  }
}
