#include "lstsq.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "constrained_least_squares.hpp"
#include "estimate.hpp"
#include "least_squares.hpp"
#include "numerical_rank.hpp"
#include "report.hpp"
#include "residual.hpp"

namespace nuv::tools {
namespace {

void require_usage(const LeastSquaresOptions& options) {
  require_tolerance(options.rank_tolerance);
  require_tolerance(options.reciprocal_condition, "--rcond");
  if (options.reciprocal_condition && options.rank_tolerance) {
    throw UsageError("--rank and --rcond are two ways to find the rank: give one");
  }
  if (options.reciprocal_condition && !options.constraint_files.empty()) {
    throw UsageError("--rcond chooses among many X, where --constraints must leave one: give one of them");
  }
}

void require_matching_sizes(const StoredMatrix& a, const StoredMatrix& b) {
  if (b.rows == a.rows) return;
  throw FileError(b.file, b.size_line,
                  fmt::format("the right-hand sides have {} rows, the matrix has {}", b.rows, a.rows));
}

/// What comes out of equations whose matrix was not known to be well-conditioned.
template <Scalar T>
void require_finite(const DenseMatrix<T>& x, const std::string& matrix_file) {
  if (!all_finite(x.elements)) throw FileError(matrix_file, "the solution overflows the precision");
}

/// The largest of some norms, one for each right-hand side.
void tell_largest(const std::vector<long double>& norms, std::string_view label, std::string_view what,
                  const std::string& key, Report& report) {
  if (norms.empty()) return;
  const auto largest = std::max_element(norms.begin(), norms.end());
  const std::string column =
      norms.size() == 1 ? "" : fmt::format(", largest in column {}", largest - norms.begin() + 1);
  report.line(label, fmt::format("{:.6g}   ||{}||{}", *largest, what, column)).fact(key, *largest);
}

/// The files and sizes of A and B, and the kind of problem that they make.
template <Scalar T>
void tell_equations(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const std::string& kind,
                    const LeastSquaresOptions& options, Report& report) {
  report.fact("matrix/file", options.matrix_file)
      .fact("matrix/rows", a.rows)
      .fact("matrix/columns", a.columns)
      .fact("kind", kind)
      .fact("right_hand_sides/file", options.right_hand_side_file)
      .fact("right_hand_sides/rows", b.rows)
      .fact("right_hand_sides/columns", b.columns)
      .line("equations", fmt::format("{} in {} unknowns, {}: {}", a.rows, a.columns, shown(options.matrix_file), kind))
      .line("right-hand sides", fmt::format("{}, {}", b.columns, shown(options.right_hand_side_file)));
}

/// The account, once X is there, goes beside it.
template <Scalar T>
void give(const DenseMatrix<T>& x, Report report, const LeastSquaresOptions& options, Stopwatch& stopwatch,
          Output& output) {
  stopwatch.end("check");
  write_result(x, output);
  stopwatch.end("write");
  report.times(stopwatch).show_beside(options.output_file);
}

// ---------------------------------------------------------------------------------------------------- by the equations

/// By which measure a matrix has the rank that it has.
struct RankMeasure {
  bool by_condition;  ///< of the columns that count, else by the diagonal of R
  double tolerance;

