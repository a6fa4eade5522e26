#include "matrix_market.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <utility>

#include "error.hpp"
#include "line_scanner.hpp"
#include "memory.hpp"
#include "text_blocks.hpp"

namespace nuv::tools {
namespace {

constexpr std::string_view comment_sign = "%";
constexpr std::string_view diagonal_must_be_real = "the diagonal of a hermitian matrix must be real";

std::string in_lower_case(std::string_view word) {
  std::string result(word);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return result;
}

// ------------------------------------------------------------------------------------------------ banner and sizes

Int take_dimension(LineScanner& line, std::string_view what) {
  constexpr Int largest = std::numeric_limits<Int>::max();
  const std::int64_t value = line.integer(what);
  if (value < 0) line.fail(fmt::format("{} is negative", what));
  if (value > largest) line.fail(fmt::format("{} is more than {}", what, largest));
  return static_cast<Int>(value);
}

template <class Value, std::size_t count>
Value choose(const LineScanner& line, std::string_view what, std::string_view word,
             const std::array<std::pair<std::string_view, Value>, count>& choices) {
  const auto found =
      std::find_if(choices.begin(), choices.end(), [&](const auto& choice) { return choice.first == word; });
  if (found == choices.end()) line.fail(fmt::format("unknown {} {}", what, in_quotes(word)));
  return found->second;
}

/// Reads the banner, which is the first line of a text.
void read_banner(std::string_view text, StoredMatrix& matrix) {
  constexpr std::array<std::pair<std::string_view, Layout>, 2> layouts = {
      {{"array", Layout::Array}, {"coordinate", Layout::Coordinate}}};
  constexpr std::array<std::pair<std::string_view, Field>, 3> fields = {
      {{"real", Field::Real}, {"complex", Field::Complex}, {"integer", Field::Integer}}};

  LineScanner line(text, "");
  if (!text.starts_with("%%") || !line.next_line() || in_lower_case(line.word()) != "%%matrixmarket") {
    line.fail("not a Matrix Market file: the first line does not begin with %%MatrixMarket");
  }
  const auto take = [&](std::string_view what) { return in_lower_case(line.expect(what)); };
  take("the banner");
  const std::string object = take("the word 'matrix'");
  if (object != "matrix") line.fail(fmt::format("unknown object {}, only matrices can be read", in_quotes(object)));
  matrix.layout = choose(line, "layout", take("the layout (array or coordinate)"), layouts);
  const std::string field = take("the field (real, complex or integer)");
  if (field == "pattern") line.fail("a pattern file carries no values");
  matrix.field = choose(line, "field", field, fields);
  matrix.symmetry = choose(line, "symmetry", take("the symmetry"), symmetry_names);
  line.expect_end();
  if (matrix.symmetry == Symmetry::Hermitian && !matrix.is_complex()) line.fail("a hermitian matrix must be complex");
}

/// How many values an array file of these sizes holds. Below 2^62, since both sizes are below 2^31.
std::uint64_t array_count(const StoredMatrix& matrix) {
  const auto rows = static_cast<std::uint64_t>(matrix.rows);
  const auto columns = static_cast<std::uint64_t>(matrix.columns);
  switch (matrix.symmetry) {
    case Symmetry::General:
      return rows * columns;
    case Symmetry::SkewSymmetric:
      return rows == 0 ? 0 : rows * (rows - 1) / 2;
    default:
      return rows * (rows + 1) / 2;
  }
}

/// Reads the line of the sizes, which is at hand; returns how many entries must follow.
std::uint64_t read_sizes(LineScanner& line, StoredMatrix& matrix) {
  matrix.rows = take_dimension(line, "the number of rows");
  matrix.columns = take_dimension(line, "the number of columns");
  std::int64_t entries = 0;
  if (matrix.layout == Layout::Coordinate) {
    entries = line.integer("the number of entries");
    if (entries < 0) line.fail("the number of entries is negative");
  }
  line.expect_end();
  if (matrix.symmetry != Symmetry::General && matrix.rows != matrix.columns) {
    line.fail(
        fmt::format("{} rows and {} columns, but a matrix with a symmetry is square", matrix.rows, matrix.columns));
  }
  return matrix.layout == Layout::Coordinate ? static_cast<std::uint64_t>(entries) : array_count(matrix);
}

/// Refuses more entries than memory can hold, before the first of them is read.
void require_memory(const LineScanner& line, const StoredMatrix& matrix, std::uint64_t count) {
  const bool is_array = matrix.layout == Layout::Array;
  const std::string what = is_array ? fmt::format("a {} by {} matrix", matrix.rows, matrix.columns)
                                    : fmt::format("a list of {} entries", count);
  const long double bytes = (matrix.is_complex() ? 2 : 1) * sizeof(double) + (is_array ? 0 : 2 * sizeof(Int));
  if (auto shortage = memory_shortage(what, bytes * static_cast<long double>(count), "read")) line.fail(*shortage);
}

// --------------------------------------------------------------------------------------------------------- entries

/// What a piece of the lines of entries gave.
struct Entries {
  std::vector<Int> rows, columns;
  std::vector<double> values;
  std::size_t lines = 0;
  std::optional<BadLine> error;  ///< what ended it too early

