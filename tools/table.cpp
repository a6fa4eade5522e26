#include "table.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "decimal.hpp"
#include "error.hpp"
#include "line_scanner.hpp"
#include "memory.hpp"
#include "text_blocks.hpp"
#include "transposition.hpp"

namespace nuv::tools {
namespace {

constexpr std::string_view comment_signs = "#%";
constexpr char blanks = ' ';  ///< any number of blanks and tabs between numbers

/// The line that a scanner is in, from the word at hand.
std::string_view line_at(const LineScanner& line) {
  const char* end = line.at();
  while (*end != '\n') ++end;
  return {line.at(), static_cast<std::size_t>(end - line.at())};
}

char separator_of(std::string_view line) {
  if (line.find(';') != line.npos) return ';';
  return line.find(',') != line.npos ? ',' : blanks;
}

/// Rows that a piece of the lines gave.
struct Rows {
  std::vector<double> values;               ///< by rows
  std::vector<double> imaginary;            ///< likewise, where a number is complex
  std::optional<std::size_t> complex_line;  ///< the first with such a number, counted from zero
  std::size_t count = 0;
  std::size_t lines = 0;
  std::optional<BadLine> error;

  void append(double value) {
    values.push_back(value);
    if (complex_line) imaginary.push_back(0);
  }

  void append(std::complex<double> value, std::size_t line) {
    if (!complex_line) imaginary.resize(values.size());
    complex_line = complex_line.value_or(line);
    values.push_back(value.real());
    imaginary.push_back(value.imag());
  }

  void clear() {
    values.clear();
    imaginary.clear();
    complex_line.reset();
    count = 0;
    error.reset();
  }
};

/// Takes the cells of a line one by one.
class CellScanner {
 public:
  CellScanner(LineScanner& line, char separator, Precision precision)
      : line_(line), separator_(separator), precision_(precision) {}

  void take(Rows& rows) {
    ++taken_;
    if (line_.at_line_end() || is_separator(line_.at())) {
      line_.fail(fmt::format("number {} of the row is missing", taken_));
    }
    Decimal number;
    const char* const end = scan_decimal(line_.at(), number);
    if (end == nullptr || !ends_cell(end)) return rows.append(take_complex(), line_.line());
    rows.append(in_range(number));
    line_.go_to(end);
  }

  /// Goes to the next cell of the line; whether there is none.
  bool at_end() {
    if (line_.at_line_end()) return true;
    if (separator_ == blanks) return false;
    if (!is_separator(line_.at())) {
      line_.fail(fmt::format("unexpected {} behind number {} of the row", in_quotes(line_.word()), taken_));
    }
    line_.go_to(line_.at() + 1);
    return false;
  }

  std::size_t taken() const { return taken_; }

 private:
  bool is_separator(const char* at) const { return separator_ != blanks && *at == separator_; }
  bool ends_cell(const char* at) const { return LineScanner::ends_word(at) || is_separator(at); }

  [[noreturn]] void refuse() const {
    const char* end = line_.at();
    while (!ends_cell(end)) ++end;
    line_.fail(words_on_bad_number({line_.at(), static_cast<std::size_t>(end - line_.at())}, false));
  }

  double in_range(const Decimal& number) const {
    const double value = rounded(number, precision_);
    if (value == 0 || !std::isfinite(value)) {
      if (auto words = words_on_range(number, value, precision_)) line_.fail(std::move(*words));
    }
    return value;
  }

  const char* expect_number(const char* at, Decimal& number) const {
    const char* const end = scan_decimal(at, number);
    if (end == nullptr) refuse();
    return end;
  }

  /// A number with an imaginary unit or in parentheses: 1+2i, 2j, (1), (1-2j).
  std::complex<double> take_complex() {
    const bool in_parentheses = *line_.at() == '(';
    Decimal first, second;
    const char* end = expect_number(line_.at() + (in_parentheses ? 1 : 0), first);
    const bool has_two_parts = *end == '+' || *end == '-';
    if (has_two_parts) end = expect_number(end, second);
    const bool has_unit = *end == 'i' || *end == 'j';
    if (has_unit) ++end;
    if (has_two_parts && !has_unit) refuse();
    if (in_parentheses && *end++ != ')') refuse();
    if (!ends_cell(end)) refuse();
    const std::complex<double> value = {has_two_parts || !has_unit ? in_range(first) : 0, has_two_parts
                                                                                              ? in_range(second)
                                                                                          : has_unit ? in_range(first)
                                                                                                     : 0};
    line_.go_to(end);
    return value;
  }

  LineScanner& line_;
  char separator_;
  Precision precision_;
  std::size_t taken_ = 0;
};

/// Whether a row names its columns: no cell begins with a number, or is one that isn't finite.
bool is_header(LineScanner line, char separator) {
  const auto ends_cell = [&](const char* at) {
    return *at == '\n' || (separator == blanks ? LineScanner::ends_word(at) : *at == separator);
  };
  while (!line.at_line_end()) {
    const char* end = line.at();
    while (!ends_cell(end)) ++end;
    std::string_view cell(line.at(), static_cast<std::size_t>(end - line.at()));
    cell = cell.substr(0, cell.find_last_not_of(" \t\r") + 1);
    Decimal ignored;
    if (names_no_finite_number(cell) || scan_decimal(line.at() + (*line.at() == '(' ? 1 : 0), ignored)) return false;
    line.go_to(*end == separator ? end + 1 : end);
  }
  return true;
}

/// Reads lines of rows.
class RowReader {
 public:
  RowReader(char separator, Precision precision) : separator_(separator), precision_(precision) {}

