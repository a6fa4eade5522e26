#include "symmetric/band_to_tridiagonal.hpp"

#include <algorithm>
#include <utility>

#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"
#include "orthogonal/householder.hpp"
#include "solvers/band_storage.hpp"
#include "symmetric/hermitian_products.hpp"

namespace nuv {
namespace {

/// What becomes of the reflectors: each updates Q as it comes into being, or all of a group wait in a table.
template <Scalar T>
class UpdatesOfQ {
 public:
  UpdatesOfQ(bool wanted, bool deferred, Int n, Int kd, Matrix<T> Q, T* work)
      : wanted_(wanted), deferred_(deferred), n_(n), kd_(kd), Q_(Q), work_(work), V_(work + 2 * std::ptrdiff_t{n}, n) {}

  /// A reflector of the chase from column j, on `length` elements from `first` on.
  void add(Int j, Int first, Int length, T tau, const T* v) const {
    if (!wanted_) return;
    if (!deferred_) return larf('R', n_, length, v, 1, tau, Q_.at(1, first), Q_.ld, work_);
    const Int start = start_of_group(j), t = first - start;
    work_[n_ + t - 1] = tau;
    std::copy_n(v, length, V_.at(t, j - start + 1));
  }

  /// The chase from column j was the last of its group.
  void end_group(Int j) const {
    if (!wanted_ || !deferred_) return;
    const Int start = start_of_group(j);
    layer::laeh2(n_, n_ - start, kd_, work_ + n_, V_, block(Q_, 1, start + 1), work_);
  }

  void scale_column(Int j, T factor) const {
    if (wanted_) blas::scal(n_, factor, column(Q_, 1, j));
  }

 private:
  Int start_of_group(Int j) const { return (j - 1) / kd_ * kd_ + 1; }

  bool wanted_, deferred_;
  Int n_, kd_;
  Matrix<T> Q_;
  T* work_;
  Matrix<T> V_;
};

template <Scalar T>
struct BandReduction {
  using R = Real<T>;

  /// Steps by which a chase follows the one before it, and those that it makes in its turn.
  static constexpr Int distance = 2, steps_in_a_row = 4;

  Int n, kd;
  Matrix<T> A;
  R *d, *e;
  UpdatesOfQ<T> updates;
  T* work;

  /// Step r, from 0 on, of the chase from column j: step 0 makes zeros below the first element under the diagonal of
  /// column j, the others move the bulge that comes of it along the band until it is out. Its reflector works on a
  /// diagonal block D; what stands left of D is a column that it makes zero and, but for the first reflector, the rest
  /// of the bulge; what stands below, B, takes up the next bulge.
  void step(Int j, Int r) const {
    const Int first = j + r * kd + 1, column = r == 0 ? j : first - kd, length = std::min(n - first + 1, kd);
    T& head = A(first, column);
    T tau;
    larfg(length, head, A.at(first + 1, column), 1, tau);
    const T beta = std::exchange(head, T(1));
    const T* const v = &head;
    if (r == 0) {
      d[j - 1] = std::real(A(j, j));
      e[j - 1] = std::real(beta);
    } else {
      larfx('L', length, kd - 1, v, conjugate(tau), A.at(first, column + 1), A.ld, work);
    }
    apply_from_both_sides(first, length, v, tau);
    const Int rest = std::min(n - first - length + 1, kd);
    if (rest > 0) larfx('R', rest, length, v, tau, A.at(first + kd, first), A.ld, work);
    updates.add(j, first, length, tau, v);
    head = beta;
    if (r > 0) std::fill_n(&head + 1, length - 1, T(0));
  }

  /// The chases from some neighbouring columns. Step r of one meets what step r + 2 of the one before it leaves, and
  /// nothing of the steps after that: the chases follow each other along the band at that distance, each for some steps
  /// in a row, so that what one brings into the cache serves all.
  void chase_together(Int j, Int count) const {
    const auto steps = [this](Int column) { return (n - column - 2) / kd + 1; };
    const Int last = steps(j) + distance * (count - 1);
    for (Int time = 0; time < last; time += steps_in_a_row) {
      for (Int i = 0; i < count; ++i) {
        const Int from = time - distance * i, until = std::min(from + steps_in_a_row, steps(j + i));
        for (Int r = std::max(0, from); r < until; ++r) step(j + i, r);
      }
    }
  }

