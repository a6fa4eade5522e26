#include "svd/band_to_bidiagonal.hpp"

#include <algorithm>
#include <utility>

#include "environment/magnitudes.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "svd/band_lines.hpp"

namespace nuv {
namespace {

/// The arguments of the reduction.
template <Scalar T>
struct BandProblem {
  char vect;
  Int m, n, ncc, kl, ku;
  T* ab;
  Int ldab;
  Matrix<T> Q, PT, C;

  bool with_q() const { return is_one_of(vect, 'Q', 'B'); }
  bool with_pt() const { return is_one_of(vect, 'P', 'B'); }

  /// 0, or minus the position of the first bad argument.
  Int check() const {
    if (!is_one_of(vect, 'N', 'Q', 'P', 'B')) return -1;
    if (m < 0) return -2;
    if (n < 0) return -3;
    if (ncc < 0) return -4;
    if (kl < 0) return -5;
    if (ku < 0) return -6;
    if (ldab < std::int64_t{kl} + ku + 1) return -8;
    if (Q.ld < std::max(1, with_q() ? m : 1)) return -12;
    if (PT.ld < std::max(1, with_pt() ? n : 1)) return -14;
    if (C.ld < std::max(1, ncc > 0 ? m : 1)) return -16;
    return 0;
  }
};

/// In column i the elements from (i + below, i) up to the one below the diagonal are annihilated by rotations of rows,
/// and in row i those from (i, i + above) to the one behind the neighbour of the diagonal by rotations of columns. Each
/// is the start of a chase: the element that it brings into being on the other side of the band is annihilated in the
/// same step, and what comes of that, `below + above` rows further down, in the next one. All that are on their way go
/// on together with the one that starts:
///
///     step k of column i     rows (p - 1, p)      p = i + below - k                       starts, if k < below
///                                                 p = i + below - k + l (below + above + 1)  has been on its way
///                            columns (q - 1, q)   q = p + above, of these; the first starts if k >= below
///
/// In the last of the below + above steps of a column nothing starts, so that the distance to the first of the next
/// column is the same. A band without diagonals above the main one keeps one below it.
template <Scalar T>
class ChasedBidiagonalisation {
 public:
  ChasedBidiagonalisation(const LineRotations<T>& rows, const LineRotations<T>& columns)
      : rows_(rows), columns_(columns), below_(rows.lines().below), above_(rows.lines().above) {}

  void run(Int steps) const {
    for (Int i = 1; i <= steps; ++i) {
      for (Int k = 0; k < below_ + above_; ++k) go_one_step(i, k);
    }
  }

 private:
  bool starts(Int k) const { return k < below_ + above_ - 1; }

  /// The rotations of rows that are on their way. Each step but one for each column has started one; the first of them
  /// may have reached the end.
  LineWave on_their_way(Int i, Int k) const {
    const Int p = i + below_ - k;
    const std::int64_t started = std::int64_t{i - 1} * (below_ + above_ - 1) + k;
    const Int places = std::max(0, rows_.lines().lines - p) / rows_.spacing();
    return {p + rows_.spacing(), static_cast<Int>(std::min<std::int64_t>(started, places))};
  }

  void go_one_step(Int i, Int k) const {
    LineWave wave = on_their_way(i, k);
    rows_.annihilate_outside(wave);
    if (starts(k) && k < below_) start(rows_, i, wave);
    rows_.rotate_companions(wave);

    wave = rows_.leave_band(wave);
    columns_.annihilate_outside(wave);
    if (starts(k) && k >= below_) start(columns_, i, wave);
    columns_.rotate_companions(wave);
    columns_.leave_band(wave);
  }

  /// Begins line i's rotation in front of a wave, if there is a line for it.
  static void start(const LineRotations<T>& side, Int i, LineWave& wave) {
    const Int p = wave.first - side.spacing();
    if (p > side.lines().lines) return;
    side.start(p, i);
    wave = {p, wave.count + 1};
  }

  const LineRotations<T>&rows_, &columns_;
  Int below_, above_;
};

/// A bidiagonal matrix in the band: the diagonal, and what is right of it, which has its place below the diagonal if
/// there is none above.
template <Scalar T>
class BidiagonalBand {
  using R = Real<T>;

 public:
  BidiagonalBand(const LineRotations<T>& rows, const LineRotations<T>& columns) : rows_(rows), columns_(columns) {}

  /// Turns the lower bidiagonal form that is left of a band without diagonals above the main one into the upper one.
  void lift(Int m, Int n) const {
    for (Int i = 1; i <= std::min(m - 1, n); ++i) {
      const LineWave one{i + 1, 1};
      rows_.start(i + 1, i);
      rows_.rotate_companions(one);
      if (rows_.leave_band(one).count > 0) beside(i) = rows_.sine(i + 1);
    }
  }

