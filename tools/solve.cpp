#include "solve.hpp"

#include <fmt/format.h>
#include <nuv/nuv_lapack.h>

#include <algorithm>
#include <chrono>
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
#include "lu_factors.hpp"
#include "matrix_market.hpp"
#include "output.hpp"
#include "report.hpp"
#include "residual.hpp"
#include "solvers.hpp"
#include "symmetry_check.hpp"

namespace nuv::tools {
namespace {

void require_right_hand_sides_of(const MatrixMarket& a, const MatrixMarket& b) {
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
std::string error_words(const std::vector<R>& bounds) {
  if (bounds.empty()) return "none, as there are no right-hand sides";
  const auto worst = std::max_element(bounds.begin(), bounds.end(),
                                      [](R x, R y) { return x < y || (std::isnan(y) && !std::isnan(x)); });
  std::string words = fmt::format("{:.3g}   bound of max |X - exact| / max |X|", *worst);
  if (bounds.size() > 1) words += fmt::format(", largest in column {}", worst - bounds.begin() + 1);
  if (!(*worst < R(0.1))) words += "; not one digit is certain";
  return words;
}

template <Scalar T>
struct Outcome {
  const Solution<T>& solution;
  Asymmetry asymmetry;
  long double residual;
  Seconds time;
};

template <Scalar T>
void print(const Outcome<T>& outcome, Int right_hand_sides, const Choice& choice, const SolveOptions& options) {
  const Solution<T>& s = outcome.solution;
  Report report;
  report.line("system", fmt::format("{0} by {0}, {1}", s.x.rows, shown(options.matrix_file)))
      .line("right-hand sides", fmt::format("{}, {}", right_hand_sides, shown(options.right_hand_side_file)))
      .line("method", fmt::format("{}: {}", choice.method.words, choice.reason))
      .template routine<T>("solved by", choice.method.driver);
  if (!s.course.empty()) report.line("course", s.course);
  if (outcome.asymmetry.largest > 0) {
    report.line("asymmetry",
                fmt::format("{:.3g} of the diagonal, as rounding errors make it; the lower triangle counts",
                            outcome.asymmetry.largest));
  }
  report.line("scaled residual", fmt::format("{:.3g}   ||A X - B|| / (||A|| ||X|| n eps)", outcome.residual));
  report.line("condition",
              fmt::format("{:.3g}   reciprocal, in the one norm{}", s.rcond, equilibration_words(s.equilibrated)));
  report.line("forward error", error_words(s.forward));
  if (s.info > 0) report.line("warning", "the matrix is " + singular_words(s.rcond));
  report.time(outcome.time).to_standard_error();
}

template <class Matrix, Scalar T>
void solve_stored(const Matrix& a, const DenseMatrix<T>& b, Choice choice, const SolveOptions& options,
                  Output& output) {
  make_certain(a, choice);
  const Asymmetry asymmetry = require_symmetry(a, choice, options.matrix_file);
  nuv_serv_load_dll();  // loading the kernel library is no part of the solve
  const auto start = std::chrono::steady_clock::now();
  const Solution<T> solution = solve_by(choice.method.factorisation, a, b);
  const Seconds time = std::chrono::steady_clock::now() - start;
  require_solution(solution, choice.method, options);
  write_result(solution.x, output);
  print<T>({solution, asymmetry, scaled_residual(a, solution.x, b), time}, b.columns, choice, options);
}

template <Scalar T>
void solve_in(EquationFiles files, const SolveOptions& options, Output& output) {
  const Choice choice = choose_method(files.a, options.method, ComplexScalar<T>);
  require_memory(files.a, choice, sizeof(T));
  require_memory(files.b, files.b.rows, files.b.columns, sizeof(T), 3);
  if (choice.method.storage == Storage::Band) {
    const auto a = to_band<T>(std::move(files.a), choice.band);
    solve_stored(a, to_dense<T>(std::move(files.b)), choice, options, output);
  } else {
    const auto a = to_dense<T>(std::move(files.a));
    solve_stored(a, to_dense<T>(std::move(files.b)), choice, options, output);
  }
}

}  // namespace

void solve(const SolveOptions& options) {
  require_consistent(options.method, options.precision);
  within_memory(options, [&] {
    Output output(options.output_file, options.format);
    EquationFiles files = read_equation_files(options);
    require_square(files.a, "a system");
    require_right_hand_sides_of(files.a, files.b);
    const char precision = precision_for(options.precision, {&files.a, &files.b});
    in_precision(precision, [&]<Scalar T>(T) { solve_in<T>(std::move(files), options, output); });
  });
}

}  // namespace nuv::tools
