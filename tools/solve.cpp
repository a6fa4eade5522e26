#include "solve.hpp"

#include <fmt/format.h>
#include <nuv/nuv_lapack.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <complex>
#include <cstdio>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"
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
  static constexpr std::string_view precision = "single precision";
};

template <>
struct Solver<double> {
  static constexpr auto gesv = nuv_lapack_dgesv;
  static constexpr auto posv = nuv_lapack_dposv;
  static constexpr std::string_view precision = "double precision";
};

template <>
struct Solver<std::complex<float>> {
  static constexpr auto gesv = nuv_lapack_cgesv;
  static constexpr auto posv = nuv_lapack_cposv;
  static constexpr std::string_view precision = "complex single precision";
};

template <>
struct Solver<std::complex<double>> {
  static constexpr auto gesv = nuv_lapack_zgesv;
  static constexpr auto posv = nuv_lapack_zposv;
  static constexpr std::string_view precision = "complex double precision";
};

/// The routine's name, in small letters.
template <Scalar T>
std::string solver_name(bool positive_definite) {
  return fmt::format("nuv_lapack_{}{}, {}", static_cast<char>(std::tolower(precision_letter<T>)),
                     positive_definite ? "posv" : "gesv", Solver<T>::precision);
}

long double physical_memory() {
  return static_cast<long double>(sysconf(_SC_PHYS_PAGES)) * static_cast<long double>(sysconf(_SC_PAGE_SIZE));
}

// Sizes whose product leaves the range of integers are still told apart here: 2^31 squared times 16 is exact.
void require_memory(const MatrixMarket& file, std::size_t element_size) {
  // The solver overwrites its arguments, the residual needs the originals: two copies of everything.
  const long double needed = 2.0L * file.rows * file.columns * static_cast<long double>(element_size);
  const long double there =
      std::min<long double>(physical_memory(), static_cast<long double>(std::numeric_limits<std::ptrdiff_t>::max()));
  if (needed <= there) return;
  constexpr long double gibibyte = 1L << 30;
  throw FileError(file.file, file.size_line,
                  fmt::format("a {} by {} matrix takes {:.3g} GiB to solve, this machine can give {:.3g}", file.rows,
                              file.columns, needed / gibibyte, there / gibibyte));
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

void require_real(const MatrixMarket& file, char precision) {
  if (file.is_complex()) {
    throw FileError(file.file, 1, fmt::format("complex data cannot be solved in the real precision {}", precision));
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
void solve_in(MatrixMarket a_file, MatrixMarket b_file, const SolveOptions& options, Output& output) {
  require_memory(a_file, sizeof(T));
  require_memory(b_file, sizeof(T));
  const auto a = to_dense<T>(std::move(a_file));
  const auto b = to_dense<T>(std::move(b_file));
  if (options.positive_definite) require_hermitian(a, options.matrix_file);

  auto x = b;
  auto factors = a;
  const auto time = timed_solve(factors, x, options);
  if (!all_finite(x)) throw FileError(options.matrix_file, "the solution overflows the precision");

  write_matrix_market(x, [&](std::string_view text) { output.write(text); });
  output.commit();
  print({solver_name<T>(options.positive_definite), a.rows, b.columns, scaled_residual(a, x, b), time}, options);
}

void read_and_solve(const SolveOptions& options) {
  Output output = options.output_file ? Output(*options.output_file) : Output();
  const bool single = options.precision == 's' || options.precision == 'c';
  const Precision precision = single ? Precision::Single : Precision::Double;
  MatrixMarket a = read_matrix_market_file(options.matrix_file, precision);
  MatrixMarket b = read_matrix_market_file(options.right_hand_side_file, precision);
  require_matching_sizes(a, b);

  const char letter = options.precision.value_or(a.is_complex() || b.is_complex() ? 'z' : 'd');
  if (letter == 's' || letter == 'd') {
    require_real(a, letter);
    require_real(b, letter);
  }
  switch (letter) {
    case 's':
      return solve_in<float>(std::move(a), std::move(b), options, output);
    case 'd':
      return solve_in<double>(std::move(a), std::move(b), options, output);
    case 'c':
      return solve_in<std::complex<float>>(std::move(a), std::move(b), options, output);
    default:
      return solve_in<std::complex<double>>(std::move(a), std::move(b), options, output);
  }
}

}  // namespace

void solve(const SolveOptions& options) {
  try {
    read_and_solve(options);
  } catch (const std::bad_alloc&) {
    throw FileError(options.matrix_file, "the system does not fit into memory");
  } catch (const std::length_error&) {
    throw FileError(options.matrix_file, "the system does not fit into memory");
  }
}

}  // namespace nuv::tools
