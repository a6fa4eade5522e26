#include "equations.hpp"

#include <utility>

namespace nuv::tools {

EquationFiles read_equation_files(const EquationOptions& options) {
  require_one_standard_input({options.matrix_file, options.right_hand_side_file});
  StoredMatrix a = read_in(options.precision, options.matrix_file, options.format);
  return {std::move(a), read_in(options.precision, options.right_hand_side_file, options.format)};
}

void require_memory(const StoredMatrix& file, Int rows, Int columns, std::size_t element_size, int copies) {
  if (const auto shortage = memory_shortage(rows, columns, element_size, copies, "solve")) {
    throw FileError(file.file, file.size_line, *shortage);
  }
}

}  // namespace nuv::tools