  void clear() {
    rows.clear();
    columns.clear();
    values.clear();
    error.reset();
  }
};

/// Reads lines of entries of a matrix whose banner and sizes are known.
class EntryReader {
 public:
  EntryReader(const StoredMatrix& matrix, Precision precision) : matrix_(matrix), precision_(precision) {}

  std::size_t values_per_entry() const { return matrix_.is_complex() ? 2 : 1; }
  std::size_t count(const Entries& entries) const { return entries.values.size() / values_per_entry(); }

  void read(std::string_view lines, Entries& entries) const {
    entries.clear();
    LineScanner line(lines, comment_sign);
    try {
      while (line.next_line()) read_line(line, entries);
    } catch (BadLine& error) {
      entries.error = std::move(error);
    }
    entries.lines = line.line();
  }

  /// The line that an entry stands in: lines and entries are counted from zero.
  std::size_t line_of(std::size_t entry, std::string_view lines) const {
    Entries entries;
    LineScanner line(lines, comment_sign);
    while (count(entries) <= entry && line.next_line()) read_line(line, entries);
    return line.line();
  }

 private:
  void read_line(LineScanner& line, Entries& entries) const {
    if (matrix_.layout == Layout::Coordinate) return read_coordinates(line, entries);
    do append(take_value(line), entries);
    while (!line.at_line_end());
  }

  void read_coordinates(LineScanner& line, Entries& entries) const {
    const Int i = take_index(line, "the row index", matrix_.rows);
    const Int j = take_index(line, "the column index", matrix_.columns);
    if (matrix_.symmetry != Symmetry::General && i < j) {
      line.fail(fmt::format("entry ({}, {}) lies above the diagonal, which the symmetry already gives", i, j));
    }
    const std::complex<double> value = take_value(line);
    line.expect_end();
    if (i == j) check_diagonal(line, value);
    entries.rows.push_back(i);
    entries.columns.push_back(j);
    append(value, entries);
  }

  void check_diagonal(const LineScanner& line, std::complex<double> value) const {
    if (matrix_.symmetry == Symmetry::SkewSymmetric && value != 0.) {
      line.fail("the diagonal of a skew-symmetric matrix must be zero");
    }
    if (matrix_.symmetry == Symmetry::Hermitian && value.imag() != 0) line.fail(std::string(diagonal_must_be_real));
  }

  std::complex<double> take_value(LineScanner& line) const {
    const double real = take_number(line, "a number");
    return {real, matrix_.is_complex() ? take_number(line, "the imaginary part") : 0};
  }

  void append(std::complex<double> value, Entries& entries) const {
    entries.values.push_back(value.real());
    if (matrix_.is_complex()) entries.values.push_back(value.imag());
  }

  double take_number(LineScanner& line, std::string_view what) const {
    return line.number(precision_, matrix_.field == Field::Integer, what);
  }

  static Int take_index(LineScanner& line, std::string_view what, Int dimension) {
    const std::int64_t value = line.integer(what);
    if (value < 1 || value > dimension) line.fail(fmt::format("{} is out of range 1 to {}", what, dimension));
    return static_cast<Int>(value);
  }

  const StoredMatrix& matrix_;
  Precision precision_;
};

/// Where the next value of an array file belongs: down the columns of the stored part.
struct ArrayPosition {
  Symmetry symmetry;
  std::int64_t rows;
  std::int64_t column = 1;
  std::int64_t row = first_stored_row(symmetry, column);

  void advance() {
    if (++row > rows) row = first_stored_row(symmetry, ++column);
  }
};

/// Collects the entries of a file in their order.
class Collector {
 public:
  Collector(StoredMatrix& matrix, std::uint64_t count, const EntryReader& reader)
      : matrix_(matrix), count_(count), reader_(reader), position_{matrix.symmetry, matrix.rows} {}

