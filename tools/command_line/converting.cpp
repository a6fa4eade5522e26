#include <fmt/format.h>

#include <memory>
#include <string>

#include "command_line/commands.hpp"
#include "command_line/options.hpp"
#include "convert.hpp"

namespace nuv::tools {
namespace {

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

}  // namespace

void add_convert(CLI::App& app) {
  const auto options = std::make_shared<ConvertOptions>();
  CLI::App& command = *app.add_subcommand("convert", "Write a matrix in another format.");
  add_convert_options(command, *options);
  add_common_options(command);
  command.footer(fmt::format(
      "A file in the Matrix Market format says so where the matrix is symmetric, skew-symmetric or Hermitian to the\n"
      "last bit, and holds its lower triangle then. A matrix in coordinates is never stored whole if it stays so.\n"
      "\n{}\nExit status: 0 written, 1 not written (one line on standard error says why), 2 wrong usage.",
      about_input));
  command.callback([options] { convert(*options); });
}

}  // namespace nuv::tools
