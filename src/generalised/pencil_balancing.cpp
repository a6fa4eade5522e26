#include "generalised/pencil_balancing.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "environment/service_math.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/exchanges_back.hpp"

namespace nuv {
namespace {

/// Rows and columns first ... last of a pencil of order n, those between the isolated ones.
template <Scalar T>
struct MiddlePencil {
  using R = Real<T>;

  Int n;
  Matrix<T> A, B;
  R *lscale, *rscale;
  Int first = 1, last = n;

  bool is_nonzero(Int i, Int j) const { return A(i, j) != T(0) || B(i, j) != T(0); }

  /// Brings rows with one nonzero position to the end and columns with one to the front, and these positions to the
  /// diagonal.
  void permute() {
    while (last > 1 && isolate_row()) --last;
    if (last == 1) {
      lscale[0] = rscale[0] = 1;
      return;
    }
    while (first < last && isolate_column()) ++first;
  }

 private:
  /// The one nonzero position among `from` ... last, `last` if there is none; zero if there is more than one.
  template <class IsNonzero>
  Int only_position(Int from, IsNonzero is_nonzero_at) const {
    Int k = from;
    while (k < last && !is_nonzero_at(k)) ++k;
    for (Int other = k + 1; other <= last; ++other) {
      if (is_nonzero_at(other)) return 0;
    }
    return k;
  }

  bool isolate_row() {
    for (Int i = last; i >= 1; --i) {
      const Int j = only_position(1, [&](Int k) { return is_nonzero(i, k); });
      if (j == 0) continue;
      exchange(i, j, last);
      return true;
    }
    return false;
  }

  bool isolate_column() {
    for (Int j = first; j <= last; ++j) {
      const Int i = only_position(first, [&](Int k) { return is_nonzero(k, j); });
      if (i == 0) continue;
      exchange(i, j, first);
      return true;
    }
    return false;
  }

  /// Brings position (i, j) to the place `end` of the diagonal.
  void exchange(Int i, Int j, Int end) const {
    lscale[end - 1] = R(i);
    rscale[end - 1] = R(j);
    for (const Matrix<T>& M : {A, B}) {
      if (i != end) blas::swap(n - first + 1, row(M, i, first), row(M, end, first));
      if (j != end) blas::swap(last, column(M, 1, j), column(M, 1, end));
    }
  }
};

/// The exponents x of rows and y of columns, from first to last, for which the logarithms of all nonzero elements come
/// closest to zero, sum of (x(i) + y(j) + log |a(i, j)|)^2 and the same of B. Conjugate gradients find them: on the
/// whole they take a few steps, since without zeros the equations are solved by the first one.
template <Scalar T>
class ExponentSearch {
  using R = Real<T>;

 public:
  /// x, y    exponents, counted from one: n elements each, of which those in use are set to zero
  /// work    6 n elements
  ExponentSearch(const MiddlePencil<T>& middle, R* work)
      : middle_(middle),
        first_(middle.first),
        last_(middle.last),
        count_(last_ - first_ + 1),
        x_(middle.lscale),
        y_(middle.rscale),
        column_step_(work),
        row_step_(work + middle.n),
        row_product_(work + 2 * std::ptrdiff_t{middle.n}),
        column_product_(work + 3 * std::ptrdiff_t{middle.n}),
        row_residual_(work + 4 * std::ptrdiff_t{middle.n}),
        column_residual_(work + 5 * std::ptrdiff_t{middle.n}) {
    for (R* vector :
         {x_, y_, column_step_, row_step_, row_product_, column_product_, row_residual_, column_residual_}) {
      std::fill(vector + (first_ - 1), vector + last_, R(0));
    }
  }

  void run() {
    take_logarithms();
    R beta = 0, last_gamma = 0;
    for (Int it = 1; it <= count_ + 2; ++it) {
      const Sums sums = residual_sums();
      const R gamma = preconditioned_square(sums);
      if (gamma == 0) return;
      if (it > 1) beta = gamma / last_gamma;
      turn_step(beta, sums);
      multiply_step();
      const R alpha = gamma / (dot(row_step_, row_product_) + dot(column_step_, column_product_));
      if (!std::isfinite(alpha)) return;  // for an infinity or a NaN in the pencil
      if (advance(alpha) < R(0.5)) return;
      blas::axpy(count_, negated(alpha), of(row_product_), of(row_residual_));
      blas::axpy(count_, negated(alpha), of(column_product_), of(column_residual_));
      last_gamma = gamma;
    }
  }

