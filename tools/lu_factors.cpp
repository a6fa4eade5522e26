#include "lu_factors.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <concepts>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <utility>

#include "band_matrix.hpp"
#include "estimate.hpp"
#include "memory.hpp"
#include "methods.hpp"
#include "precision.hpp"
#include "residual.hpp"
#include "routines.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

template <RealScalar R>
R magnitude(R x) {
  return std::abs(x);
}
template <RealScalar R>
R magnitude(std::complex<R> x) {
  return std::max(std::abs(x.real()), std::abs(x.imag()));
}

/// The power of two that brings the elements into the middle of the range, 0 where they are there. Numbers are made
/// larger without loss; they are made smaller only as far as the growth of the factors needs, since what underflows
/// then is lost.
template <Scalar T>
int exponent_for(const std::vector<T>& elements) {
  constexpr int growth = 40;
  Real<T> largest = 0;
  for (const T x : elements) largest = std::max(largest, magnitude(x));
  if (largest == 0) return 0;
  const int exponent = std::ilogb(largest);
  return exponent < 0 ? -exponent : std::min(0, std::numeric_limits<Real<T>>::max_exponent - growth - exponent);
}

/// Multiplies by 2^exponent. That of a power may be out of range where none of the products is.
template <Scalar T>
void scale(std::vector<T>& elements, int exponent) {
  if (exponent == 0) return;
  auto* const parts = reinterpret_cast<Real<T>*>(elements.data());
  std::for_each_n(parts, elements.size() * sizeof(T) / sizeof(Real<T>),
                  [=](Real<T>& part) { part = std::scalbn(part, exponent); });
}

template <Scalar T>
int brought_into_range(std::vector<T>& elements) {
  const int exponent = exponent_for(elements);
  scale(elements, exponent);
  return exponent;
}

template <class Matrix>
constexpr bool is_band = std::same_as<Matrix, BandMatrix<typename Matrix::Element>>;

template <Scalar T>
DenseMatrix<T> with_fill_in(DenseMatrix<T> a) {
  return a;
}
/// Row exchanges fill as many diagonals above the band as it has below the main one.
template <Scalar T>
BandMatrix<T> with_fill_in(const BandMatrix<T>& a) {
  return with_band(a, {a.lower, a.lower + a.upper});
}

template <Scalar T>
void factor(DenseMatrix<T>& a, std::vector<Int>& pivots, Int& info) {
  const Int n = a.rows, lda = a.ld();
  Routines<T>::getrf(&n, &n, a.elements.data(), &lda, pivots.data(), &info);
}

template <Scalar T>
void factor(BandMatrix<T>& a, std::vector<Int>& pivots, Int& info) {
  const Int n = a.rows, upper = a.upper - a.lower, ldab = a.ld();
  Routines<T>::gbtrf(&n, &n, &a.lower, &upper, a.elements.data(), &ldab, pivots.data(), &info);
}

template <Scalar T>
Int estimate(const DenseMatrix<T>& factors, const std::vector<Int>&, char norm, Real<T> anorm, Real<T>& rcond) {
  const Int n = factors.rows, lda = factors.ld();
  ConditionWorkspace<T> space(n);
  Int info = 0;
  Routines<T>::gecon(&norm, &n, factors.elements.data(), &lda, &anorm, &rcond, space.first.data(), space.second.data(),
                     &info, 1);
  return info;
}

template <Scalar T>
Int estimate(const BandMatrix<T>& factors, const std::vector<Int>& pivots, char norm, Real<T> anorm, Real<T>& rcond) {
  const Int n = factors.rows, upper = factors.upper - factors.lower, ldab = factors.ld();
  ConditionWorkspace<T> space(n);
  Int info = 0;
  Routines<T>::gbcon(&norm, &n, &factors.lower, &upper, factors.elements.data(), &ldab, pivots.data(), &anorm, &rcond,
                     space.first.data(), space.second.data(), &info, 1);
  return info;
}

}  // namespace

template <class Matrix>
LuFactors<Matrix>::LuFactors(Matrix a, bool is_hermitian)
    : is_hermitian_(is_hermitian),
      exponent_(brought_into_range(a.elements)),
      one_norm_(one_norm(a)),
      infinity_norm_(infinity_norm(a)),
      factors_(with_fill_in(std::move(a))),
      pivots_(static_cast<std::size_t>(factors_.rows)) {
  factor(factors_, pivots_, info_);
  require_accepted(info_);
}

template <class Matrix>
std::optional<Int> LuFactors<Matrix>::zero_pivot() const {
  return info_ > 0 ? std::optional(info_) : std::nullopt;
}

template <class Matrix>
double LuFactors<Matrix>::reciprocal_condition(char norm) const {
  if (zero_pivot()) return 0;
  const auto anorm = static_cast<Real<T>>(norm == '1' ? one_norm_ : infinity_norm_);
  Real<T> rcond = 0;
  require_accepted(estimate(factors_, pivots_, norm, anorm, rcond));
  return rcond;
}

