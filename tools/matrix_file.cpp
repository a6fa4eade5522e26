#include "matrix_file.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "error.hpp"
#include "matrix_market.hpp"
#include "memory.hpp"
#include "npy.hpp"
#include "progress.hpp"
#include "table.hpp"

namespace nuv::tools {

StoredMatrix read_matrix(Input& input, std::string_view file, std::optional<FileFormat> format, Precision precision) {
  switch (format_to_read(input.start(), file, format)) {
    case FileFormat::MatrixMarket:
      return read_matrix_market(input, precision);
    case FileFormat::Npy:
      return read_npy(input, precision);
    default:
      return read_table(input, precision);
  }
}

StoredMatrix read_in(std::optional<char> precision, const std::string& file, std::optional<FileFormat> format) {
  const bool single = precision == 's' || precision == 'c';
  StoredMatrix matrix;
  within_memory(file, "the file does not fit into memory", [&] {
    Input input = Input::open(file);
    Progress progress("reading " + input.name());
    input.tell([&](double share) { progress.reach(share); });
    matrix = read_matrix(input, file, format, single ? Precision::Single : Precision::Double);
  });
  return matrix;
}

void require_one_standard_input(std::initializer_list<std::string_view> files) {
  if (std::count(files.begin(), files.end(), "-") > 1) {
    throw UsageError("only one of the files can be standard input");
  }
}

void require_square(const StoredMatrix& file, std::string_view what) {
  if (file.rows == file.columns) return;
  throw FileError(file.file, file.size_line,
                  fmt::format("the matrix is {} by {}, {} needs a square one", file.rows, file.columns, what));
}

char precision_for(std::optional<char> precision, std::initializer_list<const StoredMatrix*> files) {
  const auto found = std::find_if(files.begin(), files.end(), [](const StoredMatrix* f) { return f->is_complex(); });
  const bool is_complex = found != files.end();
  const char letter = precision.value_or(is_complex ? 'z' : 'd');
  if (is_complex && (letter == 's' || letter == 'd')) {
    throw FileError((*found)->file, (*found)->field_line,
                    fmt::format("complex data does not fit the real precision {}", letter));
  }
  return letter;
}

}  // namespace nuv::tools
