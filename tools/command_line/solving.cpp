#include "command_line/commands.hpp"

#include <fmt/format.h>

#include <string>
#include <string_view>

#include "command_line/options.hpp"
#include "lstsq.hpp"
#include "solve.hpp"

namespace nuv::tools {
namespace {

constexpr std::string_view about_files =
    "X is written as a general array\n"
    "with as many digits as it takes to read back the same numbers.\n";
constexpr std::string_view about_status =
    "Exit status: 0 solved, 1 not solved (one line on standard error says why), 2 wrong usage.";

constexpr std::string_view about_methods =
    "The structure of the file decides on the method, and --method or --spd overrules it:\n"
    "  lu          LU factorisation: for general and skew-symmetric files\n"
    "  indefinite  Bunch-Kaufman factorisation: for symmetric and hermitian files\n"
    "  cholesky    Cholesky factorisation of the whole matrix; --spd takes it, too, or that of a band\n"
    "  band        LU factorisation of a band, with --spd Cholesky factorisation: for coordinate files of at least "
    "four\n"
    "              times as many rows as diagonals, which are never stored whole\n"
    "  mixed       LU factorisation in single precision, refined to double precision: for real systems\n"
    "A file need not say that its matrix is symmetric; elements that rounding errors have made differ from their\n"
    "mirror images, by up to 4 eps of the diagonal, are taken from the lower triangle.\n"
    "\n"
    "Standard error tells the method, the scaled residual, the reciprocal condition number and a bound of the error\n"
    "of X. A matrix that is singular to working precision is not solved without --force.\n"
    "\n";

/// What the commands that solve for an X have in common.
void add_equation_options(CLI::App& command, EquationOptions& options, const std::string& about_matrix) {
  add_matrix_options(command, options, about_matrix);
  command.add_option("B", options.right_hand_side_file, "File of the right-hand sides, one per column")
      ->required()
      ->check(not_empty());
  add_output_option(command, options.output_file, "File for X");
}

void add_solve_options(CLI::App& command, SolveOptions& options) {
  add_equation_options(command, options, about_square);
  command.add_option("--method", options.method.name, "lu, cholesky, indefinite, band or mixed, see below")
      ->type_name("NAME")
      ->check(CLI::IsMember({"lu", "cholesky", "indefinite", "band", "mixed"}));
  command.add_flag("--spd", options.method.positive_definite,
                   "A is symmetric (Hermitian) positive definite: solve by Cholesky factorisation");
  add_force_option(command, options.force, "X");
}

constexpr std::string_view about_lstsq =
    "With at least as many rows in A as columns each column of X makes the norm of its residual least; with fewer\n"
    "rows it is the solution of least norm. Where A has not full rank it is the shortest of those that make the norm\n"
    "of the residual least.\n"
    "\n"
    "A is factored with column pivoting, or A^H where it has fewer rows. The numerical rank is the number of elements\n"
    "on the diagonal of R above TOL times the first, which is the largest; TOL is max(m, n) eps by default, for an m\n"
    "by n matrix and eps = 2.2e-16 in double precision, 1.2e-07 in single. With a lower rank than its smaller size A\n"
    "is factored again, and the columns count whose triangle has, by estimation, a reciprocal condition number above\n"
    "TOL; the others are left out. --rcond takes that measure from the start, with a number of its own: of at least\n"
    "RCOND. Columns in units of very different size can show a low rank, too: change the units, or TOL.\n"
    "\n"
    "--constraints takes files of a matrix C and of right-hand sides d, as many as B has: of the X with C X = d the\n"
    "nearest is found. The constraints must be independent, and leave one X alone that is right; both ranks are told\n"
    "by the diagonal of R as above.\n"
    "\n"
    "Standard error tells sizes, rank, the largest norm of a residual and the time.\n";

void add_lstsq_options(CLI::App& command, LeastSquaresOptions& options) {
  add_equation_options(command, options, "File of the matrix");
  command.add_option("--rank", options.rank_tolerance, about_tolerance)->type_name("TOL");
  command.add_option("--rcond", options.reciprocal_condition, "Least reciprocal condition number of what counts of A")
      ->type_name("RCOND");
  command.add_option("--constraints", options.constraint_files, "Files of C and d: C X = d must hold")
      ->expected(2)
      ->type_name("FILE")
      ->check(not_empty());
}

}  // namespace

void add_solve(CLI::App& app) {
  add_command(app, "solve", "Solve A X = B for X.", solve,
              fmt::format("{}{}{}{}", about_methods, about_input, about_files, about_status), add_solve_options);
}

void add_lstsq(CLI::App& app) {
  add_command(app, "lstsq", "Find the X that comes nearest to A X = B, the least where there are many.", fit,
              fmt::format("{}{}{}{}", about_lstsq, about_input, about_files, about_status), add_lstsq_options);
}

}  // namespace nuv::tools
