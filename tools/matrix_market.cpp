#include "matrix_market.hpp"

#include <fmt/format.h>
#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "error.hpp"

namespace nuv::tools {
namespace {

constexpr Int largest_dimension = std::numeric_limits<Int>::max();

constexpr std::array<std::pair<std::string_view, Symmetry>, 4> symmetries = {{
    {"general", Symmetry::General},
    {"symmetric", Symmetry::Symmetric},
    {"skew-symmetric", Symmetry::SkewSymmetric},
    {"hermitian", Symmetry::Hermitian},
}};

constexpr bool is_blank(char c) {
  return c == ' ' || c == '\t';
}
constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
constexpr char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string in_lower_case(std::string_view word) {
  std::string result(word);
  std::transform(result.begin(), result.end(), result.begin(), lower);
  return result;
}

/// Hands out the lines of a stream and counts them.
class LineReader {
 public:
  LineReader(std::istream& stream, const std::string& file) : buffer_(*stream.rdbuf()), file_(file) {}

  /// The next line without its end; false at the end of the stream, when number() is the line that is missing.
  bool next() {
    ++number_;
    line_.clear();
    int c = buffer_.sbumpc();
    if (c == end_of_stream) return false;
    for (; c != end_of_stream && c != '\n'; c = buffer_.sbumpc()) {
      if (line_.size() < longest_line) {
        line_ += static_cast<char>(c);
      } else if (!line_.starts_with('%')) {
        fail(fmt::format("line of more than {} characters", longest_line));
      }
    }
    if (line_.ends_with('\r')) line_.pop_back();
    return true;
  }

  /// The next line that is neither blank nor a comment.
  bool next_data() {
    while (next()) {
      if (has_data()) return true;
    }
    return false;
  }

  /// Whether the line is neither blank nor a comment.
  bool has_data() const {
    const auto first = std::find_if_not(line_.begin(), line_.end(), is_blank);
    return first != line_.end() && *first != '%';
  }

  std::string_view text() const { return line_; }
  std::size_t number() const { return number_; }

  [[noreturn]] void fail(std::string_view message) const { throw FileError(file_, number_, message); }

 private:
  // The format asks for at most 1024; more is taken, but a file without line ends must not fill the memory.
  static constexpr std::size_t longest_line = 4096;
  static constexpr int end_of_stream = std::char_traits<char>::eof();

  std::streambuf& buffer_;
  const std::string& file_;
  std::string line_;
  std::size_t number_ = 0;
};

/// Takes the words of a line one by one.
class Words {
 public:
  explicit Words(const LineReader& line) : line_(line), rest_(line.text()) {}

  std::optional<std::string_view> next() {
    skip_blanks();
    if (rest_.empty()) return std::nullopt;
    const auto end = std::find_if(rest_.begin(), rest_.end(), is_blank);
    const std::string_view word = rest_.substr(0, static_cast<std::size_t>(end - rest_.begin()));
    rest_.remove_prefix(word.size());
    return word;
  }

  std::string_view expect(std::string_view what) {
    const auto word = next();
    if (!word) line_.fail(fmt::format("the line ends where {} is expected", what));
    return *word;
  }

  void expect_end() {
    if (const auto word = next()) line_.fail(fmt::format("unexpected {} at the end of the line", in_quotes(*word)));
  }

  const LineReader& line() const { return line_; }

 private:
  void skip_blanks() {
    const auto first = std::find_if_not(rest_.begin(), rest_.end(), is_blank);
    rest_.remove_prefix(static_cast<std::size_t>(first - rest_.begin()));
  }