 private:
  /// Sums of the residuals of rows and of columns.
  struct Sums {
    R rows, columns;
  };

  Vector<R> of(R* vector) const { return {vector + (first_ - 1), 1}; }
  R dot(R* x, R* y) const { return blas::dot(count_, Vector<const R>(of(x)), Vector<const R>(of(y))); }

  static R logarithm(T x) { return x == T(0) ? R(0) : std::log10(magnitude(x)) / std::log10(R(10)); }

  void take_logarithms() const {
    for (Int j = first_; j <= last_; ++j) {
      for (Int i = first_; i <= last_; ++i) {
        const R ta = logarithm(middle_.A(i, j)), tb = logarithm(middle_.B(i, j));
        row_residual_[i - 1] = row_residual_[i - 1] - ta - tb;
        column_residual_[j - 1] = column_residual_[j - 1] - ta - tb;
      }
    }
  }

  Sums residual_sums() const {
    Sums sums{0, 0};
    for (Int i = first_; i <= last_; ++i) {
      sums.rows += row_residual_[i - 1];
      sums.columns += column_residual_[i - 1];
    }
    return sums;
  }

  // The equations would be 2 count [I E; E^T I] with E of all 1 / count if no element were zero. A generalised inverse
  // of that conditions them: it multiplies a residual, and adds to all rows, and to all columns, some of the sums of
  // both.
  //
  //     I / (2 count) - [3 F, -F; -F, 3 F]      F of all 1 / (8 count^2)

  R weight_of_residual() const { return 1 / R(2 * std::int64_t{count_}); }
  R weight_of_sums() const { return R(0.5) * (weight_of_residual() * weight_of_residual()); }

  R preconditioned_square(const Sums& s) const {
    const R squares = dot(row_residual_, row_residual_) + dot(column_residual_, column_residual_);
    const R difference = s.rows - s.columns;
    return weight_of_residual() * squares - 2 * weight_of_sums() * (s.rows * s.rows + s.columns * s.columns) -
           weight_of_sums() * (difference * difference);
  }

  /// The next direction: beta times the last one and the residual, conditioned.
  void turn_step(R beta, const Sums& s) const {
    const R for_rows = weight_of_sums() * (s.columns - 3 * s.rows),
            for_columns = weight_of_sums() * (s.rows - 3 * s.columns);
    blas::scal(count_, beta, of(column_step_));
    blas::scal(count_, beta, of(row_step_));
    blas::axpy(count_, weight_of_residual(), of(row_residual_), of(row_step_));
    blas::axpy(count_, weight_of_residual(), of(column_residual_), of(column_step_));
    for (Int i = first_; i <= last_; ++i) {
      column_step_[i - 1] += for_columns;
      row_step_[i - 1] += for_rows;
    }
  }

  /// The matrix of the equations times the direction: each nonzero element adds to its row and to its column what it
  /// has of both.
  void multiply_step() const {
    std::fill(row_product_ + (first_ - 1), row_product_ + last_, R(0));
    for (Int j = first_; j <= last_; ++j) {
      R column_sum = 0;
      for (Int i = first_; i <= last_; ++i) {
        const int count = int(middle_.A(i, j) != T(0)) + int(middle_.B(i, j) != T(0));
        if (count == 0) continue;
        const R sum = R(count) * (row_step_[i - 1] + column_step_[j - 1]);
        row_product_[i - 1] += sum;
        column_sum += sum;
      }
      column_product_[j - 1] = column_sum;
    }
  }

  /// The largest correction.
  R advance(R alpha) const {
    R cmax = 0;
    for (Int i = first_; i <= last_; ++i) {
      const R row_correction = alpha * row_step_[i - 1], column_correction = alpha * column_step_[i - 1];
      cmax = std::max({cmax, std::abs(row_correction), std::abs(column_correction)});
      x_[i - 1] += row_correction;
      y_[i - 1] += column_correction;
    }
    return cmax;
  }

  const MiddlePencil<T>& middle_;
  Int first_, last_, count_;
  R *x_, *y_;
  R *column_step_, *row_step_, *row_product_, *column_product_, *row_residual_, *column_residual_;
};

/// Powers of ten that are in range, and what they are to be for a row or a column.
template <RealScalar R>
class PowersOfTen {
 public:
  /// The power with the exponent nearest to x, or one less far from zero so that nothing of this size overflows.
  R nearest(R x, R size) const {
    const Int room = exponent_above(size);
    const Int k = truncated(x + sign(R(0.5), x));
    const std::int64_t bounded =
        std::min({std::int64_t{std::max(k, least_)}, std::int64_t{greatest_}, std::int64_t{greatest_} - room});
    return power(R(10), static_cast<Int>(bounded));
  }