  void take(Lines lines, const Entries& entries) {
    const std::uint64_t missing = count_ - matrix_.stored(), found = reader_.count(entries);
    const auto fail = [&](std::size_t line, std::string_view message) {
      throw FileError(matrix_.file, lines.first + line, message);
    };
    const auto refuse_more = [&](std::size_t line) {
      fail(line, fmt::format("unexpected data after the last of {} entries", count_));
    };
    if (found > missing) refuse_more(reader_.line_of(static_cast<std::size_t>(missing), lines.text));
    if (const auto k = wrong_on_diagonal(entries)) fail(reader_.line_of(*k, lines.text), diagonal_must_be_real);
    if (entries.error && found == missing) refuse_more(entries.error->line);
    if (entries.error) fail(entries.error->line, entries.error->message);
    append(matrix_.row_of, entries.rows);
    append(matrix_.column_of, entries.columns);
    append(matrix_.values, entries.values);
  }

 private:
  template <class T>
  static void append(std::vector<T>& all, const std::vector<T>& more) {
    all.insert(all.end(), more.begin(), more.end());
  }

  /// The first of these values of an array that stands on the diagonal of a hermitian matrix and isn't real.
  std::optional<std::size_t> wrong_on_diagonal(const Entries& entries) {
    if (matrix_.layout != Layout::Array || matrix_.symmetry != Symmetry::Hermitian) return std::nullopt;
    for (std::size_t k = 0; k < reader_.count(entries); ++k, position_.advance()) {
      if (position_.row == position_.column && entries.values[2 * k + 1] != 0) return k;
    }
    return std::nullopt;
  }

  StoredMatrix& matrix_;
  std::uint64_t count_;
  const EntryReader& reader_;
  ArrayPosition position_;
};

/// Sets aside room for what is to come, no more than a file of that size can hold: what the file says may be wrong.
void reserve(StoredMatrix& matrix, std::uint64_t count, std::uint64_t bytes) {
  const bool is_array = matrix.layout == Layout::Array;
  const std::uint64_t shortest = matrix.is_complex() ? 4 : 2;  // characters of an entry
  const auto room = static_cast<std::size_t>(std::min(count, bytes / (is_array ? shortest : shortest + 4) + 1));
  matrix.values.reserve(matrix.is_complex() ? 2 * room : room);
  if (is_array) return;
  matrix.row_of.reserve(room);
  matrix.column_of.reserve(room);
}

void read_entries(TextBlocks& blocks, Lines block, StoredMatrix& matrix, std::uint64_t count, Precision precision) {
  const EntryReader reader(matrix, precision);
  Collector collector(matrix, count, reader);
  std::vector<Entries> pieces;
  for (; !block.text.empty(); block = blocks.next()) {
    parse_side_by_side(
        block, pieces, [&](std::string_view text, Entries& entries) { reader.read(text, entries); },
        [&](Lines lines, const Entries& entries) { collector.take(lines, entries); });
  }
  if (matrix.stored() < count) {
    throw FileError(matrix.file, block.first,
                    fmt::format("the file ends after {} of {} entries", matrix.stored(), count));
  }
}

/// What of a block follows the line that a scanner is in.
Lines behind(const LineScanner& line, Lines block) {
  const std::size_t line_end = block.text.find('\n', static_cast<std::size_t>(line.at() - block.text.data()));
  return {block.text.substr(line_end + 1), block.first + line.line() + 1};
}

}  // namespace

StoredMatrix read_matrix_market(Input& input, Precision precision) {
  StoredMatrix matrix;
  matrix.file = input.name();
  matrix.field_line = 1;
  TextBlocks blocks(input);
  Lines block = blocks.next();
  if (block.text.empty()) throw FileError(matrix.file, 1, "the file is empty");
  try {
    read_banner(block.text, matrix);
    for (; !block.text.empty(); block = blocks.next()) {
      LineScanner line(block.text, comment_sign);
      if (!line.next_line()) continue;
      const std::uint64_t count = read_sizes(line, matrix);
      require_memory(line, matrix, count);
      matrix.size_line = block.first + line.line();
      if (const auto size = input.size()) reserve(matrix, count, *size);
      read_entries(blocks, behind(line, block), matrix, count, precision);
      return matrix;
    }
  } catch (const BadLine& error) {
    throw FileError(matrix.file, block.first + error.line, error.message);
  }
  throw FileError(matrix.file, block.first, "the file ends before the line of the sizes");
}

}  // namespace nuv::tools