  /// How many numbers stand in the row at hand.
  std::size_t count(LineScanner line) const {
    Rows row;
    return read_row(line, row);
  }

  void read(std::string_view lines, std::size_t columns, Rows& rows) const {
    rows.clear();
    LineScanner line(lines, comment_signs);
    try {
      for (; line.next_line(); ++rows.count) {
        const std::size_t found = read_row(line, rows);
        if (found != columns) {
          line.fail(fmt::format("{} number{} in the row, {} in those above", found, found == 1 ? "" : "s", columns));
        }
      }
    } catch (BadLine& error) {
      rows.error = std::move(error);
    }
    rows.lines = line.line();
  }

 private:
  std::size_t read_row(LineScanner& line, Rows& rows) const {
    CellScanner cells(line, separator_, precision_);
    do cells.take(rows);
    while (!cells.at_end());
    return cells.taken();
  }

  char separator_;
  Precision precision_;
};

/// Puts the rows of a table together.
class Collector {
 public:
  explicit Collector(std::string file) { matrix_.file = std::move(file); }

  void take(Lines lines, const Rows& rows) {
    if (rows.error) throw FileError(matrix_.file, lines.first + rows.error->line, rows.error->message);
    if (rows.complex_line && !matrix_.is_complex()) {
      matrix_.field = Field::Complex;
      matrix_.field_line = lines.first + *rows.complex_line;
      imaginary_.resize(values_.size());
    }
    values_.insert(values_.end(), rows.values.begin(), rows.values.end());
    imaginary_.insert(imaginary_.end(), rows.imaginary.begin(), rows.imaginary.end());
    if (matrix_.is_complex()) imaginary_.resize(values_.size());
    rows_ += rows.count;
    if (rows_ > most) throw FileError(matrix_.file, fmt::format("more than {} rows", most));
  }

  StoredMatrix matrix(std::size_t columns) && {
    if (columns > most) throw FileError(matrix_.file, fmt::format("more than {} columns", most));
    matrix_.rows = static_cast<Int>(rows_);
    matrix_.columns = static_cast<Int>(columns);
    if (const auto shortage = memory_shortage(matrix_.rows, matrix_.columns, parts() * sizeof(double), 2, "read")) {
      throw FileError(matrix_.file, *shortage);
    }
    if (matrix_.is_complex()) interleave();
    matrix_.values = to_columns(std::move(values_), matrix_.rows, matrix_.columns, parts());
    return std::move(matrix_);
  }

 private:
  static constexpr std::size_t most = std::numeric_limits<Int>::max();

  std::size_t parts() const { return matrix_.is_complex() ? 2 : 1; }

  void interleave() {
    std::vector<double> both(2 * values_.size());
    for (std::size_t k = 0; k < values_.size(); ++k) {
      both[2 * k] = values_[k];
      both[2 * k + 1] = imaginary_[k];
    }
    values_ = std::move(both);
    imaginary_.clear();
  }

  StoredMatrix matrix_;
  std::vector<double> values_, imaginary_;
  std::size_t rows_ = 0;
};

/// What the first row tells of a table.
struct Shape {
  char separator = blanks;
  std::size_t columns = 0;
};

/// Goes to the first row of numbers and looks at it; the header is dropped from the block. Comments alone are a table
/// without rows.
Shape find_first_row(TextBlocks& blocks, Lines& block, Precision precision) {
  bool may_be_header = true;
  while (!block.text.empty()) {
    LineScanner line(block.text, comment_signs);
    if (!line.next_line()) {
      block = blocks.next();
      continue;
    }
    const char separator = separator_of(line_at(line));
    if (may_be_header && is_header(line, separator)) {
      const std::size_t end = block.text.find('\n', static_cast<std::size_t>(line.at() - block.text.data()));
      block = {block.text.substr(end + 1), block.first + line.line() + 1};
      if (block.text.empty()) block = blocks.next();
      may_be_header = false;
      continue;
    }
    return Shape{separator, RowReader(separator, precision).count(line)};
  }
  if (!may_be_header) throw BadLine{0, "the file ends before the first number"};
  return {};
}

}  // namespace

StoredMatrix read_table(Input& input, Precision precision) {
  TextBlocks blocks(input);
  Lines block = blocks.next();
  if (block.text.empty()) throw FileError(input.name(), 1, "the file is empty");
  Collector collector(input.name());
  Shape shape;
  try {
    shape = find_first_row(blocks, block, precision);
  } catch (const BadLine& error) {
    throw FileError(input.name(), block.first + error.line, error.message);
  }
  const RowReader reader(shape.separator, precision);
  std::vector<Rows> pieces;
  for (; !block.text.empty(); block = blocks.next()) {
    parse_side_by_side(
        block, pieces, [&](std::string_view text, Rows& rows) { reader.read(text, shape.columns, rows); },
        [&](Lines lines, const Rows& rows) { collector.take(lines, rows); });
  }
  return std::move(collector).matrix(shape.columns);
}

}  // namespace nuv::tools
