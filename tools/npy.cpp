#include "npy.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <vector>

#include "decimal.hpp"
#include "error.hpp"
#include "memory.hpp"
#include "transposition.hpp"

namespace nuv::tools {
namespace {

static_assert(std::endian::native == std::endian::little);
constexpr std::string_view magic = "\x93NUMPY";

// ------------------------------------------------------------------------------------------------------------- header

struct Header {
  std::string type;         ///< as NumPy writes it: <f8
  bool by_columns = false;  ///< else by rows
  std::vector<std::int64_t> shape;
};

/// Reads the literal of a dictionary in which the header tells what follows.
class HeaderParser {
 public:
  HeaderParser(std::string_view text, const std::string& file) : rest_(text), file_(file) {}

  Header parse() {
    std::optional<std::string> element;
    std::optional<bool> by_columns;
    std::optional<std::vector<std::int64_t>> shape;
    expect('{');
    while (!take('}')) {
      const std::string key = quoted();
      expect(':');
      if (key == "descr") element = type();
      else if (key == "fortran_order") by_columns = boolean();
      else if (key == "shape") shape = tuple();
      else fail();
      if (!take(',') && !next_is('}')) fail();
    }
    if (!element || !by_columns || !shape) fail();
    return {*element, *by_columns, *shape};
  }

 private:
  [[noreturn]] void fail() const { throw FileError(file_, "the header is damaged"); }

  void skip_blanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \n"), rest_.size())); }

  bool next_is(char c) {
    skip_blanks();
    return rest_.starts_with(c);
  }

  bool take(char c) {
    const bool is_there = next_is(c);
    if (is_there) rest_.remove_prefix(1);
    return is_there;
  }

  void expect(char c) {
    if (!take(c)) fail();
  }

  std::string quoted() {
    const char quote = next_is('"') ? '"' : '\'';
    expect(quote);
    const std::size_t end = rest_.find(quote);
    if (end == rest_.npos) fail();
    std::string text(rest_.substr(0, end));
    rest_.remove_prefix(end + 1);
    return text;
  }

  std::string type() {
    if (next_is('[')) throw FileError(file_, "the elements are records, only numbers can be read");
    return quoted();
  }

  bool boolean() {
    skip_blanks();
    for (const std::string_view word : {"True", "False"}) {
      if (!rest_.starts_with(word)) continue;
      rest_.remove_prefix(word.size());
      return word == "True";
    }
    fail();
  }

  std::vector<std::int64_t> tuple() {
    std::vector<std::int64_t> numbers;
    expect('(');
    while (!take(')')) {
      skip_blanks();
      std::int64_t number = 0;
      const auto [end, status] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
      if (status != std::errc() || number < 0) fail();
      rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
      take('L');  // as an old Python marks long integers
      numbers.push_back(number);
      if (!take(',') && !next_is(')')) fail();
    }
    return numbers;
  }

  std::string_view rest_;
  const std::string& file_;
};

void read_whole(Input& input, char* room, std::size_t size) {
  if (input.read(room, size) != size) throw FileError(input.name(), "the file ends in the header");
}

Header read_header(Input& input) {
  constexpr std::size_t longest = 1 << 20;
  std::array<unsigned char, 8> start;
  if (!input.start().starts_with(magic)) {
    throw FileError(input.name(), "not an npy file: it does not begin with \\x93NUMPY");
  }
  read_whole(input, reinterpret_cast<char*>(start.data()), start.size());
  const unsigned version = start[6];
  if (version < 1 || version > 3) {
    throw FileError(input.name(), fmt::format("version {} of the format is not known", version));
  }
  std::array<unsigned char, 4> bytes = {};
  read_whole(input, reinterpret_cast<char*>(bytes.data()), version == 1 ? 2 : 4);
  const std::size_t size = std::bit_cast<std::uint32_t>(bytes);
  if (size > longest) throw FileError(input.name(), "the header is damaged");
  std::string text(size, '\0');
  read_whole(input, text.data(), size);
  return HeaderParser(text, input.name()).parse();
}

// ----------------------------------------------------------------------------------------------------------- elements

/// How an element is stored.
struct Element {
  char kind = 'f';  ///< f, c, i or u
  std::size_t size = 8;
  bool is_swapped = false;

