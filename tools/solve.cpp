#include "solve.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <cmath>
#include <concepts>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "band_matrix.hpp"
#include "dense_matrix.hpp"
#include "error.hpp"
#include "estimate.hpp"
#include "lu_factors.hpp"
#include "output.hpp"
#include "report.hpp"
#include "residual.hpp"
#include "solvers.hpp"
#include "stored_matrix.hpp"
#include "symmetry_check.hpp"

namespace nuv::tools {
namespace {

void require_right_hand_sides_of(const StoredMatrix& a, const StoredMatrix& b) {
  if (b.rows == a.rows) return;
  throw FileError(b.file, b.size_line,
                  fmt::format("the right-hand sides have {} rows, the matrix has order {}", b.rows, a.rows));
}

// ----------------------------------------------------------------------------------------------------------- symmetry

/// The methods for symmetric matrices read half of one, so that the other half must say the same.
template <class Matrix>
Asymmetry require_symmetry(const Matrix& a, const Choice& choice, const std::string& file) {
  const Factorisation factorisation = choice.method.factorisation;
  if (factorisation == Factorisation::Lu || factorisation == Factorisation::Mixed) return {};
  const Asymmetry asymmetry = asymmetry_of(a, factorisation != Factorisation::Symmetric);
  if (!asymmetry.is_rounding()) {
    throw FileError(file, words_of(asymmetry, ComplexScalar<typename Matrix::Element>));
  }
  return asymmetry;
}

/// Lets the elements decide whether a complex matrix is Hermitian or symmetric, where the file left it open.
template <Scalar T>
void make_certain(const DenseMatrix<T>& a, Choice& choice) {
  if (choice.certain || choice.method.factorisation != Factorisation::Hermitian) return;
  if (!asymmetry_of(a, true).is_rounding() && asymmetry_of(a, false).is_rounding()) {
    choice.method = method_for(Factorisation::Symmetric, Storage::Dense);
  }
}
template <Scalar T>
void make_certain(const BandMatrix<T>&, Choice&) {}

// ------------------------------------------------------------------------------------------------------------ solving

template <Scalar T>
Solution<T> solve_by(Factorisation factorisation, const DenseMatrix<T>& a, const DenseMatrix<T>& b) {
  switch (factorisation) {
    case Factorisation::Cholesky:
      return solve_by_cholesky(a, b);
    case Factorisation::Symmetric:
      return solve_symmetric(a, b);
    case Factorisation::Hermitian:
      return solve_hermitian(a, b);
    case Factorisation::Mixed:
      if constexpr (std::same_as<T, double>) return solve_mixed(a, b);
      throw std::logic_error("mixed precision is double and single");
    default:
      return solve_by_lu(a, b);
  }
}

template <Scalar T>
Solution<T> solve_by(Factorisation factorisation, const BandMatrix<T>& a, const DenseMatrix<T>& b) {
  return factorisation == Factorisation::Cholesky ? solve_by_cholesky(a, b) : solve_by_lu(a, b);
}

Work work_of(const Choice& choice, Int order) {
  if (choice.method.storage == Storage::Band) return work_of_band_lu(order, choice.band.lower, choice.band.upper);
  switch (choice.method.factorisation) {
    case Factorisation::Cholesky:
    case Factorisation::Mixed:  // operations in single precision take half the time
      return work_of_cholesky(order);
    case Factorisation::Symmetric:
    case Factorisation::Hermitian:
      return work_of_indefinite(order);
    default:
      return work_of_lu(order);
  }
}

/// Refuses what is no solution, and one that says nothing unless it is wanted all the same.
template <Scalar T>
void require_solution(const Solution<T>& s, const Method& method, const SolveOptions& options) {
  const std::string& file = options.matrix_file;
  const Int n = s.x.rows;
  if (s.info > 0 && s.info <= n) throw FileError(file, fmt::format(fmt::runtime(method.breakdown), s.info));
  if (s.info > n && !options.force) {
    throw FileError(file, fmt::format("the matrix is {} (--force gives X all the same)", singular_words(s.rcond)));
  }
  if (!all_finite(s.x.elements)) throw FileError(file, "the solution overflows the precision");
}

// ---------------------------------------------------------------------------------------------------------- reporting

std::string_view equilibration_words(char equilibrated) {
  switch (equilibrated) {
    case 'R':
      return ", after scaling of the rows";
    case 'C':
      return ", after scaling of the columns";
    case 'B':
      return ", after scaling of rows and columns";
    case 'Y':
      return ", after scaling of the diagonal to ones";
    default:
      return "";
  }
}

/// The largest of the bounds by columns, NaN above all; one digit at least is right where it is below a tenth.
template <RealScalar R>
void tell_error(const std::vector<R>& bounds, Report& report) {
  if (bounds.empty()) {
    report.line("forward error", "none, as there are no right-hand sides");
    return;
  }
  const auto worst = std::max_element(bounds.begin(), bounds.end(),
                                      [](R x, R y) { return x < y || (std::isnan(y) && !std::isnan(x)); });
  std::string words = fmt::format("{:.3g}   bound of max |X - exact| / max |X|", *worst);
  if (bounds.size() > 1) words += fmt::format(", largest in column {}", worst - bounds.begin() + 1);
  if (!(*worst < R(0.1))) words += "; not one digit is certain";
  report.line("forward error", words).fact("forward_error", *worst);
}

template <Scalar T>
struct Outcome {
  const Solution<T>& solution;
  Asymmetry asymmetry;
  long double residual;
};

template <Scalar T>
Report account_of(const Outcome<T>& outcome, Int right_hand_sides, const Choice& choice, const SolveOptions& options) {
  const Solution<T>& s = outcome.solution;
  Report report("solve");
  report.matrix("system", "matrix", s.x.rows, s.x.rows, options.matrix_file)
      .fact("right_hand_sides/file", options.right_hand_side_file)
      .fact("right_hand_sides/rows", s.x.rows)
      .fact("right_hand_sides/columns", right_hand_sides)
      .line("right-hand sides", fmt::format("{}, {}", right_hand_sides, shown(options.right_hand_side_file)))
      .line("method", fmt::format("{}: {}", choice.method.words, choice.reason))
      .fact("method", std::string(choice.method.words))
      .fact("method_reason", choice.reason)
      .template routine<T>("solved by", choice.method.driver);
  if (!s.course.empty()) report.line("course", s.course).fact("course", s.course);
  if (outcome.asymmetry.largest > 0) {
    report
        .line("asymmetry", fmt::format("{:.3g} of the diagonal, as rounding errors make it; the lower triangle counts",
                                       outcome.asymmetry.largest))
        .fact("asymmetry", outcome.asymmetry.largest);
  }
  report.line("scaled residual", fmt::format("{:.3g}   ||A X - B|| / (||A|| ||X|| n eps)", outcome.residual))
      .fact("scaled_residual", outcome.residual);
  report
      .line("condition",
            fmt::format("{:.3g}   reciprocal, in the one norm{}", s.rcond, equilibration_words(s.equilibrated)))
      .fact("reciprocal_condition", s.rcond)
      .fact("equilibrated", std::string(1, s.equilibrated));
  tell_error(s.forward, report);
  if (s.info > 0) report.warning("the matrix is " + singular_words(s.rcond));
  return report;
}

template <class Matrix, Scalar T>
void solve_stored(const Matrix& a, const DenseMatrix<T>& b, Choice choice, const SolveOptions& options,
                  Stopwatch& stopwatch, Output& output) {
  make_certain(a, choice);
  const Asymmetry asymmetry = require_symmetry(a, choice, options.matrix_file);
  nuv_serv_load_dll();  // loading the kernel library is no part of the solve
  stopwatch.end("read");
  const auto solution = with_estimate<T>("solving " + options.matrix_file, work_of(choice, a.rows),
                                         [&] { return solve_by(choice.method.factorisation, a, b); });
  stopwatch.end("solve");
  require_solution(solution, choice.method, options);
  Report report = account_of<T>({solution, asymmetry, scaled_residual(a, solution.x, b)}, b.columns, choice, options);
  stopwatch.end("check");
  write_result(solution.x, output);
  stopwatch.end("write");
  report.times(stopwatch).show_beside(options.output_file);
}

template <Scalar T>
void solve_in(EquationFiles files, const SolveOptions& options, Stopwatch& stopwatch, Output& output) {
  const Choice choice = choose_method(files.a, options.method, ComplexScalar<T>);
  require_memory(files.a, choice, sizeof(T));
  require_memory(files.b, files.b.rows, files.b.columns, sizeof(T), 3);
  if (choice.method.storage == Storage::Band) {
    const auto a = to_band<T>(std::move(files.a), choice.band);
    solve_stored(a, to_dense<T>(std::move(files.b)), choice, options, stopwatch, output);
  } else {
    const auto a = to_dense<T>(std::move(files.a));
    solve_stored(a, to_dense<T>(std::move(files.b)), choice, options, stopwatch, output);
  }
}

}  // namespace

void solve(const SolveOptions& options) {
  require_consistent(options.method, options.precision);
  within_memory(options, [&] {
    Stopwatch stopwatch;
    Output output(options.output_file, options.format);
    EquationFiles files = read_equation_files(options);
    require_square(files.a, "a system");
    require_right_hand_sides_of(files.a, files.b);
    const char precision = precision_for(options.precision, {&files.a, &files.b});
    in_precision(precision, [&]<Scalar T>(T) { solve_in<T>(std::move(files), options, stopwatch, output); });
  });
}

}  // namespace nuv::tools
