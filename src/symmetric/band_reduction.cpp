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

namespace nuv {
namespace {

/// The lower half of the Hermitian matrix L that is reduced: of A where the lower triangle is stored, of A^T, which is
/// conj(A), where the upper one is.
template <Scalar T>
struct BandHalf {
  T* first;    ///< element (1, 1)
  Int down;    ///< from an element to the one below it
  Int across;  ///< and to the one on its right

  BandHalf(bool upper, Int kd, T* ab, Int ldab)
      : first(upper ? ab + kd : ab), down(upper ? ldab - 1 : 1), across(upper ? 1 : ldab - 1) {}

  /// Address of element (i, j), j <= i <= j + kd.
  T* at(Int i, Int j) const { return first + (i - std::ptrdiff_t{1}) * down + (j - std::ptrdiff_t{1}) * across; }
  T& operator()(Int i, Int j) const { return *at(i, j); }

  /// The row from element (i, j) on, and the column.
  Vector<T> row(Int i, Int j) const { return {at(i, j), across}; }
  Vector<T> column(Int i, Int j) const { return {at(i, j), down}; }
};

/// The matrix to which the rotations are applied from the right.
template <Scalar T>
struct Accumulated {
  Matrix<T> Q;
  bool wanted;
  bool from_identity;  ///< Q starts as the identity: most of it is zero for long
  bool conjugated;     ///< L is conj(A)

  T as_in_q(T x) const { return conjugated ? conjugate(x) : x; }
};

/// Rotations that have nothing in common: those of planes (p - 1, p) for p = first, first + kd + 1, ...
struct Wave {
  Int first, count;
};

/// In column i the elements (i + k, i), k = kd ... 2, are annihilated by rotations of planes (i + k - 1, i + k). Each
/// brings a new element into being outside of the band, kd rows further down, whose annihilation brings the next, until
/// it is chased off the end. All that are on their way go one step at a time, together with the one that starts:
///
///     step k of column i     planes (p - 1, p)     p = i + k                   starts, unless k = 1
///                                                  p = i + k + l (kd + 1)      has been on its way, l = 1, 2, ...
///
/// With k = 1 nothing starts, so that the distance to the first of the next column is the same.
///
/// Before it is annihilated an element (p, p - kd - 1) outside of the band is kept with the sine that is to come of it,
/// s(p).
template <Scalar T>
class ChasedReduction {
  using R = Real<T>;

 public:
  /// kd     2 <= kd < n
  /// c, s   n elements of workspace, for the cosine and the sine of the rotation of plane (p - 1, p)
  ChasedReduction(const BandHalf<T>& L, Int n, Int kd, const Accumulated<T>& accumulated, R* c, T* s)
      : L_(L), n_(n), kd_(kd), accumulated_(accumulated), c_(c), s_(s) {}

  void run() const {
    for (Int i = 1; i <= n_ - 2; ++i) {
      for (Int k = std::min(kd_, n_ - i); k >= 1; --k) go_one_step(i, k);
    }
  }

 private:
  /// Distance between two rotations of a wave.
  Int spacing() const { return kd_ + 1; }

  /// The same in memory.
  std::ptrdiff_t stride() const { return std::ptrdiff_t{spacing()} * (std::ptrdiff_t{L_.down} + L_.across); }

  R* cosine(Int p) const { return c_ + (p - 1); }
  T* sine(Int p) const { return s_ + (p - 1); }
  Vector<T> sines(Int p) const { return {sine(p), spacing()}; }

  /// The rotations that are on their way. Each step but one of those before, for each column, has started one; the
  /// first of them may have reached the end.
  Wave on_their_way(Int i, Int k) const {
    const std::int64_t started = std::int64_t{i - 1} * (kd_ - 1) + (kd_ - k);
    const Int place_for = (n_ - i - k) / spacing();
    return {i + k + spacing(), static_cast<Int>(std::min<std::int64_t>(started, place_for))};
  }

  void go_one_step(Int i, Int k) const {
    const Wave chased = on_their_way(i, k);
    const bool starts = k >= 2;
    if (starts) start(i, k);
    if (stride() <= std::numeric_limits<Int>::max()) {
      go_on(chased);
      finish(i, k, starts ? Wave{i + k, chased.count + 1} : chased);
    } else {
      // Kernels can't step so far.
      if (starts) finish(i, k, {i + k, 1});
      for_each(chased, [&](Int p) {
        go_on({p, 1});
        finish(i, k, {p, 1});
      });
    }
  }

  template <class Visit>
  void for_each(const Wave& wave, Visit visit) const {
    for (Int l = 0; l < wave.count; ++l) visit(wave.first + l * spacing());
  }

  /// Whether a wave is longer than what each of its rotations has to do, so that the rotations are better taken
  /// together than one by one.
  bool is_long(const Wave& wave) const { return wave.count > kd_; }

