#include "symmetric/band_reduction.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "base/matrix.hpp"
#include "environment/hermitian.hpp"
#include "environment/magnitudes.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "symmetric/band_half.hpp"
#include "symmetric/band_rotations.hpp"

namespace nuv {
namespace {

/// The matrix to which the rotations are applied from the right.
template <Scalar T>
struct Accumulated {
  Matrix<T> Q;
  bool wanted;
  bool from_identity;  ///< Q starts as the identity: most of it is zero for long
  bool conjugated;     ///< L is conj(A)

  T as_in_q(T x) const { return conjugated ? conjugate(x) : x; }
};

/// In column i the elements (i + k, i), k = kd ... 2, are annihilated by rotations of planes (i + k - 1, i + k). Each
/// brings a new element into being outside of the band, kd rows further down, whose annihilation brings the next, until
/// it is chased off the end. All that are on their way go one step at a time, together with the one that starts:
///
///     step k of column i     planes (p - 1, p)     p = i + k                   starts, unless k = 1
///                                                  p = i + k + l (kd + 1)      has been on its way, l = 1, 2, ...
///
/// With k = 1 nothing starts, so that the distance to the first of the next column is the same.
template <Scalar T>
class ChasedReduction {
  using R = Real<T>;

 public:
  /// kd     2 <= kd < n
  /// c, s   n elements of workspace
  ChasedReduction(const BandHalf<T>& L, Int n, Int kd, const Accumulated<T>& accumulated, R* c, T* s)
      : n_(n), kd_(kd), rotations_(L, n, kd, c, s), accumulated_(accumulated) {}

  void run() const {
    for (Int i = 1; i <= n_ - 2; ++i) {
      for (Int k = std::min(kd_, n_ - i); k >= 1; --k) go_one_step(i, k);
    }
  }

 private:
  /// The rotations that are on their way. Each step but one of those before, for each column, has started one; the
  /// first of them may have reached the end.
  Wave on_their_way(Int i, Int k) const {
    const std::int64_t started = std::int64_t{i - 1} * (kd_ - 1) + (kd_ - k);
    const Int place_for = (n_ - i - k) / rotations_.spacing();
    return {i + k + rotations_.spacing(), static_cast<Int>(std::min<std::int64_t>(started, place_for))};
  }

  void go_one_step(Int i, Int k) const {
    const Wave chased = on_their_way(i, k);
    const bool starts = k >= 2;
    rotations_.annihilate_outside(chased);
    if (starts) start(i, k);
    finish(i, k, starts ? Wave{i + k, chased.count + 1} : chased);
  }

  /// Annihilates element (i + k, i), and rotates its row and the one above up to the diagonal.
  void start(Int i, Int k) const {
    rotations_.annihilate(i + k, i);
    rotations_.rotate_rows(i + k, i + 1, i + k - 2);
  }

  /// Rotates what there is of the planes themselves and below them, and the accumulated matrix.
  void finish(Int i, Int k, const Wave& wave) const {
    rotations_.rotate_diagonals(wave);
    rotations_.rotate_columns(wave, 1, kd_ - 1);
    rotations_.for_each(wave, [&](Int p) {
      if (rotations_.leaves_band(p)) rotations_.leave_band(p);
      if (accumulated_.wanted) accumulate(i, k, p);
    });
  }

  void accumulate(Int i, Int k, Int p) const {
    const auto [top, bottom] = accumulated_.from_identity ? reached_rows(i, k, p) : std::pair<Int, Int>{1, n_};
    blas::rot(bottom - top + 1, column(accumulated_.Q, top, p - 1), column(accumulated_.Q, top, p),
              rotations_.cosine(p), accumulated_.as_in_q(rotations_.sine(p)));
  }

  /// The rows in which columns p - 1 and p of a Q that started as the identity may hold something.
  ///
  /// A rotation that has gone m steps since its start in column j turns columns j + 1 + m kd ... j + (m + 1) kd among
  /// themselves. Those of column 1 turn blocks of kd columns of the identity; each column after it adds to each block
  /// one from the block behind it. So the rows reach from the first of block m to the last of block m + j - 1.
  std::pair<Int, Int> reached_rows(Int i, Int k, Int p) const {
    const std::int64_t ahead = (p - i - k) / rotations_.spacing();
    const std::int64_t steps = ahead == 0 ? 0 : ahead + (ahead + k - 2) / (kd_ - 1);
    return {static_cast<Int>(2 + steps * kd_), static_cast<Int>(std::min<std::int64_t>(n_, 1 + (i + ahead) * kd_))};
  }

  Int n_, kd_;
  BandRotations<T> rotations_;
  Accumulated<T> accumulated_;
};

/// Makes a complex element beside the diagonal real by a diagonal unitary matrix, of which `phase` is the element
/// before and becomes the next.
template <ComplexScalar T>
void make_real(T& element, T& phase) {
  element *= phase;
  const Real<T> length = magnitude(element);
  phase = length != 0 ? element / length : T(1);
  element = length;
}

/// Takes d and e from a band that is tridiagonal by now.
template <Scalar T>
void take_tridiagonal(const BandHalf<T>& L, Int n, Int kd, const Accumulated<T>& accumulated, Real<T>* d, Real<T>* e) {
  [[maybe_unused]] T phase(1);
  for (Int i = 1; i <= n; ++i) {
    L(i, i) = d[i - 1] = std::real(L(i, i));
    if (i == n) return;
    e[i - 1] = 0;
    if (kd == 0) continue;
    if constexpr (ComplexScalar<T>) {
      make_real(L(i + 1, i), phase);
      if (accumulated.wanted) blas::scal(n, accumulated.as_in_q(phase), column(accumulated.Q, 1, i + 1));
    }
    e[i - 1] = std::real(L(i + 1, i));
  }
}

}  // namespace

template <Scalar T>
void sbtrd(char vect, char uplo, Int n, Int kd, T* ab, Int ldab, Real<T>* d, Real<T>* e, T* q, Int ldq, T* work,
           Int& info) {
  const bool with_q = !same_letter(vect, 'N');
  info = 0;
  if (!is_one_of(vect, 'N', 'V', 'U')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (kd < 0) info = -4;
  else if (ldab <= kd) info = -6;
  else if (with_q && ldq < std::max(1, n)) info = -10;
  if (info != 0) return report_bad_argument(name_of<T>("SBTRD", "HBTRD"), info);
  if (n == 0) return;

  const bool upper = same_letter(uplo, 'U'), from_identity = same_letter(vect, 'V');
  if (from_identity) laset('F', n, n, T(0), T(1), q, ldq);
  const auto L = BandHalf<T>::of(upper, kd, ab, ldab);
  const Accumulated<T> accumulated{{q, ldq}, with_q, from_identity, upper};
  const Int diagonals = std::min(kd, n - 1);
  if (diagonals >= 2) ChasedReduction<T>(L, n, diagonals, accumulated, d, work).run();
  take_tridiagonal(L, n, diagonals, accumulated, d, e);
}

}  // namespace nuv

#include "symmetric/band_reduction.entries.inc"