  void apply_from_both_sides(Int first, Int length, const T* v, T tau) const {
    const Matrix<T> D = block(A, first, first);
    const Vector<const T> V{v, 1};
    const Vector<T> W{work, 1};
    hermitian_product<T>('L', length, D, V, W);
    const T alpha = negated(conjugate(tau) * R(0.5)) * inner_product<T>(true, length, V, W);
    blas::axpy(length, alpha, V, W);
    add_rank_two<T>('L', length, negated(tau), W, V, D);
  }

  /// Copies the diagonals of what is tridiagonal from column j on. Elements beside the diagonal that are not real turn
  /// columns of Q.
  void finish(Int j) const {
    T phase(1);
    for (; j < n; ++j) {
      d[j - 1] = std::real(A(j, j));
      T beside = A(j + 1, j) * phase, tau;
      larfg<T>(1, beside, nullptr, 1, tau);
      e[j - 1] = std::real(beside);
      phase = T(1) - tau;
      if (tau != T(0)) updates.scale_column(j + 1, phase);
    }
    d[n - 1] = std::real(A(n, n));
  }

  /// Chases that go together: the part of the band that they are at stays in the second cache.
  Int most_together() const {
    constexpr std::ptrdiff_t cache = 512 * 1024;
    const std::ptrdiff_t each_step = std::ptrdiff_t{kd} * 2 * kd * std::ptrdiff_t{sizeof(T)};
    return static_cast<Int>(std::clamp<std::ptrdiff_t>((cache / each_step - steps_in_a_row) / distance, 1, kd));
  }

  void reduce() const {
    const Int together = most_together();
    for (Int group = 1; group <= n - 2; group += kd) {
      const Int behind = std::min(group + kd, n - 1);
      for (Int j = group; j < behind; j += together) chase_together(j, std::min(together, behind - j));
      updates.end_group(behind - 1);
    }
    finish(std::max(1, n - 1));
  }
};

}  // namespace

template <Scalar T>
void sbrdb(char vect, char uplo, Int n, Int kd, T* ab, Int ldab, Real<T>* d, Real<T>* e, T* q, Int ldq, T* work,
           Int lwork, Int& info) {
  const bool with_q = is_one_of(vect, 'V', 'U'), query = lwork == -1;
  info = 0;
  if (!is_one_of(vect, 'N', 'V', 'U')) info = -1;
  else if (!same_letter(uplo, 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (kd < 0) info = -4;
  else if (ldab < 2 * std::int64_t{kd}) info = -6;
  else if (with_q && ldq < std::max(1, n)) info = -10;
  else if (!query && lwork < std::max(1, with_q ? n : kd)) info = -12;
  if (info != 0) return report_bad_argument(name_of<T>("SBRDB", "HBRDB"), info);

  const std::int64_t best_lwork = with_q ? (std::int64_t{kd} + 2) * n : kd;
  work[0] = as_work_size<T>(best_lwork);
  if (query || n == 0) return;
  if (same_letter(vect, 'V')) laset('F', n, n, T(0), T(1), q, ldq);
  const UpdatesOfQ<T> updates(with_q, lwork >= best_lwork, n, kd, {q, ldq}, work);
  const BandReduction<T> reduction{n, kd, band_view(ab, ldab, 1), d, e, updates, work};
  if (kd < 2) {
    for (Int j = 1; j <= n && kd == 0; ++j) d[j - 1] = std::real(reduction.A(j, j));
    if (kd == 1) reduction.finish(1);
    return;
  }
  laset('A', kd - 1, n - kd, T(0), T(0), ab + kd + 1, ldab);
  reduction.reduce();
  work[0] = as_work_size<T>(best_lwork);
}

}  // namespace nuv

#include "symmetric/band_to_tridiagonal.entries.inc"
