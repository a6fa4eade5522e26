#include "lstsq.hpp"

#include <fmt/format.h>
#include <nuv/nuv_lapack.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "report.hpp"
#include "residual.hpp"

namespace nuv::tools {
namespace {

template <Scalar T>
constexpr auto gels = nullptr;
template <>
constexpr auto gels<float> = nuv_lapack_sgels;
template <>
constexpr auto gels<double> = nuv_lapack_dgels;
template <>
constexpr auto gels<std::complex<float>> = nuv_lapack_cgels;
template <>
constexpr auto gels<std::complex<double>> = nuv_lapack_zgels;

void require_matching_sizes(const MatrixMarket& a, const MatrixMarket& b) {
  if (b.rows == a.rows) return;
  throw FileError(b.file, b.size_line,
                  fmt::format("the right-hand sides have {} rows, the matrix has {}", b.rows, a.rows));
}

/// The first rows of a matrix, or all of it with rows of zeros below.
template <Scalar T>
DenseMatrix<T> with_rows(const DenseMatrix<T>& a, Int rows) {
  DenseMatrix<T> result(rows, a.columns);
  for (Int j = 1; j <= a.columns; ++j) std::copy_n(a.column(j), std::min(rows, a.rows), result.column(j));
  return result;
}

template <Scalar T>
Int call_gels(DenseMatrix<T>& a, DenseMatrix<T>& x, std::vector<T>& work, Int lwork) {
  const Int m = a.rows, n = a.columns, nrhs = x.columns, lda = a.ld(), ldx = x.ld();
  Int info = 0;
  gels<T>("N", &m, &n, &nrhs, a.elements.data(), &lda, x.elements.data(), &ldx, work.data(), &lwork, &info, 1);
  return info;
}

/// The number of elements that the solver works best with.
template <Scalar T>
Int best_workspace(DenseMatrix<T>& a, DenseMatrix<T>& x) {
  constexpr std::int64_t most = std::numeric_limits<Int>::max();
  const std::int64_t smaller = std::min(a.rows, a.columns);
  const std::int64_t least = std::max<std::int64_t>(1, smaller + std::max<std::int64_t>(smaller, x.columns));
  if (least > most) throw std::length_error("workspace");
  std::vector<T> answer(1);
  call_gels(a, x, answer, -1);
  const double best = std::real(answer.front());
  return best >= static_cast<double>(most) ? Int{most} : std::max(static_cast<Int>(least), static_cast<Int>(best));
}

/// What comes out of equations that the solver took to have full rank.
template <Scalar T>
void require_solution(const DenseMatrix<T>& x, const DenseMatrix<T>& factors, const std::string& matrix_file) {
  for (Int k = 1; k <= std::min(factors.rows, factors.columns); ++k) {
    if (factors(k, k) != T(0)) continue;
    throw FileError(matrix_file, fmt::format("the matrix does not have full rank: {0}({1},{1}) is exactly zero",
                                             factors.rows >= factors.columns ? 'R' : 'L', k));
  }
  if (!all_finite(x.elements)) throw FileError(matrix_file, "the solution overflows the precision");
}

template <Scalar T>
void print(const DenseMatrix<T>& a, const DenseMatrix<T>& x, const DenseMatrix<T>& b, Seconds time,
           const EquationOptions& options) {
  Report report;
  report
      .line("equations", fmt::format("{} in {} unknowns, {}: {}", a.rows, a.columns, printable(options.matrix_file),
                                     a.rows >= a.columns ? "least squares" : "least norm"))
      .line("right-hand sides", fmt::format("{}, {}", b.columns, printable(options.right_hand_side_file)))
      .template routine<T>("solved by", "gels");
  Int column = 0;
  for (const long double norm : residual_norms(a, x, b)) {
    report.line("residual norm", fmt::format("{:.6g}   ||A x - b||, column {}", norm, ++column));
  }
  report.time(time).to_standard_error();
}

template <Scalar T>
void fit_in(EquationFiles files, const EquationOptions& options, Output& output) {
  const Int m = files.a.rows, n = files.a.columns;
  require_memory(files.a, m, n, sizeof(T));
  require_memory(files.b, std::max(m, n), files.b.columns, sizeof(T));
  const auto a = to_dense<T>(std::move(files.a));
  const auto b = to_dense<T>(std::move(files.b));

  auto solved = with_rows(b, std::max(m, n));
  auto factors = a;
  std::vector<T> work(static_cast<std::size_t>(best_workspace(factors, solved)));
  nuv_serv_load_dll();  // loading the kernel library is no part of the solve
  Int info = 0;
  const Seconds time = timed([&] { info = call_gels(factors, solved, work, static_cast<Int>(work.size())); });
  if (info != 0) throw std::logic_error(fmt::format("argument {} of the solver was refused", -info));

  const auto x = with_rows(solved, n);
  require_solution(x, factors, options.matrix_file);
  write_result(x, output);
  print(a, x, b, time, options);
}

}  // namespace

void fit(const EquationOptions& options) {
  within_memory(options, [&] {
    Output output = options.output_file ? Output(*options.output_file) : Output();
    EquationFiles files = read_equation_files(options);
    require_matching_sizes(files.a, files.b);
    in_precision(precision_for(options.precision, {&files.a, &files.b}),
                 [&]<Scalar T>(T) { fit_in<T>(std::move(files), options, output); });
  });
}

}  // namespace nuv::tools
