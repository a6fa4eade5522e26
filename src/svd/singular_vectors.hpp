#pragma once

// The rotations of the bidiagonal QR iteration on their way to the vectors.

#include <nuv/nuv_services.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/block_plan.hpp"
#include "layer.hpp"
#include "svd/plane_rotations.hpp"
#include "svd/sweep_table.hpp"
#include "svd/transposition.hpp"

namespace nuv {

/// A matrix whose lines, which are its rows or its columns, are rotated.
template <Scalar T>
struct RotatedLines {
  using R = Real<T>;

  /// Real numbers in an element: to rotations a complex column is a real one, twice as long.
  static constexpr Int reals = ComplexScalar<T> ? 2 : 1;

  Matrix<T> M;
  Int length;  ///< of a line; where it is not positive, nobody wants this matrix
  bool are_rows;

  bool are_wanted() const { return length > 0; }

  /// Whether sweeps can be applied together: those of complex rows are not those of a real matrix.
  bool go_together() const { return are_wanted() && (!ComplexScalar<T> || !are_rows); }

  Vector<T> line(Int i) const { return are_rows ? row(M, i, 1) : column(M, 1, i); }

  void rotate(Int i, Int j, R c, R s) const {
    if (are_wanted()) blas::rot(length, line(i), line(j), c, s);
  }
  void exchange(Int i, Int j) const {
    if (are_wanted()) blas::swap(length, line(i), line(j));
  }
  void negate(Int i) const {
    if (are_wanted()) blas::scal(length, R(-1), line(i));
  }

  /// Applies one sweep to `count` lines.
  void apply(char direct, Int first, Int count, const R* c, const R* s) const {
    if (!are_wanted()) return;
    if (are_rows) {
      lasr('L', 'V', direct, count, length, c, s, M.at(first, 1), M.ld);
    } else {
      lasr('R', 'V', direct, length, count, c, s, M.at(1, first), M.ld);
    }
  }

  /// Applies sweeps that go together.
  void apply(char direct, Int first, Int count, Int sweeps, Matrix<const R> rotations, R* work, Int lwork) const {
    Int ignored = 0;
    if (are_rows) {
      layer::lasr3('L', 'V', direct, count, length, sweeps, rotations, as_real(M.at(first, 1)), work, lwork, ignored);
    } else {
      layer::lasr3('R', 'V', direct, reals * length, count, sweeps, rotations, as_real(M.at(1, first)), work, lwork,
                   ignored);
    }
  }

 private:
  Matrix<R> as_real(T* from) const { return {reinterpret_cast<R*>(from), reals * M.ld}; }
};

/// VT, U and C of a bidiagonal matrix of order n >= 2. Square VT and C stand transposed while an instance lives, so
/// that it is columns that are rotated.
template <Scalar T>
class SingularVectors {
  using R = Real<T>;

 public:
  /// work   4 n - 4 elements for one sweep
  SingularVectors(Int n, RotatedLines<T> vt, RotatedLines<T> u, RotatedLines<T> c, R* work)
      : n_(n),
        nb_(batch_size(n)),
        vt_(vt),
        u_(u),
        c_(c),
        work_(work),
        memory_(allocate()),
        table_(memory_, n - 1, nb_) {
    turn(vt_);
    turn(c_);
  }
  ~SingularVectors() {
    std::free(memory_);
    turn(vt_);
    turn(c_);
  }
  SingularVectors(const SingularVectors&) = delete;
  SingularVectors& operator=(const SingularVectors&) = delete;

  /// Begins a run of sweeps in rising (direct 'F') or falling ('B') order of planes, after those before are applied.
  void begin(char direct) {
    apply();
    direct_ = direct;
  }

  // Where the next sweep has to store its rotations, those of the first of its two kinds, for laq1 ... laq4. The first
  // are those of the right vectors in sweeps from top to bottom, and of the left ones in the others.
  R* place(Int first) const {
    if (!table_.exists()) return work_;
    return table_.next(first, rises() ? of_right : of_left);
  }
  Int leading_dimension() const { return n_ - 1; }
  Int distance_of_kinds() const {
    if (!table_.exists()) return 1;
    return rises() ? -nb_ : nb_;
  }