template <class Matrix>
bool LuFactors<Matrix>::is_singular() const {
  return reciprocal_condition('1') < std::numeric_limits<Real<T>>::epsilon() / 2;
}

template <class Matrix>
Determinant LuFactors<Matrix>::determinant() const {
  Determinant result;
  result.is_real = RealScalar<T> || is_hermitian_;
  if (zero_pivot()) {
    result.phase = 0;
    result.logarithm = -std::numeric_limits<long double>::infinity();
    return result;
  }
  for (Int k = 1; k <= factors_.rows; ++k) {
    const std::complex<long double> pivot(factors_(k, k));
    const long double size = std::abs(pivot);
    const bool is_exchanged = pivots_[static_cast<std::size_t>(k - 1)] != k;
    result.phase *= (is_exchanged ? -pivot : pivot) / size;
    result.logarithm += std::log(size);
  }
  if (result.is_real) result.phase = std::copysign(1.0L, result.phase.real());
  result.phase /= std::abs(result.phase);
  result.logarithm -= std::numbers::ln2_v<long double> * exponent_ * factors_.rows;
  return result;
}

template <class Matrix>
void LuFactors<Matrix>::tell(Report& report) const {
  report.routine<T>("factored by", is_band<Matrix> ? "gbtrf" : "getrf");
}

template <class Matrix>
Matrix LuFactors<Matrix>::inverse() && {
  if constexpr (is_band<Matrix>) {
    throw std::logic_error("the inverse of a band matrix is none");
  } else {
    const Int n = factors_.rows, lda = factors_.ld();
    Int info = 0;
    const auto call = [&](std::vector<T>& work, Int lwork) {
      Routines<T>::getri(&n, factors_.elements.data(), &lda, pivots_.data(), work.data(), &lwork, &info);
      require_accepted(info);
    };
    std::vector<T> work(1);
    call(work, -1);
    work.resize(static_cast<std::size_t>(std::real(work.front())));
    call(work, static_cast<Int>(work.size()));
    scale(factors_.elements, exponent_);
    return std::move(factors_);
  }
}

template class LuFactors<DenseMatrix<float>>;
template class LuFactors<DenseMatrix<double>>;
template class LuFactors<DenseMatrix<std::complex<float>>>;
template class LuFactors<DenseMatrix<std::complex<double>>>;

std::unique_ptr<MatrixFactors> factor(StoredMatrix file, char precision) {
  const Choice choice = choose_lu(file);
  const bool is_hermitian = file.symmetry == Symmetry::Hermitian;
  const std::string what = "factoring " + file.file;
  std::unique_ptr<MatrixFactors> factors;
  in_precision(precision, [&]<Scalar T>(T) {
    require_memory(file, choice, sizeof(T));
    if (choice.method.storage == Storage::Band) {
      const Work work = work_of_band_lu(file.rows, choice.band.lower, choice.band.upper);
      const Progress progress(what, estimated_time<T>(work));
      factors = std::make_unique<LuFactors<BandMatrix<T>>>(to_band<T>(std::move(file), choice.band), is_hermitian);
    } else {
      const Progress progress(what, estimated_time<T>(work_of_lu(file.rows)));
      factors = std::make_unique<LuFactors<DenseMatrix<T>>>(to_dense<T>(std::move(file)), is_hermitian);
    }
  });
  return factors;
}

std::string singular_words(double reciprocal_condition) {
  return fmt::format("singular to working precision: its reciprocal condition number is {:.3g}", reciprocal_condition);
}

std::optional<std::string> singularity_of(const MatrixFactors& factors) {
  if (const auto k = factors.zero_pivot()) return fmt::format("singular: pivot U({0},{0}) is exactly zero", *k);
  if (factors.is_singular()) return singular_words(factors.reciprocal_condition('1'));
  return std::nullopt;
}

void show_from_factors(std::string_view command, const MatrixOptions& options, std::string_view what,
                       const std::function<void(const MatrixFactors&, Report&)>& answer) {
  Report report(command);
  Stopwatch stopwatch;
  within_memory(options.matrix_file, "the matrix does not fit into memory", [&] {
    StoredMatrix file = read_in(options.precision, options.matrix_file, options.format);
    require_square(file, what);
    const char precision = precision_for(options.precision, {&file});
    report.matrix("matrix", "matrix", file.rows, file.columns, file.file);
    nuv_serv_load_dll();  // loading the kernel library is no part of the work
    stopwatch.end("read");
    const auto factors = factor(std::move(file), precision);
    factors->tell(report);
    answer(*factors, report);
    stopwatch.end("solve");
    if (const auto words = singularity_of(*factors)) report.warning("the matrix is " + *words);
    report.times(stopwatch);
  });
  report.show();
}

}  // namespace nuv::tools
