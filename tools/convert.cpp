#include "convert.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <tuple>
#include <utility>
#include <vector>

#include "dense_matrix.hpp"
#include "error.hpp"
#include "matrix_writer.hpp"
#include "memory.hpp"
#include "output.hpp"
#include "precision.hpp"
#include "report.hpp"

namespace nuv::tools {
namespace {

/// The element at (j, i) of a matrix with a symmetry that has that value at (i, j).
template <Scalar T>
T mirrored_as(Symmetry symmetry, T value) {
  return narrowed<T>(mirrored(symmetry, value));
}

/// The first symmetry that a square matrix has. holds(symmetry) tells whether it has it.
template <Scalar T, class Holds>
Symmetry find_symmetry(Int rows, Int columns, Holds holds) {
  if (rows != columns || rows < 2) return Symmetry::General;
  for (const Symmetry symmetry : {Symmetry::Symmetric, Symmetry::Hermitian, Symmetry::SkewSymmetric}) {
    if (symmetry == Symmetry::Hermitian && !ComplexScalar<T>) continue;
    if (holds(symmetry)) return symmetry;
  }
  return Symmetry::General;
}

template <Scalar T>
Symmetry symmetry_of(const DenseMatrix<T>& a) {
  return find_symmetry<T>(a.rows, a.columns, [&](Symmetry symmetry) {
    for (Int j = 1; j <= a.columns; ++j) {
      for (Int i = j; i <= a.rows; ++i) {
        if (a(i, j) != mirrored_as(symmetry, a(j, i))) return false;
      }
    }
    return true;
  });
}

// -------------------------------------------------------------------------------------------------------- coordinates

/// The nonzeros of a matrix that is never stored whole, down the columns.
template <Scalar T>
struct Nonzeros {
  struct Entry {
    Int row, column;
    T value;

    auto place() const { return std::tuple(column, row); }
  };

  Int rows, columns;
  std::vector<Entry> entries;

  T at(Int i, Int j) const {
    const auto found = std::lower_bound(entries.begin(), entries.end(), std::tuple(j, i),
                                        [](const Entry& entry, const auto& place) { return entry.place() < place; });
    return found != entries.end() && found->place() == std::tuple(j, i) ? found->value : T(0);
  }
};

template <Scalar T>
Nonzeros<T> nonzeros_of(StoredMatrix file) {
  using Entry = typename Nonzeros<T>::Entry;
  Nonzeros<T> a{file.rows, file.columns, {}};
  a.entries.reserve(file.stored());
  for_each_element(file, [&](Int i, Int j, std::complex<double> value) {
    a.entries.push_back({i, j, narrowed<T>(value)});
  });
  auto& entries = a.entries;
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& x, const Entry& y) { return x.place() < y.place(); });

  std::size_t kept = 0;
  for (std::size_t k = 0; k < entries.size();) {
    Entry sum = entries[k];
    while (++k < entries.size() && entries[k].place() == sum.place()) sum.value += entries[k].value;
    require_finite_sums(std::vector{sum.value}, file.file);
    if (sum.value != T(0)) entries[kept++] = sum;
  }
  entries.resize(kept);
  return a;
}

template <Scalar T>
Symmetry symmetry_of(const Nonzeros<T>& a) {
  return find_symmetry<T>(a.rows, a.columns, [&](Symmetry symmetry) {
    return std::all_of(a.entries.begin(), a.entries.end(), [&](const auto& entry) {
      return a.at(entry.column, entry.row) == mirrored_as(symmetry, entry.value);
    });
  });
}

template <Scalar T>
std::uint64_t write_coordinates(const Nonzeros<T>& a, const TextSink& sink, const WrittenForm& form) {
  const auto is_written = [&](const auto& entry) { return entry.row >= first_stored_row(form.symmetry, entry.column); };
  const auto count = static_cast<std::uint64_t>(std::count_if(a.entries.begin(), a.entries.end(), is_written));
  NumberText text(sink);
  append_banner(text, form, ComplexScalar<T>, a.rows, a.columns, count);
  for (const auto& entry : a.entries) {
    if (is_written(entry)) append_entry(text, entry.row, entry.column, entry.value);
  }
  text.flush();
  return count;
}

// ------------------------------------------------------------------------------------------------------------- writing

template <Scalar T>
void convert_in(StoredMatrix file, const ConvertOptions& options, Stopwatch& stopwatch, Output& output) {
  const bool is_matrix_market = output.format() == FileFormat::MatrixMarket;
  const TextSink sink = [&](std::string_view text) { output.write(text); };
  WrittenForm form{.layout = is_matrix_market ? options.layout.value_or(file.layout) : Layout::Array};
  Report report("convert");
  report.matrix("matrix", "matrix", file.rows, file.columns, file.file);
  stopwatch.end("read");
  std::uint64_t count = 0;
  if (form.layout == Layout::Coordinate && file.layout == Layout::Coordinate) {
    const auto a = nonzeros_of<T>(std::move(file));
    form.symmetry = symmetry_of(a);
    count = write_coordinates(a, sink, form);
  } else {
    if (const auto shortage = memory_shortage(file.rows, file.columns, sizeof(T), 1, "convert")) {
      throw FileError(file.file, file.size_line, *shortage);
    }
    const auto a = to_dense<T>(std::move(file));
    if (is_matrix_market) form.symmetry = symmetry_of(a);
    const StoredCount stored = count_stored(a, form.symmetry);
    count = form.layout == Layout::Array ? stored.elements : stored.nonzeros;
    write_matrix(a, output.format(), sink, form);
  }
  output.commit();
  stopwatch.end("write");
  const bool is_array = form.layout == Layout::Array;
  report
      .line("written", fmt::format("{} {}, {}, {}", count, is_array ? "elements" : "nonzeros", name_of(form.symmetry),
                                   precision_words<T>()))
      .fact("written", static_cast<std::int64_t>(count))
      .fact("layout", is_array ? "array" : "coordinate")
      .fact("symmetry", std::string(name_of(form.symmetry)))
      .fact("precision", std::string(1, static_cast<char>(std::tolower(precision_letter<T>))))
      .times(stopwatch)
      .show_beside(options.output_file);
}

/// What was asked for, or the precision of the file.
std::optional<char> precision_to_write(const ConvertOptions& options, const StoredMatrix& file) {
  if (options.precision || file.precision == Precision::Double) return options.precision;
  return file.is_complex() ? 'c' : 's';
}

}  // namespace

void convert(const ConvertOptions& options) {
  within_memory(options.matrix_file, "the matrix does not fit into memory", [&] {
    Stopwatch stopwatch;
    Output output(options.output_file, options.format);
    if (options.layout && output.format() != FileFormat::MatrixMarket) {
      throw UsageError("--layout is for files in the Matrix Market format");
    }
    StoredMatrix file = read_in(options.precision, options.matrix_file, options.format);
    const char precision = precision_for(precision_to_write(options, file), {&file});
    in_precision(precision, [&]<Scalar T>(T) { convert_in<T>(std::move(file), options, stopwatch, output); });
  });
}

}  // namespace nuv::tools