  /// Annihilates element (m, m + 1) and what comes of it in that column, from the last row to the first.
  void drop_last_column(Int m, const Companions<T>& pt) const {
    T excess = std::exchange(beside(m), T(0));
    for (Int i = m; i >= 1; --i) {
      R c;
      largv(1, &diagonal(i), 1, &excess, 1, &c, 1);
      const T s = excess;
      pt.rotate(i, m + 1, c, s);
      if (i == 1) return;
      excess = negated(conjugate(s) * beside(i - 1));
      beside(i - 1) *= c;
    }
  }

  /// Takes d and e, which phases make real.
  void take(Int count, bool is_diagonal, R* d, R* e) const {
    T before(1);
    for (Int i = 1; i <= count; ++i) {
      d[i - 1] = real_part_of(diagonal(i), before, [&](T phase) { rows_.turn_companions(i, phase); });
      if (i == count) return;
      if (is_diagonal) {
        e[i - 1] = 0;
        before = T(1);
      } else {
        e[i - 1] = real_part_of(beside(i), before, [&](T phase) { columns_.turn_companions(i + 1, phase); });
      }
    }
  }

 private:
  T& diagonal(Int i) const { return *rows_.lines().at(i, i); }
  T& beside(Int i) const { return rows_.lines().above > 0 ? *rows_.lines().at(i, i + 1) : *rows_.lines().at(i + 1, i); }

  /// An element as the phase of the element before has turned it, and without its own, by which it is turned in the
  /// other direction, and those after it.
  template <class Turn>
  static R real_part_of(T element, T& before, Turn turn) {
    if constexpr (RealScalar<T>) {
      return element;
    } else {
      element *= conjugate(before);
      const R length = magnitude(element);
      before = length != 0 ? element / length : T(1);
      turn(before);
      return length;
    }
  }

  const LineRotations<T>&rows_, &columns_;
};

template <Scalar T>
void reduce(const BandProblem<T>& problem, Real<T>* d, Real<T>* e, T* s, Real<T>* c, Int& info) {
  info = problem.check();
  if (info != 0) return report_bad_argument<T>("GBBRD", info);
  const auto [vect, m, n, ncc, kl, ku, ab, ldab, Q, PT, C] = problem;
  if (problem.with_q()) laset('F', m, m, T(0), T(1), Q.data, Q.ld);
  if (problem.with_pt()) laset('F', n, n, T(0), T(1), PT.data, PT.ld);
  if (m == 0 || n == 0) return;

  const Int below = std::min(kl, m - 1), above = std::min(ku, n - 1), count = std::min(m, n);
  // What lies beyond these has no element in the band.
  const Int rows_in_band = n > m - below ? m : n + below, columns_in_band = m > n - above ? n : m + above;
  const Companions<T> q{Q.data, Q.ld, 1, problem.with_q() ? m : 0, true};
  const Companions<T> to_c{C.data, 1, C.ld, ncc, false};
  const Companions<T> pt{PT.data, 1, PT.ld, problem.with_pt() ? n : 0, true};
  const LineRotations<T> rows({ab + ku, 1, ldab - 1, rows_in_band, columns_in_band, below, above}, c, s, {q, to_c});
  const LineRotations<T> columns({ab + ku, ldab - 1, 1, columns_in_band, rows_in_band, above, below}, c, s, {pt});

  if (below + above > 1) ChasedBidiagonalisation<T>(rows, columns).run(count);
  const BidiagonalBand<T> B(rows, columns);
  if (above == 0 && below > 0) B.lift(m, n);
  if (above > 0 && m < n) B.drop_last_column(m, pt);
  B.take(count, below + above == 0, d, e);
}

}  // namespace

template <RealScalar T>
void gbbrd(char vect, Int m, Int n, Int ncc, Int kl, Int ku, T* ab, Int ldab, T* d, T* e, T* q, Int ldq, T* pt,
           Int ldpt, T* c, Int ldc, T* work, Int& info) {
  T* const cosines = work + std::max({m, n, 0});
  reduce<T>({vect, m, n, ncc, kl, ku, ab, ldab, {q, ldq}, {pt, ldpt}, {c, ldc}}, d, e, work, cosines, info);
}

template <ComplexScalar T>
void gbbrd(char vect, Int m, Int n, Int ncc, Int kl, Int ku, T* ab, Int ldab, Real<T>* d, Real<T>* e, T* q, Int ldq,
           T* pt, Int ldpt, T* c, Int ldc, T* work, Real<T>* rwork, Int& info) {
  reduce<T>({vect, m, n, ncc, kl, ku, ab, ldab, {q, ldq}, {pt, ldpt}, {c, ldc}}, d, e, work, rwork, info);
}

}  // namespace nuv

#include "svd/band_to_bidiagonal.entries.inc"
