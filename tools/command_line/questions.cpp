#include <fmt/format.h>

#include <memory>
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

void add_cond(CLI::App& app) {
  const auto options = std::make_shared<MatrixOptions>();
  CLI::App& command = *app.add_subcommand("cond", "Estimate the condition number of A.");
  add_matrix_options(command, *options, about_square);
  add_common_options(command);
  command.footer(fmt::format(
      "Shows the reciprocal condition numbers in the one and the infinity norm, 0 for a matrix with a zero pivot.\n"
      "{}\n{}",
      about_input, about_answer));
  command.callback([options] { show_condition(*options); });
}

void add_inv(CLI::App& app) {
  const auto options = std::make_shared<InverseOptions>();
  CLI::App& command = *app.add_subcommand("inv", "Invert A.");
  add_matrix_options(command, *options, about_square);
  add_output_option(command, options->output_file, "File for the inverse");
  add_force_option(command, options->force, "the inverse");
  add_common_options(command);
  command.footer(
      fmt::format("To solve a system, nuv solve is faster and more accurate.\n{}\nCondition number and time go to "
                  "standard error.\n{}",
                  about_input, about_answer));
  command.callback([options] { invert(*options); });
}

void add_det(CLI::App& app) {
  const auto options = std::make_shared<MatrixOptions>();
  CLI::App& command = *app.add_subcommand("det", "Compute the determinant of A.");
  add_matrix_options(command, *options, about_square);
  add_common_options(command);
  command.footer(
      fmt::format("Shows the sign, or the phase of a complex determinant, and the logarithm of the magnitude, which "
                  "stay in range\n"
                  "where the determinant does not.\n{}\n{}",
                  about_input, about_answer));
  command.callback([options] { show_determinant(*options); });
}

void add_norm(CLI::App& app) {
  const auto options = std::make_shared<NormOptions>();
  CLI::App& command = *app.add_subcommand("norm", "Compute norms of A.");
  add_matrix_options(command, *options, "File of the matrix");
  command.add_flag("--two", options->two, "The two-norm, too, which takes the singular values");
  add_common_options(command);
  command.footer(fmt::format(
      "Shows the one, the infinity and the Frobenius norm, and the largest magnitude of an element.\n{}\n{}",
      about_input, about_answer));
  command.callback([options] { show_norms(*options); });
}

void add_residual(CLI::App& app) {
  const auto options = std::make_shared<SolutionOptions>();
  CLI::App& command = *app.add_subcommand("residual", "Tell how well X solves A X = B.");
  const auto add = [&](const char* name, std::string& file, const char* about) {
    command.add_option(name, file, about)->required()->check(not_empty());
  };
  add("A", options->matrix_file, "File of the matrix");
  add("X", options->solution_file, "File of the solutions, one per column");
  add("B", options->right_hand_side_file, "File of the right-hand sides, one per column");
  add_precision_option(command, options->precision);
  add_format_option(command, options->format);
  add_common_options(command);
  command.footer(
      fmt::format("The residual is scaled so that 1 is about what rounding errors make in the precision of -p, which "
                  "should be that\n"
                  "of the solver. Up to 10 X is called good: the exact solution of a system that differs by rounding "
                  "errors. Where A\n"
                  "has more rows than columns, X should make the norm of its residual least, and the product of A^H "
                  "with the residual\n"
                  "is judged. Where it has fewer, whether X is the least solution is not examined.\n"
                  "{}\n{}\nThe status does not depend on what the answer is.",
                  about_input, about_answer));
  command.callback([options] { judge_solution(*options); });
}

void add_info(CLI::App& app) {
  CLI::App& command =
      *app.add_subcommand("info", "Show which libraries are bound, from which files, and on what processor.");
  add_common_options(command);
  command.callback([] { show_libraries(); });
}

}  // namespace nuv::tools