  const LineReader& line_;
  std::string_view rest_;
};

std::size_t digits_at(std::string_view text, std::size_t start) {
  const auto first = text.begin() + static_cast<std::ptrdiff_t>(start);
  return static_cast<std::size_t>(std::find_if_not(first, text.end(), is_digit) - first);
}

std::string_view without_sign(std::string_view word) {
  if (word.starts_with('+') || word.starts_with('-')) word.remove_prefix(1);
  return word;
}

bool is_integer(std::string_view word) {
  word = without_sign(word);
  return !word.empty() && digits_at(word, 0) == word.size();
}

// digits [ . digits ] [ e [sign] digits ], where one of the digit strings around the point may be empty
bool is_decimal(std::string_view word) {
  word = without_sign(word);
  const std::size_t whole = digits_at(word, 0);
  word.remove_prefix(whole);
  std::size_t fraction = 0;
  if (word.starts_with('.')) {
    fraction = digits_at(word, 1);
    word.remove_prefix(1 + fraction);
  }
  if (whole + fraction == 0) return false;
  if (word.empty()) return true;
  if (lower(word.front()) != 'e') return false;
  const std::string_view exponent = without_sign(word.substr(1));
  return !exponent.empty() && digits_at(exponent, 0) == exponent.size();
}

bool names_no_finite_number(std::string_view word) {
  const std::string name = in_lower_case(without_sign(word));
  return name == "inf" || name == "infinity" || name.starts_with("nan");
}

// The library's strtod rounds correctly on every machine; std::from_chars of the 32-bit runtime rounds twice where
// the x87 unit does the work. The locale is pinned, the caller's doesn't matter.
double rounded(const std::string& decimal, Precision precision) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", locale_t{});
  return precision == Precision::Single ? strtof_l(decimal.c_str(), nullptr, plain)
                                        : strtod_l(decimal.c_str(), nullptr, plain);
}

double take_number(Words& words, Field field, Precision precision, std::string_view what) {
  const std::string word(words.expect(what));
  const LineReader& line = words.line();
  if (names_no_finite_number(word)) line.fail(fmt::format("{} is not a finite number", in_quotes(word)));
  if (field == Field::Integer ? !is_integer(word) : !is_decimal(word)) {
    line.fail(
        fmt::format("expected {}, found {}", field == Field::Integer ? "an integer" : "a number", in_quotes(word)));
  }
  const double value = rounded(word, precision);
  if (!std::isfinite(value)) {
    line.fail(fmt::format("{} overflows {} precision", in_quotes(word),
                          precision == Precision::Single ? "single" : "double"));
  }
  return value;
}

/// An integer of any length; what exceeds 64 bits comes back as the limit, which no caller accepts.
std::int64_t take_integer(Words& words, std::string_view what) {
  const std::string_view word = words.expect(what);
  if (!is_integer(word)) words.line().fail(fmt::format("expected {}, found {}", what, in_quotes(word)));
  const std::string_view digits = word.starts_with('+') ? word.substr(1) : word;
  std::int64_t value = 0;
  const auto status = std::from_chars(digits.data(), digits.data() + digits.size(), value).ec;
  if (status == std::errc()) return value;
  return word.starts_with('-') ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

Int take_dimension(Words& words, std::string_view what) {
  const std::int64_t value = take_integer(words, what);
  if (value < 0) words.line().fail(fmt::format("{} is negative", what));
  if (value > largest_dimension) words.line().fail(fmt::format("{} is more than {}", what, largest_dimension));
  return static_cast<Int>(value);
}

Int take_index(Words& words, std::string_view what, Int dimension) {
  const std::int64_t value = take_integer(words, what);
  if (value < 1 || value > dimension) {
    words.line().fail(fmt::format("{} is out of range 1 to {}", what, dimension));
  }
  return static_cast<Int>(value);
}

template <class Value, std::size_t count>
Value choose(const LineReader& line, std::string_view what, std::string_view word,
             const std::array<std::pair<std::string_view, Value>, count>& choices) {
  const auto found =
      std::find_if(choices.begin(), choices.end(), [&](const auto& choice) { return choice.first == word; });
  if (found == choices.end()) line.fail(fmt::format("unknown {} {}", what, in_quotes(word)));
  return found->second;
}

/// Reads the banner, which is the line at hand.
void read_banner(const LineReader& line, MatrixMarket& matrix) {
  constexpr std::array<std::pair<std::string_view, Layout>, 2> layouts = {
      {{"array", Layout::Array}, {"coordinate", Layout::Coordinate}}};
  constexpr std::array<std::pair<std::string_view, Field>, 3> fields = {
      {{"real", Field::Real}, {"complex", Field::Complex}, {"integer", Field::Integer}}};

  Words words(line);
  const auto first = words.next();
  if (!line.text().starts_with("%%") || in_lower_case(*first) != "%%matrixmarket") {
    line.fail("not a Matrix Market file: the first line does not begin with %%MatrixMarket");
  }
  const auto take = [&](std::string_view what) { return in_lower_case(words.expect(what)); };
  const std::string object = take("the word 'matrix'");
  if (object != "matrix") line.fail(fmt::format("unknown object {}, only matrices can be read", in_quotes(object)));
  matrix.layout = choose(line, "layout", take("the layout (array or coordinate)"), layouts);
  const std::string field = take("the field (real, complex or integer)");
  if (field == "pattern") line.fail("a pattern file carries no values");
  matrix.field = choose(line, "field", field, fields);
  matrix.symmetry = choose(line, "symmetry", take("the symmetry"), symmetries);
  words.expect_end();
  if (matrix.symmetry == Symmetry::Hermitian && !matrix.is_complex()) line.fail("a hermitian matrix must be complex");
}

/// How many values an array file of these sizes holds. Below 2^62, since both sizes are below 2^31.
std::uint64_t array_count(const MatrixMarket& matrix) {
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

/// Reads the line of the sizes; returns how many entries must follow.
std::uint64_t read_sizes(LineReader& line, MatrixMarket& matrix) {
  if (!line.next_data()) line.fail("the file ends before the line of the sizes");
  matrix.size_line = line.number();
  Words words(line);
  matrix.rows = take_dimension(words, "the number of rows");
  matrix.columns = take_dimension(words, "the number of columns");
  std::int64_t entries = 0;
  if (matrix.layout == Layout::Coordinate) {
    entries = take_integer(words, "the number of entries");
    if (entries < 0) line.fail("the number of entries is negative");
  }
  words.expect_end();
  if (matrix.symmetry != Symmetry::General && matrix.rows != matrix.columns) {
    line.fail(
        fmt::format("{} rows and {} columns, but a matrix with a symmetry is square", matrix.rows, matrix.columns));
  }
  return matrix.layout == Layout::Coordinate ? static_cast<std::uint64_t>(entries) : array_count(matrix);
}

void check_triangle(const LineReader& line, Symmetry symmetry, Int i, Int j) {
  if (symmetry == Symmetry::General) return;
  if (i < j) line.fail(fmt::format("entry ({}, {}) lies above the diagonal, which the symmetry already gives", i, j));
}

void check_diagonal(const LineReader& line, Symmetry symmetry, double real, double imaginary) {
  if (symmetry == Symmetry::SkewSymmetric && (real != 0 || imaginary != 0)) {
    line.fail("the diagonal of a skew-symmetric matrix must be zero");
  }
  if (symmetry == Symmetry::Hermitian && imaginary != 0) line.fail("the diagonal of a hermitian matrix must be real");
}

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

void read_entries(LineReader& line, MatrixMarket& matrix, std::uint64_t count, Precision precision) {
  ArrayPosition position{matrix.symmetry, matrix.rows};
  for (std::uint64_t k = 0; k < count; ++k) {
    if (!line.next_data()) line.fail(fmt::format("the file ends after {} of {} entries", k, count));
    Words words(line);
    bool on_diagonal = false;
    if (matrix.layout == Layout::Coordinate) {
      const Int i = take_index(words, "the row index", matrix.rows);
      const Int j = take_index(words, "the column index", matrix.columns);
      check_triangle(line, matrix.symmetry, i, j);
      matrix.row_of.push_back(i);
      matrix.column_of.push_back(j);
      on_diagonal = i == j;
    } else {
      on_diagonal = position.row == position.column;
      position.advance();
    }
    const double real = take_number(words, matrix.field, precision, "a number");
    const double imaginary =
        matrix.is_complex() ? take_number(words, matrix.field, precision, "the imaginary part") : 0;
    words.expect_end();
    if (on_diagonal) check_diagonal(line, matrix.symmetry, real, imaginary);
    matrix.values.push_back(real);
    if (matrix.is_complex()) matrix.values.push_back(imaginary);
  }
}

/// Reads a matrix of whose file the first line is at hand.
MatrixMarket read_matrix(LineReader& line, const std::string& file, Precision precision) {
  MatrixMarket matrix;
  matrix.file = file;
  read_banner(line, matrix);
  const std::uint64_t count = read_sizes(line, matrix);
  read_entries(line, matrix, count, precision);
  if (line.next_data()) line.fail(fmt::format("unexpected data after the last of {} entries", count));
  return matrix;
}

/// Opens a file and reads it; what goes wrong becomes a FileError.
template <class Read>
auto read_file(const std::string& file, Read read) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) throw FileError(file, std::strerror(EISDIR));
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw FileError(file, fmt::format("cannot open: {}", std::strerror(errno)));
  try {
    return read(stream);
  } catch (const std::ios_base::failure& failure) {
    throw FileError(file, fmt::format("cannot read: {}", failure.code().message()));
  } catch (const std::bad_alloc&) {
    throw FileError(file, "the file does not fit into memory");
  } catch (const std::length_error&) {
    throw FileError(file, "the file does not fit into memory");
  }
}

/// Reads a list of numbers of whose file the first line is at hand.
MatrixMarket read_list(LineReader& line, const std::string& file, Precision precision) {
  MatrixMarket list;
  list.file = file;
  list.columns = 1;
  for (bool more = line.has_data() || line.next_data(); more; more = line.next_data()) {
    if (list.rows == largest_dimension) line.fail(fmt::format("more than {} numbers", largest_dimension));
    Words words(line);
    list.values.push_back(take_number(words, list.field, precision, "a number"));
    words.expect_end();
    ++list.rows;
  }
  return list;
}

}  // namespace

MatrixMarket read_matrix_market(std::istream& stream, const std::string& file, Precision precision) {
  LineReader line(stream, file);
  if (!line.next()) line.fail("the file is empty");
  return read_matrix(line, file, precision);
}

MatrixMarket read_matrix_market_file(const std::string& file, Precision precision) {
  return read_file(file, [&](std::istream& stream) { return read_matrix_market(stream, file, precision); });
}

MatrixMarket read_numbers_file(const std::string& file, Precision precision) {
  return read_file(file, [&](std::istream& stream) {
    LineReader line(stream, file);
    if (!line.next()) line.fail("the file is empty");
    return line.text().starts_with("%%") ? read_matrix(line, file, precision) : read_list(line, file, precision);
  });
}

std::complex<double> mirrored(Symmetry symmetry, std::complex<double> value) {
  switch (symmetry) {
    case Symmetry::SkewSymmetric:
      return -value;
    case Symmetry::Hermitian:
      return std::conj(value);
    default:
      return value;
  }
}

std::string_view name_of(Symmetry symmetry) {
  const auto has_it = [&](const auto& entry) { return entry.second == symmetry; };
  return std::find_if(symmetries.begin(), symmetries.end(), has_it)->first;
}

}  // namespace nuv::tools
