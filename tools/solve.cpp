#include "solve.hpp"

#include <fmt/format.h>
#include <nuv/nuv_lapack.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <complex>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"
#include "equations.hpp"
#include "error.hpp"
#include "matrix_market.hpp"
#include "output.hpp"

namespace nuv::tools {
namespace {

template <Scalar T>
struct Solver;

template <>
struct Solver<float> {
  static constexpr auto gesv = nuv_lapack_sgesv;
  static constexpr auto posv = nuv_lapack_sposv;
};

template <>
struct Solver<double> {
  static constexpr auto gesv = nuv_lapack_dgesv;
  static constexpr auto posv = nuv_lapack_dposv;
};

template <>
struct Solver<std::complex<float>> {
  static constexpr auto gesv = nuv_lapack_cgesv;
  static constexpr auto posv = nuv_lapack_cposv;
};

template <>
struct Solver<std::complex<double>> {
  static constexpr auto gesv = nuv_lapack_zgesv;
  static constexpr auto posv = nuv_lapack_zposv;
};

/// The routine's name, in small letters.
template <Scalar T>
std::string solver_name(bool positive_definite) {
  return fmt::format("nuv_lapack_{}{}, {}", static_cast<char>(std::tolower(precision_letter<T>)),
                     positive_definite ? "posv" : "gesv", precision_words<T>());
}

void require_matching_sizes(const MatrixMarket& a, const MatrixMarket& b) {
  if (a.rows != a.columns) {
    throw FileError(a.file, a.size_line,
                    fmt::format("the matrix is {} by {}, a system needs a square one", a.rows, a.columns));
  }
  if (b.rows != a.rows) {
    throw FileError(b.file, b.size_line,
                    fmt::format("the right-hand sides have {} rows, the matrix has order {}", b.rows, a.rows));
  }
}

/// An account of the solve for the user, in which the residual is the figure to look at.
struct Report {
  std::string solver;
  Int order;
  Int right_hand_sides;
  long double residual;
  std::chrono::duration<double> time;
};

void print(const Report& report, const SolveOptions& options) {
  const std::string text = fmt::format(
      "system             {0} by {0}, {1}\n"
      "right-hand sides   {2}, {3}\n"
      "solved by          {4}\n"
      "scaled residual    {5:.3g}   ||A X - B|| / (||A|| ||X|| n eps)\n"
      "time               {6:.3g} s\n",
      report.order, printable(options.matrix_file), report.right_hand_sides, printable(options.right_hand_side_file),
      report.solver, report.residual, report.time.count());
  std::fwrite(text.data(), 1, text.size(), stderr);
}

/// The solver for definite matrices reads half of one, so that the other half must say the same.
template <Scalar T>
void require_hermitian(const DenseMatrix<T>& a, const std::string& matrix_file) {
  for (Int j = 1; j <= a.columns; ++j) {
    for (Int i = j; i <= a.rows; ++i) {
      if (a(i, j) == conjugate(a(j, i))) continue;
      const std::string reason = i == j             ? fmt::format("A({0},{0}) is not real", i)
                                 : ComplexScalar<T> ? fmt::format("A({0},{1}) is not the conjugate of A({1},{0})", i, j)
                                                    : fmt::format("A({0},{1}) is not A({1},{0})", i, j);
      throw FileError(matrix_file,
                      fmt::format("the matrix is not {}: {}", ComplexScalar<T> ? "Hermitian" : "symmetric", reason));
    }
  }
}

/// X := A^-1 B by the library, in the place of B; the factors take the place of A.
template <Scalar T>
void call_solver(DenseMatrix<T>& a, DenseMatrix<T>& x, const SolveOptions& options) {
  const Int n = a.rows, nrhs = x.columns, lda = a.ld(), ldx = x.ld();
  Int info = 0;
  if (options.positive_definite) {
    Solver<T>::posv("L", &n, &nrhs, a.elements.data(), &lda, x.elements.data(), &ldx, &info, 1);
  } else {
    std::vector<Int> pivots(static_cast<std::size_t>(n));
    Solver<T>::gesv(&n, &nrhs, a.elements.data(), &lda, pivots.data(), x.elements.data(), &ldx, &info);
  }
  if (info < 0) throw std::logic_error(fmt::format("argument {} of the solver was refused", -info));
  if (info == 0) return;
  throw FileError(
      options.matrix_file,
      options.positive_definite
          ? fmt::format("the matrix is not positive definite: its leading minor of order {} is not positive", info)
          : fmt::format("the matrix is singular: pivot U({0},{0}) is exactly zero", info));
}

template <Scalar T>
std::chrono::duration<double> timed_solve(DenseMatrix<T>& a, DenseMatrix<T>& x, const SolveOptions& options) {
  nuv_serv_load_dll();  // loading the kernel library is no part of the solve
  const auto start = std::chrono::steady_clock::now();
  call_solver(a, x, options);
  return std::chrono::steady_clock::now() - start;
}

template <Scalar T>
void solve_in(EquationFiles files, const SolveOptions& options, Output& output) {
  require_memory(files.a, files.a.rows, files.a.columns, sizeof(T));
  require_memory(files.b, files.b.rows, files.b.columns, sizeof(T));
  const auto a = to_dense<T>(std::move(files.a));
  const auto b = to_dense<T>(std::move(files.b));
  if (options.positive_definite) require_hermitian(a, options.matrix_file);

  auto x = b;
  auto factors = a;
  const auto time = timed_solve(factors, x, options);
  if (!all_finite(x)) throw FileError(options.matrix_file, "the solution overflows the precision");

  write_solution(x, output);
  print({solver_name<T>(options.positive_definite), a.rows, b.columns, scaled_residual(a, x, b), time}, options);
}

void read_and_solve(const SolveOptions& options) {
  Output output = options.output_file ? Output(*options.output_file) : Output();
  EquationFiles files = read_equation_files(options);
  require_matching_sizes(files.a, files.b);
  in_precision(precision_for(files, options), [&]<Scalar T>(T) { solve_in<T>(std::move(files), options, output); });
}

}  // namespace

void solve(const SolveOptions& options) {
  within_memory(options, [&] { read_and_solve(options); });
}

}  // namespace nuv::tools
