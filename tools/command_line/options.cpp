#include "command_line/options.hpp"

#include <nuv/nuv_services.h>

#include "base/types.hpp"
#include "progress.hpp"
#include "report.hpp"
#include "self_description.hpp"

namespace nuv::tools {
namespace {

constexpr Int most_threads = 256;  ///< that the thread layer has

}  // namespace

const CLI::Validator& not_empty() {
  static const CLI::Validator validator(
      [](std::string& text) { return text.empty() ? std::string("a file name must not be empty") : std::string(); }, "",
      file_check);
  return validator;
}

void add_output_option(CLI::App& command, std::optional<std::string>& file, const std::string& about_file) {
  command.add_option("-o,--output", file, about_file + " (default: standard output)")
      ->type_name("FILE")
      ->check(not_empty());
}

void add_precision_option(CLI::App& command, std::optional<char>& precision, const std::string& default_precision) {
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
          "mtx, npy, csv or table: of the output, and of files that nothing else tells (default: by suffix, else table "
          "to read and mtx to write)")
      ->type_name("NAME")
      ->check(CLI::IsMember({"mtx", "npy", "csv", "table"}));
}

void add_matrix_options(CLI::App& command, MatrixOptions& options, const std::string& about_matrix) {
  command.add_option("A", options.matrix_file, about_matrix)->required()->check(not_empty());
  add_precision_option(command, options.precision);
  add_format_option(command, options.format);
}

void add_force_option(CLI::App& command, bool& force, const std::string& what) {
  command.add_flag("--force", force, "Write " + what + " even where A is singular to working precision");
}

void add_common_options(CLI::App& command) {
  command
      .add_option_function<Int>(
          "--threads", [](const Int& threads) { nuv_thread_set_num_threads(threads); },
          "Threads to work with (default: NUV_NUM_THREADS, else OMP_NUM_THREADS, else one for each processor)")
      ->type_name("N")
      ->transform(whole_number<Int>(1, most_threads));
  command.add_flag_callback("--json", Report::take_json, "Give the report as JSON");
  command.add_flag_callback("--quiet", Progress::silence, "No progress on the terminal");
}

}  // namespace nuv::tools
