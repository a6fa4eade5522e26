#include "estimate.hpp"

#include <algorithm>
#include <complex>
#include <vector>

#include "routines.hpp"

namespace nuv::tools {
namespace {

constexpr double enough_work = 1e9;  ///< for an estimate to be worth its own time

template <class Call>
double seconds_of(Call call) {
  Stopwatch stopwatch;
  call();
  stopwatch.end("");
  return stopwatch.stages().front().second.count();
}

/// The least time of some, since others may have the processor as well.
template <class Call>
double least_seconds_of(Call call) {
  double least = seconds_of(call);
  for (int again = 0; again < 2; ++again) least = std::min(least, seconds_of(call));
  return least;
}

/// Operations per second in a product of matrices.
template <Scalar T>
double speed_of_products() {
  const Int n = 512;
  const T one(1), zero(0);
  const std::vector<T> a(std::size_t(n) * n, T(1));
  std::vector<T> c(a.size());
  const double time = least_seconds_of(
      [&] { Routines<T>::gemm("N", "N", &n, &n, &n, &one, a.data(), &n, a.data(), &n, &zero, c.data(), &n, 1, 1); });
  return 2.0 * n * n * n / time;
}

/// Operations per second in a product of a matrix and a vector.
template <Scalar T>
double speed_of_passes() {
  const Int n = 2000, inc = 1;
  const T one(1), zero(0);
  const std::vector<T> a(std::size_t(n) * n, T(1)), x(std::size_t(n), T(1));
  std::vector<T> y(x.size());
  const double time = least_seconds_of(
      [&] { Routines<T>::gemv("N", &n, &n, &one, a.data(), &n, x.data(), &inc, &zero, y.data(), &inc, 1); });
  return 2.0 * n * n / time;
}

}  // namespace

// Beside the factorisation: the condition number, refinement and error bounds take some solves and products with A.
Work work_of_lu(double n) {
  return {.in_products = 2 * n * n * n / 3, .in_passes = 40 * n * n};
}

Work work_of_cholesky(double n) {
  return {.in_products = n * n * n / 3, .in_passes = 40 * n * n};
}

// Half of it is done while the panels are factored.
Work work_of_indefinite(double n) {
  return {.in_products = 2 * n * n * n / 3, .in_passes = 40 * n * n};
}

Work work_of_band_lu(double n, double lower, double upper) {
  return {.in_products = 4 * n * lower * (lower + upper), .in_passes = 40 * n * (lower + upper)};
}

Work work_of_inverse(double n) {
  return {.in_products = 2 * n * n * n, .in_passes = 20 * n * n};
}

Work work_of_pivoted_qr(double m, double n) {
  const double tall = std::max(m, n), narrow = std::min(m, n), half = narrow * narrow * (tall - narrow / 3);
  return {.in_products = half, .in_passes = half};
}

Work work_of_eigenvalues(double n) {
  const double half = 2 * n * n * n / 3;
  return {.in_products = half, .in_passes = half + 60 * n * n};
}

Work work_of_eigenvectors(double n) {
  const Work reduction = work_of_eigenvalues(n);
  return {.in_products = reduction.in_products + 10 * n * n * n / 3, .in_passes = reduction.in_passes};
}

Work work_of_general_eigenvalues(double n) {
  return {.in_products = 5 * n * n * n, .in_passes = n * n * n / 3 + 60 * n * n};
}

Work work_of_general_eigenvectors(double n) {
  const Work values = work_of_general_eigenvalues(n);
  return {.in_products = 3 * values.in_products, .in_passes = values.in_passes};
}

// The reduction to Hessenberg-triangular form and the QZ iteration go by rotations, column by column.
Work work_of_pencil_eigenvalues(double n) {
  return {.in_products = 4 * n * n * n, .in_passes = 8 * n * n * n + 60 * n * n};
}

Work work_of_pencil_eigenvectors(double n) {
  const Work values = work_of_pencil_eigenvalues(n);
  return {.in_products = 2 * values.in_products, .in_passes = 2 * values.in_passes};
}

Work work_of_singular_values(double m, double n) {
  const double tall = std::max(m, n), narrow = std::min(m, n), half = 2 * narrow * narrow * (tall - narrow / 3);
  return {.in_products = half, .in_passes = half + 60 * narrow * narrow};
}

Work work_of_singular_vectors(double m, double n) {
  const Work reduction = work_of_singular_values(m, n);
  const double tall = std::max(m, n), narrow = std::min(m, n);
  return {.in_products = reduction.in_products + 4 * tall * narrow * narrow + 8 * narrow * narrow * narrow / 3,
          .in_passes = reduction.in_passes};
}

Work work_of_generalised_singular_values(double rows, double n, bool with_vectors) {
  // Some ten cycles of rotations of all pairs of rows and columns, after reductions without blocks.
  const double turned = 4 * n + (with_vectors ? rows + n : 0);
  return {.in_passes = 10 * (n * n / 2) * 3 * turned + 4 * n * n * (rows + n)};
}

template <Scalar T>
std::optional<Seconds> estimated_time(const Work& work) {
  if (!Progress::is_shown() || work.in_products + work.in_passes < enough_work) return std::nullopt;
  return Seconds(work.in_products / speed_of_products<T>() + work.in_passes / speed_of_passes<T>());
}

template std::optional<Seconds> estimated_time<float>(const Work&);
template std::optional<Seconds> estimated_time<double>(const Work&);
template std::optional<Seconds> estimated_time<std::complex<float>>(const Work&);
template std::optional<Seconds> estimated_time<std::complex<double>>(const Work&);

}  // namespace nuv::tools