  std::size_t parts() const { return kind == 'c' ? 2 : 1; }
};

Element element_of(const std::string& type, const std::string& file) {
  constexpr std::string_view known[] = {"f4", "f8", "c8", "c16", "i1", "i2", "i4", "i8", "u1", "u2", "u4", "u8"};
  const std::string_view name = std::string_view(type).substr(std::min<std::size_t>(1, type.size()));
  const bool has_order =
      type.starts_with('<') || type.starts_with('>') || type.starts_with('=') || type.starts_with('|');
  if (!has_order || std::find(std::begin(known), std::end(known), name) == std::end(known)) {
    throw FileError(file, fmt::format("elements of type {} can't be read, those of real, complex and integer types "
                                      "of up to 8 bytes can (16 for complex)",
                                      in_quotes(type)));
  }
  return {name[0], static_cast<std::size_t>(std::stoi(std::string(name.substr(1)))), type[0] == '>'};
}

/// Bytes as numbers of a type, converted to double.
template <class Stored>
void convert(const char* bytes, bool is_swapped, double* values, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) {
    std::array<char, sizeof(Stored)> stored;
    std::memcpy(stored.data(), bytes + k * sizeof(Stored), sizeof(Stored));
    if (is_swapped) std::reverse(stored.begin(), stored.end());
    values[k] = static_cast<double>(std::bit_cast<Stored>(stored));
  }
}

/// The function for the parts of an element.
auto converter_for(const Element& element) {
  const std::size_t size = element.size / element.parts();
  switch (element.kind) {
    case 'i':
      return size == 1   ? convert<std::int8_t>
             : size == 2 ? convert<std::int16_t>
             : size == 4 ? convert<std::int32_t>
                         : convert<std::int64_t>;
    case 'u':
      return size == 1   ? convert<std::uint8_t>
             : size == 2 ? convert<std::uint16_t>
             : size == 4 ? convert<std::uint32_t>
                         : convert<std::uint64_t>;
    default:
      return size == 4 ? convert<float> : convert<double>;
  }
}

/// Rounds values to single precision, as text that is read in it. The first that can't be is told by its number.
std::optional<std::size_t> round_to_single(double* values, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) {
    const auto rounded = static_cast<double>(static_cast<float>(values[k]));
    if (!std::isfinite(rounded) || (rounded == 0 && values[k] != 0)) return k;
    values[k] = rounded;
  }
  return std::nullopt;
}

Int dimension(std::int64_t size, const std::string& file) {
  constexpr Int largest = std::numeric_limits<Int>::max();
  if (size > largest) throw FileError(file, fmt::format("a dimension of {} is more than {}", size, largest));
  return static_cast<Int>(size);
}

StoredMatrix matrix_of(const Header& header, const Element& element, const std::string& file) {
  if (header.shape.size() > 2) {
    throw FileError(file, fmt::format("an array of {} dimensions is no matrix", header.shape.size()));
  }
  StoredMatrix matrix;
  matrix.file = file;
  matrix.rows = header.shape.empty() ? 1 : dimension(header.shape[0], file);
  matrix.columns = header.shape.size() < 2 ? 1 : dimension(header.shape[1], file);
  const bool is_floating = element.kind == 'f' || element.kind == 'c';
  matrix.field = element.kind == 'c' ? Field::Complex : is_floating ? Field::Real : Field::Integer;
  if (is_floating && element.size / element.parts() == sizeof(float)) matrix.precision = Precision::Single;
  return matrix;
}

/// Reads the elements of a matrix in the order in which they stand.
class ElementReader {
 public:
  ElementReader(Input& input, const Element& element, const StoredMatrix& matrix, bool by_columns, Precision precision)
      : input_(input), element_(element), matrix_(matrix), by_columns_(by_columns), precision_(precision) {}