  std::string words() const {
    if (by_condition) return fmt::format("reciprocal condition number of what counts above {:.3g}", tolerance);
    return fmt::format("diagonal of R above {:.3g} of its largest element", tolerance);
  }
};

/// The next greater number: gelsy takes what is just as large, too.
template <RealScalar R>
R just_above(double x) {
  return std::nextafter(static_cast<R>(x), R(1));
}

/// A matrix that turns out not to have full rank is factored again.
template <Scalar T>
LeastSquares<T> solved_at_any_rank(const DenseMatrix<T>& a, const DenseMatrix<T>& b, RankMeasure& measure) {
  if (measure.by_condition) return least_norm(a, b, static_cast<Real<T>>(measure.tolerance));
  LeastSquares<T> solved = least_squares(a, b, measure.tolerance);
  if (solved.rank == std::min(a.rows, a.columns)) return solved;
  measure.by_condition = true;
  return least_norm(a, b, just_above<Real<T>>(measure.tolerance));
}

template <Scalar T>
Report account_of(const DenseMatrix<T>& a, const LeastSquares<T>& solved, const DenseMatrix<T>& b,
                  const RankMeasure& measure, const LeastSquaresOptions& options) {
  const Int smaller = std::min(a.rows, a.columns);
  const bool is_full = solved.rank == smaller, tall = a.rows >= a.columns;
  Report report("lstsq");
  tell_equations(a, b,
                 !is_full ? "least squares of least norm"
                 : tall   ? "least squares"
                          : "least norm",
                 options, report);
  const std::string rank =
      is_full ? fmt::format("{}, full", solved.rank) : fmt::format("{} of {}", solved.rank, smaller);
  report.fact("rank", solved.rank)
      .fact("rank_tolerance", measure.tolerance)
      .line("rank", fmt::format("{}   {}", rank, measure.words()))
      .template routine<T>("factored by", solved.driver);
  tell_largest(residual_norms(a, solved.x, b), "residual norm", "A x - b", "residual_norm", report);
  return report;
}

template <Scalar T>
void fit_in(EquationFiles files, const LeastSquaresOptions& options, Stopwatch& stopwatch, Output& output) {
  const Int m = files.a.rows, n = files.a.columns;
  require_memory(files.a, m, n, sizeof(T));
  require_memory(files.b, std::max(m, n), files.b.columns, sizeof(T));
  const auto a = to_dense<T>(std::move(files.a));
  const auto b = to_dense<T>(std::move(files.b));

  RankMeasure measure{options.reciprocal_condition.has_value(),
                      options.reciprocal_condition.value_or(rank_tolerance<T>(options.rank_tolerance, m, n))};
  nuv_serv_load_dll();  // loading the kernel library is no part of the solve
  stopwatch.end("read");
  const auto solved = with_estimate<T>("solving " + options.matrix_file, work_of_pivoted_qr(m, n),
                                       [&] { return solved_at_any_rank(a, b, measure); });
  stopwatch.end("solve");
  require_finite(solved.x, options.matrix_file);
  give(solved.x, account_of(a, solved, b, measure, options), options, stopwatch, output);
}

// ---------------------------------------------------------------------------------------------------- with constraints

/// C X = D as the files hold them.
struct ConstraintFiles {
  StoredMatrix c, d;
};

ConstraintFiles read_constraint_files(const LeastSquaresOptions& options) {
  StoredMatrix c = read_in(options.precision, options.constraint_files[0], options.format);
  return {std::move(c), read_in(options.precision, options.constraint_files[1], options.format)};
}

void require_matching_sizes(const EquationFiles& equations, const ConstraintFiles& constraints) {
  const auto& [c, d] = constraints;
  if (c.columns != equations.a.columns) {
    throw FileError(c.file, c.size_line,
                    fmt::format("the constraints have {} columns, the matrix has {}", c.columns, equations.a.columns));
  }
  if (d.rows != c.rows) {
    throw FileError(
        d.file, d.size_line,
        fmt::format("the right-hand sides of the constraints have {} rows, the constraints {}", d.rows, c.rows));
  }
  if (d.columns != equations.b.columns) {
    throw FileError(d.file, d.size_line,
                    fmt::format("the right-hand sides of the constraints have {} columns, those of the equations {}",
                                d.columns, equations.b.columns));
  }
}

/// There is one X, and no other.
template <Scalar T>
void require_one_solution(const DenseMatrix<T>& a, const DenseMatrix<T>& c, double tolerance,
                          const LeastSquaresOptions& options) {
  const auto [of_constraints, together] = constrained_ranks(a, c, tolerance);
  if (of_constraints < c.rows) {
    throw FileError(options.constraint_files[0],
                    fmt::format("the constraints have numerical rank {} (tolerance {:.3g}), less than their number, {}",
                                of_constraints, tolerance, c.rows));
  }
  if (together < a.columns) {
    throw FileError(options.matrix_file,
                    fmt::format("matrix and constraints together have numerical rank {} (tolerance {:.3g}), less than "
                                "the {} unknowns: many X are as good",
                                together, tolerance, a.columns));
  }
}

template <Scalar T>
void fit_in(EquationFiles files, ConstraintFiles constraints, const LeastSquaresOptions& options, Stopwatch& stopwatch,
            Output& output) {
  const Int m = files.a.rows, n = files.a.columns, p = constraints.c.rows;
  require_memory(files.a, m, n, sizeof(T));
  require_memory(constraints.c, p, n, sizeof(T));
  const auto a = to_dense<T>(std::move(files.a)), b = to_dense<T>(std::move(files.b));
  const auto c = to_dense<T>(std::move(constraints.c)), d = to_dense<T>(std::move(constraints.d));
  const double tolerance = rank_tolerance<T>(options.rank_tolerance, m + p, n);
  nuv_serv_load_dll();  // loading the kernel library is no part of the solve
  stopwatch.end("read");
  const auto x = with_estimate<T>("solving " + options.matrix_file, work_of_pivoted_qr(m + p, n), [&] {
    require_one_solution(a, c, tolerance, options);
    return constrained_least_squares(a, b, c, d);
  });
  stopwatch.end("solve");
  require_finite(x, options.matrix_file);

  Report report("lstsq");
  tell_equations(a, b, "least squares under constraints", options, report);
  report.fact("constraints/file", options.constraint_files[0])
      .fact("constraints/rows", p)
      .fact("constraints/columns", n)
      .fact("constraints/right_hand_sides", options.constraint_files[1])
      .fact("rank_tolerance", tolerance)
      .line("constraints",
            fmt::format("{}, {} and {}", p, shown(options.constraint_files[0]), shown(options.constraint_files[1])))
      .template routine<T>("factored by", constrained_driver);
  tell_largest(residual_norms(a, x, b), "residual norm", "A x - b", "residual_norm", report);
  tell_largest(residual_norms(c, x, d), "constraint norm", "C x - d", "constraint_norm", report);
  give(x, std::move(report), options, stopwatch, output);
}

void fit_under_constraints(const LeastSquaresOptions& options, Stopwatch& stopwatch, Output& output) {
  require_one_standard_input(
      {options.matrix_file, options.right_hand_side_file, options.constraint_files[0], options.constraint_files[1]});
  EquationFiles files = read_equation_files(options);
  ConstraintFiles constraints = read_constraint_files(options);
  require_matching_sizes(files.a, files.b);
  require_matching_sizes(files, constraints);
  in_precision(precision_for(options.precision, {&files.a, &files.b, &constraints.c, &constraints.d}),
               [&]<Scalar T>(T) { fit_in<T>(std::move(files), std::move(constraints), options, stopwatch, output); });
}

}  // namespace

void fit(const LeastSquaresOptions& options) {
  require_usage(options);
  within_memory(options, [&] {
    Stopwatch stopwatch;
    Output output(options.output_file, options.format);
    if (!options.constraint_files.empty()) return fit_under_constraints(options, stopwatch, output);
    EquationFiles files = read_equation_files(options);
    require_matching_sizes(files.a, files.b);
    in_precision(precision_for(options.precision, {&files.a, &files.b}),
                 [&]<Scalar T>(T) { fit_in<T>(std::move(files), options, stopwatch, output); });
  });
}

}  // namespace nuv::tools
