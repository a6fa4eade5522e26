#include "lstsq.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "estimate.hpp"
#include "least_squares.hpp"
#include "numerical_rank.hpp"
#include "report.hpp"
#include "residual.hpp"

namespace nuv::tools {
namespace {

void require_matching_sizes(const StoredMatrix& a, const StoredMatrix& b) {
  if (b.rows == a.rows) return;
  throw FileError(b.file, b.size_line,
                  fmt::format("the right-hand sides have {} rows, the matrix has {}", b.rows, a.rows));
}

/// What comes out of equations whose matrix was not known to have full rank.
template <Scalar T>
void require_solution(const LeastSquares<T>& solved, const DenseMatrix<T>& a, double tolerance,
                      const std::string& matrix_file) {
  const Int smaller = std::min(a.rows, a.columns);
  if (solved.rank < smaller) {
    throw FileError(matrix_file,
                    fmt::format("the matrix has numerical rank {} (tolerance {:.3g}), less than its {} {}: X of least "
                                "norm for such a matrix is not offered yet",
                                solved.rank, tolerance, smaller, a.rows >= a.columns ? "unknowns" : "equations"));
  }
  if (!all_finite(solved.x.elements)) throw FileError(matrix_file, "the solution overflows the precision");
}

void tell_residual(const std::vector<long double>& norms, Report& report) {
  if (norms.empty()) return;
  const auto largest = std::max_element(norms.begin(), norms.end());
  const std::string column =
      norms.size() == 1 ? "" : fmt::format(", largest in column {}", largest - norms.begin() + 1);
  report.line("residual norm", fmt::format("{:.6g}   ||A x - b||{}", *largest, column)).fact("residual_norm", *largest);
}

template <Scalar T>
Report account_of(const DenseMatrix<T>& a, const LeastSquares<T>& solved, const DenseMatrix<T>& b, double tolerance,
                  const LeastSquaresOptions& options) {
  const bool tall = a.rows >= a.columns;
  Report report("lstsq");
  report.fact("matrix/file", options.matrix_file)
      .fact("matrix/rows", a.rows)
      .fact("matrix/columns", a.columns)
      .fact("kind", tall ? "least squares" : "least norm")
      .fact("right_hand_sides/file", options.right_hand_side_file)
      .fact("right_hand_sides/rows", b.rows)
      .fact("right_hand_sides/columns", b.columns)
      .fact("rank", solved.rank)
      .fact("rank_tolerance", tolerance)
      .line("equations", fmt::format("{} in {} unknowns, {}: {}", a.rows, a.columns, shown(options.matrix_file),
                                     tall ? "least squares" : "least norm"))
      .line("right-hand sides", fmt::format("{}, {}", b.columns, shown(options.right_hand_side_file)))
      .line("rank", fmt::format("{}, full   diagonal of R above {:.3g} of its largest element", solved.rank, tolerance))
      .template routine<T>("factored by", solved.driver);
  tell_residual(residual_norms(a, solved.x, b), report);
  return report;
}

template <Scalar T>
void fit_in(EquationFiles files, const LeastSquaresOptions& options, Stopwatch& stopwatch, Output& output) {
  const Int m = files.a.rows, n = files.a.columns;
  require_memory(files.a, m, n, sizeof(T));
  require_memory(files.b, std::max(m, n), files.b.columns, sizeof(T));
  const auto a = to_dense<T>(std::move(files.a));
  const auto b = to_dense<T>(std::move(files.b));

  const double tolerance = rank_tolerance<T>(options.rank_tolerance, m, n);
  nuv_serv_load_dll();  // loading the kernel library is no part of the solve
  stopwatch.end("read");
  const auto solved = with_estimate<T>("solving " + options.matrix_file, work_of_pivoted_qr(m, n),
                                       [&] { return least_squares(a, b, tolerance); });
  stopwatch.end("solve");
  require_solution(solved, a, tolerance, options.matrix_file);
  Report report = account_of(a, solved, b, tolerance, options);
  stopwatch.end("check");
  write_result(solved.x, output);
  stopwatch.end("write");
  report.times(stopwatch).show_beside(options.output_file);
}

}  // namespace

void fit(const LeastSquaresOptions& options) {
  require_tolerance(options.rank_tolerance);
  within_memory(options, [&] {
    Stopwatch stopwatch;
    Output output(options.output_file, options.format);
    EquationFiles files = read_equation_files(options);
    require_matching_sizes(files.a, files.b);
    in_precision(precision_for(options.precision, {&files.a, &files.b}),
                 [&]<Scalar T>(T) { fit_in<T>(std::move(files), options, stopwatch, output); });
  });
}

}  // namespace nuv::tools
