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

void add_info(CLI::App& app) {
  CLI::App& command =
      *app.add_subcommand("info", "Show which libraries are bound, from which files, and on what processor.");
  add_common_options(command);
  command.callback([] { show_libraries(); });
}

}  // namespace nuv::tools
