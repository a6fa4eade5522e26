#include <fmt/format.h>

#include <string>
#include <string_view>

#include "command_line/commands.hpp"
#include "command_line/options.hpp"
#include "cond.hpp"
#include "det.hpp"
#include "info.hpp"
#include "inv.hpp"
#include "norm.hpp"
#include "solution_check.hpp"

namespace nuv::tools {
namespace {

void add_question_options(CLI::App& command, MatrixOptions& options) {
  add_matrix_options(command, options, about_square);
}

void add_inverse_options(CLI::App& command, InverseOptions& options) {
  add_matrix_options(command, options, about_square);
  add_output_option(command, options.output_file, "File for the inverse");
  add_force_option(command, options.force, "the inverse");
}

void add_norm_options(CLI::App& command, NormOptions& options) {
  add_matrix_options(command, options, "File of the matrix");
  command.add_flag("--two", options.two, "The two-norm, too, which takes the singular values");
}

void add_residual_options(CLI::App& command, SolutionOptions& options) {
  const auto add = [&](const char* name, std::string& file, const char* about) {
    command.add_option(name, file, about)->required()->check(not_empty());
  };
  add("A", options.matrix_file, "File of the matrix");
  add("X", options.solution_file, "File of the solutions, one per column");
  add("B", options.right_hand_side_file, "File of the right-hand sides, one per column");
  add_precision_option(command, options.precision);
  add_format_option(command, options.format);
}

}  // namespace

void add_cond(CLI::App& app) {
  add_command(
      app, "cond", "Estimate the condition number of A.", show_condition,
      fmt::format(
          "Shows the reciprocal condition numbers in the one and the infinity norm, 0 for a matrix with a zero pivot.\n"
          "{}\n{}",
          about_input, about_answer),
      add_question_options);
}

void add_inv(CLI::App& app) {
  add_command(app, "inv", "Invert A.", invert,
              fmt::format("To solve a system, nuv solve is faster and more accurate.\n{}\nCondition number and time go "
                          "to standard error.\n{}",
                          about_input, about_answer),
              add_inverse_options);
}

void add_det(CLI::App& app) {
  add_command(
      app, "det", "Compute the determinant of A.", show_determinant,
      fmt::format("Shows the sign, or the phase of a complex determinant, and the logarithm of the magnitude, which "
                  "stay in range\n"
                  "where the determinant does not.\n{}\n{}",
                  about_input, about_answer),
      add_question_options);
}

void add_norm(CLI::App& app) {
  add_command(
      app, "norm", "Compute norms of A.", show_norms,
      fmt::format(
          "Shows the one, the infinity and the Frobenius norm, and the largest magnitude of an element.\n{}\n{}",
          about_input, about_answer),
      add_norm_options);
}

void add_residual(CLI::App& app) {
  add_command(
      app, "residual", "Tell how well X solves A X = B.", judge_solution,
      fmt::format("The residual is scaled so that 1 is about what rounding errors make in the precision of -p, which "
                  "should be that\n"
                  "of the solver. Up to 10 X is called good: the exact solution of a system that differs by rounding "
                  "errors. Where A\n"
                  "has more rows than columns, X should make the norm of its residual least, and the product of A^H "
                  "with the residual\n"
                  "is judged. Where it has fewer, whether X is the least solution is not examined.\n"
                  "{}\n{}\nThe status does not depend on what the answer is.",
                  about_input, about_answer),
      add_residual_options);
}

void add_info(CLI::App& app) {
  CLI::App& command =
      *app.add_subcommand("info", "Show which libraries are bound, from which files, and on what processor.");
  add_common_options(command);
  command.callback([] { show_libraries(); });
}

}  // namespace nuv::tools
