#pragma once

// The rotations of an iteration on their way to the eigenvectors.

#include <nuv/nuv_services.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "layer.hpp"
#include "svd/plane_rotations.hpp"

namespace nuv {

/// Sweeps of rotations of neighbouring columns of the n by n matrix Z, n >= 2, collected in a table and applied when a
/// batch of them is complete, or at once where there is no table.
///
/// A batch covers all planes that any of its sweeps turns; where a sweep turns fewer, it is made up by identities. Here
/// it covers planes 2 to 6 of 7, a sweep in each line:
///
///     sweep 1   . c c c c c .
///           2   . 1 c c c c .
///           3   . 1 c c 1 1 .
template <Scalar T>
class RotationBatch {
  using R = Real<T>;

 public:
  /// work   2 n - 2 elements for one sweep, if rotations are wanted
  RotationBatch(bool wanted, Int n, Matrix<T> Z, R* work)
      : wanted_(wanted), n_(n), nb_(batch_size(n)), Z_(Z), work_(work), table_(allocate()) {}
  ~RotationBatch() { std::free(table_); }
  RotationBatch(const RotationBatch&) = delete;
  RotationBatch& operator=(const RotationBatch&) = delete;

  bool is_wanted() const { return wanted_; }
  Int leading_dimension() const { return n_ - 1; }

  /// Begins a run of sweeps in rising (direct 'F') or falling ('B') order of planes.
  void begin(char direct) {
    direct_ = direct;
    clear();
  }

  /// Where the next sweep has to store its rotations: the cosine of the plane (first, first + 1), the others behind it,
  /// the sines a leading dimension behind the cosines. Null if nobody wants them.
  R* place(Int first) const {
    if (!wanted_) return nullptr;
    return has_table() ? cosine(first, count_ + 1) : work_ + (first - 1);
  }

  /// Takes the rotations of the planes first to end - 1 from there.
  void add(Int first, Int end) {
    if (!wanted_) return;
    if (!has_table()) return apply_at_once(first, end - first + 1);
    ++count_;
    pad(first, end);
    if (count_ == nb_) apply();
  }

  /// Turns the plane (first, first + 1) now, after all that was added before.
  void add_single(Int first, R c, R s) {
    apply();
    work_[first - 1] = c;
    work_[n_ - 1 + first - 1] = s;
    apply_at_once(first, 2);
  }

  /// Applies what is in the table, if there is anything.
  void apply() {
    if (count_ == 0) return;
    Int info = 0;
    layer::lasr3('R', 'V', direct_, reals * n_, high_ - low_ + 1, count_, Matrix<const R>{cosine(low_, 1), n_ - 1},
                 Matrix<R>{reinterpret_cast<R*>(Z_.at(1, low_)), reals * Z_.ld}, table_ + 2 * columns() * (n_ - 1),
                 static_cast<Int>(work_of_batch()), info);
    clear();
  }

 private:
  /// Real numbers in an element of Z: to rotations a complex column is a real one, twice as long.
  static constexpr Int reals = ComplexScalar<T> ? 2 : 1;
  static constexpr Int largest_int = std::numeric_limits<Int>::max();

  static Int batch_size(Int n) {
    const Int rows = n <= largest_int / reals ? reals * n : largest_int;
    return Tuning<T>{RoutineName<T>("STEQR"), " ", rows, nuv_serv_nuv_get_max_threads()}.block_size();
  }

  std::ptrdiff_t columns() const { return nb_; }
  std::int64_t work_of_batch() const { return std::int64_t{nb_} * (std::int64_t{reals} * n_ + 4 * nb_); }

  /// The table, and behind it the work memory of a batch.
  R* allocate() const {
    const std::int64_t count = nb_ * ((2 + reals) * std::int64_t{n_} + 4 * nb_);
    const bool has_size = count <= std::int64_t{PTRDIFF_MAX / sizeof(R)};
    const bool has_dimension = Z_.ld <= largest_int / reals;
    return has_size && has_dimension ? static_cast<R*>(std::malloc(static_cast<std::size_t>(count) * sizeof(R)))
                                     : nullptr;
  }

  bool has_table() const { return table_ != nullptr; }

  R* cosine(Int row, Int sweep) const { return table_ + (row - 1) + 2 * (std::ptrdiff_t{sweep} - 1) * (n_ - 1); }

  void clear() {
    count_ = 0;
    low_ = n_;
    high_ = 1;
  }

  /// Makes the last sweep, of the planes first to end - 1, and all before it cover the same planes.
  void pad(Int first, Int end) {
    set_identities(count_, count_, low_, first);
    set_identities(1, count_ - 1, first, low_);
    low_ = std::min(first, low_);
    set_identities(count_, count_, end, high_);
    set_identities(1, count_ - 1, high_, end);
    high_ = std::max(end, high_);
  }

  /// In sweeps from_sweep to to_sweep, rows first to end - 1.
  void set_identities(Int from_sweep, Int to_sweep, Int first, Int end) const {
    if (first >= end) return;
    for (Int sweep = from_sweep; sweep <= to_sweep; ++sweep) {
      R* const c = cosine(first, sweep);
      std::fill_n(c, end - first, R(1));
      std::fill_n(c + (n_ - 1), end - first, R(0));
    }
  }

  void apply_at_once(Int first, Int count) const {
    lasr('R', 'V', direct_, n_, count, work_ + (first - 1), work_ + (n_ - 1) + (first - 1), Z_.at(1, first), Z_.ld);
  }

  bool wanted_;
  Int n_, nb_;
  Matrix<T> Z_;
  R* work_;
  R* table_;
  char direct_ = 'F';
  Int count_ = 0;           ///< sweeps in the table
  Int low_ = 0, high_ = 0;  ///< the first plane that any of them turns, and the one behind the last
};

}  // namespace nuv