  /// Takes the rotations of the planes first to last - 1 from there.
  void add(Int first, Int last) {
    const Int count = last - first + 1;
    if (!table_.exists()) {
      const R *const right = work_ + (rises() ? 0 : 2 * (n_ - 1)), *const left = work_ + (rises() ? 2 * (n_ - 1) : 0);
      apply_at_once(vt_, first, count, right);
      apply_at_once(u_, first, count, left);
      apply_at_once(c_, first, count, left);
      return;
    }
    if (!vt_.go_together()) apply_at_once(vt_, first, count, table_.next(first, of_right));
    if (!c_.go_together()) apply_at_once(c_, first, count, table_.next(first, of_left));
    table_.add(first, last);
    if (table_.is_full()) apply();
  }

  /// Turns the plane (i, i + 1) now, after all that was added before.
  void add_single(Int i, R cos_right, R sin_right, R cos_left, R sin_left) {
    apply();
    vt_.rotate(i, i + 1, cos_right, sin_right);
    u_.rotate(i, i + 1, cos_left, sin_left);
    c_.rotate(i, i + 1, cos_left, sin_left);
  }

  /// Applies what is in the table.
  void apply() {
    if (table_.is_empty()) return;
    apply_table(vt_, of_right);
    apply_table(u_, of_left);
    apply_table(c_, of_left);
    table_.clear();
  }

  void negate_right(Int i) const { vt_.negate(i); }
  void exchange(Int i, Int j) const {
    for (const RotatedLines<T>& lines : {vt_, u_, c_}) lines.exchange(i, j);
  }

 private:
  enum { of_left = 0, of_right = 1 };
  static constexpr Int reals = RotatedLines<T>::reals;
  static constexpr Int largest_int = std::numeric_limits<Int>::max();

  bool rises() const { return direct_ == 'F'; }

  static Int batch_size(Int n) {
    const Int order = n <= largest_int / reals ? reals * n : largest_int;
    return Tuning<T>{RoutineName<T>("BDSQR"), " ", order, nuv_serv_nuv_get_max_threads()}.block_size();
  }

  /// The tables, and behind them the work memory of a batch.
  R* allocate() const {
    const std::int64_t longest = std::max({vt_.length, u_.length, c_.length, 0});
    const std::int64_t count = (reals * longest + 4 * (std::int64_t{n_} + nb_)) * nb_;
    const Int largest_ld = std::max({vt_.M.ld, u_.M.ld, c_.M.ld});
    if (count > std::int64_t{PTRDIFF_MAX / sizeof(R)} || largest_ld > largest_int / reals) return nullptr;
    return static_cast<R*>(std::malloc(static_cast<std::size_t>(count) * sizeof(R)));
  }

  void turn(RotatedLines<T>& lines) const {
    const bool is_square = &lines != &u_ && lines.length == n_;
    if (!is_square) return;
    latsp('T', n_, n_, lines.M.data, lines.M.ld, lines.M.data, lines.M.ld);
    lines.are_rows = !lines.are_rows;
  }

  void apply_at_once(const RotatedLines<T>& lines, Int first, Int count, const R* rotations) const {
    lines.apply(direct_, first, count, rotations, rotations + (n_ - 1));
  }

  void apply_table(const RotatedLines<T>& lines, int table) const {
    if (!lines.go_together()) return;
    R* const work = memory_ + 4 * std::ptrdiff_t{n_} * nb_;
    const std::int64_t lwork = (reals * std::int64_t{n_} + 4 * nb_) * nb_;
    lines.apply(direct_, table_.first(), table_.lines(), table_.sweeps(), table_.rotations(table), work,
                static_cast<Int>(lwork));
  }

  Int n_, nb_;
  RotatedLines<T> vt_, u_, c_;
  R* work_;
  R* memory_;
  SweepTable<R, 2> table_;
  char direct_ = 'F';
};

}  // namespace nuv