  /// lartv on pairs that begin with the elements (i, j) and (k, l), for the first `count` rotations of a wave.
  void rotate_pairs(const Wave& wave, Int count, Int i, Int j, Int k, Int l) const {
    const auto step = static_cast<Int>(stride());
    blas::lartv(count, {L_.at(i, j), step}, {L_.at(k, l), step}, cosine(wave.first), sine(wave.first), spacing());
  }

  /// Annihilates element (i + k, i), and rotates its row and the one above up to the diagonal.
  void start(Int i, Int k) const {
    const Int p = i + k;
    *sine(p) = std::exchange(L_(p, i), T(0));
    largv(1, L_.at(p - 1, i), 1, sine(p), 1, cosine(p), 1);
    blas::rot(k - 2, L_.row(p - 1, i + 1), L_.row(p, i + 1), *cosine(p), *sine(p));
  }

  /// Annihilates the elements outside of the band, and rotates their rows and those above up to the diagonal.
  void go_on(const Wave& wave) const {
    if (wave.count <= 0) return;
    const Int first = wave.first;
    largv(wave.count, L_.at(first - 1, first - kd_ - 1), static_cast<Int>(stride()), sine(first), spacing(),
          cosine(first), spacing());
    if (is_long(wave)) {
      for (Int j = first - kd_; j <= first - 2; ++j) rotate_pairs(wave, wave.count, first - 1, j, first, j);
    } else {
      for_each(wave,
               [&](Int p) { blas::rot(kd_ - 1, L_.row(p - 1, p - kd_), L_.row(p, p - kd_), *cosine(p), *sine(p)); });
    }
  }

  /// Rotates what there is of the planes themselves and below them, and the accumulated matrix. From the right it is
  /// the adjoints of the rotations that are applied.
  void finish(Int i, Int k, const Wave& wave) const {
    if (wave.count <= 0) return;
    const Int first = wave.first;
    lar2v(wave.count, L_.at(first - 1, first - 1), L_.at(first, first), L_.at(first, first - 1),
          static_cast<Int>(stride()), cosine(first), sine(first), spacing());
    conjugate_vector(wave.count, sines(first));
    if (is_long(wave)) {
      const Int last = first + (wave.count - 1) * spacing();
      for (Int j = 1; j <= kd_ - 1; ++j) {
        rotate_pairs(wave, last + j <= n_ ? wave.count : wave.count - 1, first + j, first - 1, first + j, first);
      }
    } else {
      for_each(wave, [&](Int p) {
        blas::rot(std::min(kd_ - 1, n_ - p), L_.column(p + 1, p - 1), L_.column(p + 1, p), *cosine(p), *sine(p));
      });
    }
    for_each(wave, [&](Int p) {
      if (p + kd_ <= n_) leave_band(p);
      if (accumulated_.wanted) accumulate(i, k, p);
    });
  }

  /// Element (p + kd, p - 1), so far zero, comes into being.
  void leave_band(Int p) const {
    T& beside = L_(p + kd_, p);
    *sine(p + kd_) = *sine(p) * beside;
    beside *= *cosine(p);
  }

  void accumulate(Int i, Int k, Int p) const {
    const auto [top, bottom] = accumulated_.from_identity ? reached_rows(i, k, p) : std::pair<Int, Int>{1, n_};
    blas::rot(bottom - top + 1, column(accumulated_.Q, top, p - 1), column(accumulated_.Q, top, p), *cosine(p),
              accumulated_.as_in_q(*sine(p)));
  }

  /// The rows in which columns p - 1 and p of a Q that started as the identity may hold something.
  ///
  /// A rotation that has gone m steps since its start in column j turns columns j + 1 + m kd ... j + (m + 1) kd among
  /// themselves. Those of column 1 turn blocks of kd columns of the identity; each column after it adds to each block
  /// one from the block behind it. So the rows reach from the first of block m to the last of block m + j - 1.
  std::pair<Int, Int> reached_rows(Int i, Int k, Int p) const {
    const std::int64_t ahead = (p - i - k) / spacing();
    const std::int64_t steps = ahead == 0 ? 0 : ahead + (ahead + k - 2) / (kd_ - 1);
    return {static_cast<Int>(2 + steps * kd_), static_cast<Int>(std::min<std::int64_t>(n_, 1 + (i + ahead) * kd_))};
  }

  BandHalf<T> L_;
  Int n_, kd_;
  Accumulated<T> accumulated_;
  R* c_;
  T* s_;
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
  const BandHalf<T> L(upper, kd, ab, ldab);
  const Accumulated<T> accumulated{{q, ldq}, with_q, from_identity, upper};
  const Int diagonals = std::min(kd, n - 1);
  if (diagonals >= 2) ChasedReduction<T>(L, n, diagonals, accumulated, d, work).run();
  take_tridiagonal(L, n, diagonals, accumulated, d, e);
}

}  // namespace nuv

#include "symmetric/band_reduction.entries.inc"
