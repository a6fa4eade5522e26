#include "norm.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <limits>
#include <string_view>
#include <utility>

#include "band_matrix.hpp"
#include "dense_matrix.hpp"
#include "error.hpp"
#include "estimate.hpp"
#include "memory.hpp"
#include "methods.hpp"
#include "precision.hpp"
#include "report.hpp"
#include "residual.hpp"
#include "singular_solver.hpp"

namespace nuv::tools {
namespace {

/// A norm with the digits that the precision has.
template <Scalar T>
void tell(std::string_view label, std::string_view key, long double norm, std::string_view formula, Report& report) {
  constexpr int digits = std::numeric_limits<Real<T>>::digits10;
  report.line(label, fmt::format("{:.{}g}   {}", norm, digits, formula)).fact(fmt::format("norms/{}", key), norm);
}

template <class Matrix>
void tell_norms(const Matrix& a, Report& report) {
  using T = typename Matrix::Element;
  tell<T>("one norm", "one", one_norm(a), "largest sum of magnitudes in a column", report);
  tell<T>("infinity norm", "infinity", infinity_norm(a), "largest sum of magnitudes in a row", report);
  tell<T>("Frobenius norm", "frobenius", frobenius_norm(a), "root of the sum of squared magnitudes", report);
  tell<T>("largest element", "largest", largest_element(a), "largest magnitude", report);
}

template <Scalar T>
void tell_two_norm(DenseMatrix<T> a, const std::string& file, Report& report) {
  nuv_serv_load_dll();
  const auto result = with_estimate<T>("singular values of " + file, work_of_singular_values(a.rows, a.columns),
                                       [&] { return decomposed(std::move(a), SingularVectors::None); });
  if (result.info != 0) throw FileError(file, "the iteration for the singular values did not converge");
  const long double norm = result.values.empty() ? 0 : result.values.front();
  tell<T>("two-norm", "two", norm, "largest singular value", report);
  report.fact("found_by", fmt::format("nuv_lapack_{}", result.driver));
}

template <Scalar T>
void show_norms_in(StoredMatrix file, const NormOptions& options, Report& report, Stopwatch& stopwatch) {
  const bool is_square = file.rows == file.columns;
  const Choice choice = is_square && !options.two ? choose_lu(file) : Choice{};
  if (is_square && !options.two && choice.method.storage == Storage::Band) {
    const auto a = to_band<T>(std::move(file), choice.band);
    stopwatch.end("read");
    tell_norms(a, report);
  } else {
    const int copies = options.two ? 2 : 1;
    if (const auto shortage = memory_shortage(file.rows, file.columns, sizeof(T), copies, "measure")) {
      throw FileError(file.file, file.size_line, *shortage);
    }
    auto a = to_dense<T>(std::move(file));
    stopwatch.end("read");
    tell_norms(a, report);
    if (options.two) tell_two_norm(std::move(a), options.matrix_file, report);
  }
  stopwatch.end("solve");
}

}  // namespace

void show_norms(const NormOptions& options) {
  Report report("norm");
  Stopwatch stopwatch;
  within_memory(options.matrix_file, "the matrix does not fit into memory", [&] {
    StoredMatrix file = read_in(options.precision, options.matrix_file, options.format);
    report.matrix("matrix", "matrix", file.rows, file.columns, file.file);
    const char precision = precision_for(options.precision, {&file});
    report.fact("precision", std::string(1, precision));
    in_precision(precision, [&]<Scalar T>(T) { show_norms_in<T>(std::move(file), options, report, stopwatch); });
  });
  report.times(stopwatch).show();
}

}  // namespace nuv::tools