  std::vector<double> read() {
    const std::size_t count = static_cast<std::size_t>(matrix_.rows) * static_cast<std::size_t>(matrix_.columns);
    constexpr std::size_t at_once = std::size_t{1} << 17;
    const auto bytes = std::make_unique_for_overwrite<char[]>(at_once * element_.size);
    std::vector<double> values;
    if (input_.size()) {
      values.reserve(std::min<std::size_t>(count, static_cast<std::size_t>(*input_.size() / element_.size)) *
                     element_.parts());
    }
    for (std::size_t done = 0; done < count;) {
      const std::size_t wanted = std::min(at_once, count - done) * element_.size;
      const std::size_t found = input_.read(bytes.get(), wanted);
      append(bytes.get(), found / element_.size, values);
      done += found / element_.size;
      if (found < wanted) {
        throw FileError(input_.name(), fmt::format("the file ends after {} of {} elements", done, count));
      }
    }
    if (char more; input_.read(&more, 1) != 0) {
      throw FileError(input_.name(), fmt::format("unexpected data after the last of {} elements", count));
    }
    return values;
  }

 private:
  void append(const char* bytes, std::size_t count, std::vector<double>& values) const {
    const std::size_t before = values.size(), parts = count * element_.parts();
    values.resize(before + parts);
    double* const added = values.data() + before;
    converter_for(element_)(bytes, element_.is_swapped, added, parts);
    const auto wrong = std::find_if_not(added, added + parts, [](double x) { return std::isfinite(x); });
    if (wrong != added + parts) fail(static_cast<std::size_t>(wrong - values.data()), "is not a finite number");
    if (precision_ == Precision::Double) return;
    if (const auto k = round_to_single(added, parts)) {
      const double x = added[*k];
      fail(before + *k, fmt::format("{} single precision: {}", std::abs(x) > 1 ? "overflows" : "underflows", x));
    }
  }

  /// Refuses an element by the number of one of its parts.
  [[noreturn]] void fail(std::size_t part, std::string_view message) const {
    const std::size_t k = part / element_.parts();
    const auto line = static_cast<std::size_t>(by_columns_ ? matrix_.rows : matrix_.columns);
    const std::size_t row = (by_columns_ ? k % line : k / line) + 1, column = (by_columns_ ? k / line : k % line) + 1;
    throw FileError(input_.name(), fmt::format("element ({}, {}) {}", row, column, message));
  }

  Input& input_;
  const Element element_;
  const StoredMatrix& matrix_;
  bool by_columns_;
  Precision precision_;
};

}  // namespace

StoredMatrix read_npy(Input& input, Precision precision) {
  const Header header = read_header(input);
  const Element element = element_of(header.type, input.name());
  StoredMatrix matrix = matrix_of(header, element, input.name());
  const bool by_columns = header.by_columns || matrix.rows <= 1 || matrix.columns <= 1;
  if (const auto shortage =
          memory_shortage(matrix.rows, matrix.columns, element.parts() * sizeof(double), by_columns ? 1 : 2, "read")) {
    throw FileError(matrix.file, *shortage);
  }
  matrix.values = ElementReader(input, element, matrix, by_columns, precision).read();
  if (!by_columns) matrix.values = to_columns(std::move(matrix.values), matrix.rows, matrix.columns, element.parts());
  return matrix;
}

std::string npy_header(char type, std::size_t size, Int rows, Int columns) {
  constexpr std::size_t alignment = 64, before = 10;
  std::string text =
      fmt::format("{{'descr': '<{}{}', 'fortran_order': True, 'shape': ({}, {}), }}", type, size, rows, columns);
  text.append(alignment - 1 - (before + text.size()) % alignment, ' ');
  text += '\n';
  const auto low = static_cast<char>(text.size() % 256), high = static_cast<char>(text.size() / 256);
  return std::string(magic) + std::string{'\1', '\0', low, high} + text;
}

}  // namespace nuv::tools