 private:
  static Int exponent_above(R size) {
    return truncated(std::log10(size + Machine<R>::safe_min) / std::log10(R(10)) + 1);
  }

  Int least_ = truncated(std::log10(Machine<R>::safe_min) / std::log10(R(10)) + 1);
  Int greatest_ = truncated(std::log10(1 / Machine<R>::safe_min) / std::log10(R(10)));
};

/// Makes powers of ten of the exponents that were found, and scales with them.
template <Scalar T>
void scale_by_exponents(const MiddlePencil<T>& m) {
  using R = Real<T>;
  const PowersOfTen<R> powers;
  const Int columns = m.n - m.first + 1;
  const auto largest = [](Int count, Vector<T> x) {
    const Int at = blas::iamax(count, Vector<const T>(x));
    return magnitude(x.data[(std::ptrdiff_t{at} - 1) * x.inc]);
  };
  const auto largest_of_both = [&](auto of) { return std::max(of(m.A), of(m.B)); };
  for (Int i = m.first; i <= m.last; ++i) {
    const R in_row = largest_of_both([&](Matrix<T> M) { return largest(columns, row(M, i, m.first)); });
    const R in_column = largest_of_both([&](Matrix<T> M) { return largest(m.last, column(M, 1, i)); });
    m.lscale[i - 1] = powers.nearest(m.lscale[i - 1], in_row);
    m.rscale[i - 1] = powers.nearest(m.rscale[i - 1], in_column);
  }
  for (const Matrix<T>& M : {m.A, m.B}) {
    for (Int i = m.first; i <= m.last; ++i) blas::scal(columns, m.lscale[i - 1], row(M, i, m.first));
    for (Int j = m.first; j <= m.last; ++j) blas::scal(m.last, m.rscale[j - 1], column(M, 1, j));
  }
}

}  // namespace

template <Scalar T>
void ggbal(char job, Int n, T* a, Int lda, T* b, Int ldb, Int& ilo, Int& ihi, Real<T>* lscale, Real<T>* rscale,
           Real<T>* work, Int& info) {
  info = 0;
  if (!is_one_of(job, 'N', 'P', 'S', 'B')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  else if (ldb < std::max(1, n)) info = -6;
  if (info != 0) return report_bad_argument<T>("GGBAL", info);

  MiddlePencil<T> middle{n, {a, lda}, {b, ldb}, lscale, rscale};
  if (is_one_of(job, 'P', 'B') && n > 0) middle.permute();
  ilo = middle.first;
  ihi = middle.last;
  if (is_one_of(job, 'S', 'B') && ilo < ihi) {
    ExponentSearch<T>(middle, work).run();
    scale_by_exponents(middle);
  } else {
    for (Real<T>* scale : {lscale, rscale}) std::fill(scale + (ilo - 1), scale + ihi, Real<T>(1));
  }
}

template <Scalar T>
void ggbak(char job, char side, Int n, Int ilo, Int ihi, const Real<T>* lscale, const Real<T>* rscale, Int m, T* v,
           Int ldv, Int& info) {
  info = 0;
  if (!is_one_of(job, 'N', 'P', 'S', 'B')) info = -1;
  else if (!is_one_of(side, 'R', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (ilo < 1 || (n == 0 && ihi == 0 && ilo != 1)) info = -4;
  else if (n > 0 ? ihi < ilo || ihi > n : ilo == 1 && ihi != 0) info = -5;
  else if (m < 0) info = -8;
  else if (ldv < std::max(1, n)) info = -10;
  if (info != 0) return report_bad_argument<T>("GGBAK", info);
  if (n == 0 || m == 0 || same_letter(job, 'N')) return;

  const Matrix V{v, ldv};
  const Real<T>* const scale = same_letter(side, 'R') ? rscale : lscale;
  if (is_one_of(job, 'S', 'B') && ilo != ihi) {
    for (Int i = ilo; i <= ihi; ++i) blas::scal(m, scale[i - 1], row(V, i, 1));
  }
  if (is_one_of(job, 'P', 'B')) exchange_rows_back(n, ilo, ihi, scale, m, V);
}

}  // namespace nuv

#include "generalised/pencil_balancing.entries.inc"
