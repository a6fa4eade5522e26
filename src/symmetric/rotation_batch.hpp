#pragma once

// The rotations of an iteration on their way to the eigenvectors.

#include <nuv/nuv_services.h>

#include <cstdint>
#include <cstdlib>
#include <limits>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "layer.hpp"
#include "svd/plane_rotations.hpp"
#include "svd/sweep_table.hpp"

namespace nuv {

/// Sweeps of rotations of neighbouring columns of the n by n matrix Z, n >= 2, collected in a table and applied when a
/// batch of them is complete, or at once where there is no table.
template <Scalar T>
class RotationBatch {
  using R = Real<T>;

 public:
  /// work   2 n - 2 elements for one sweep, if rotations are wanted
  RotationBatch(bool wanted, Int n, Matrix<T> Z, R* work)
      : wanted_(wanted),
        n_(n),
        nb_(batch_size(n)),
        Z_(Z),
        work_(work),
        memory_(allocate()),
        table_(memory_, n - 1, nb_) {}
  ~RotationBatch() { std::free(memory_); }
  RotationBatch(const RotationBatch&) = delete;
  RotationBatch& operator=(const RotationBatch&) = delete;

  bool is_wanted() const { return wanted_; }
  Int leading_dimension() const { return n_ - 1; }

  /// Begins a run of sweeps in rising (direct 'F') or falling ('B') order of planes.
  void begin(char direct) {
    direct_ = direct;
    table_.clear();
  }

  /// Where the next sweep has to store its rotations: the cosine of the plane (first, first + 1), the others behind it,
  /// the sines a leading dimension behind the cosines. Null if nobody wants them.
  R* place(Int first) const {
    if (!wanted_) return nullptr;
    return table_.exists() ? table_.next(first) : work_ + (first - 1);
  }

  /// Takes the rotations of the planes first to end - 1 from there.
  void add(Int first, Int end) {
    if (!wanted_) return;
    if (!table_.exists()) return apply_at_once(first, end - first + 1);
    table_.add(first, end);
    if (table_.is_full()) apply();
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
    if (table_.is_empty()) return;
    Int info = 0;
    layer::lasr3('R', 'V', direct_, reals * n_, table_.lines(), table_.sweeps(), table_.rotations(),
                 Matrix<R>{reinterpret_cast<R*>(Z_.at(1, table_.first())), reals * Z_.ld},
                 memory_ + 2 * std::ptrdiff_t{nb_} * (n_ - 1), static_cast<Int>(work_of_batch()), info);
    table_.clear();
  }

 private:
  /// Real numbers in an element of Z: to rotations a complex column is a real one, twice as long.
  static constexpr Int reals = ComplexScalar<T> ? 2 : 1;
  static constexpr Int largest_int = std::numeric_limits<Int>::max();

  static Int batch_size(Int n) {
    const Int rows = n <= largest_int / reals ? reals * n : largest_int;
    return Tuning<T>{RoutineName<T>("STEQR"), " ", rows, nuv_serv_nuv_get_max_threads()}.block_size();
  }

  std::int64_t work_of_batch() const { return std::int64_t{nb_} * (std::int64_t{reals} * n_ + 4 * nb_); }

  /// The table, and behind it the work memory of a batch.
  R* allocate() const {
    const std::int64_t count = nb_ * ((2 + reals) * std::int64_t{n_} + 4 * nb_);
    const bool has_size = count <= std::int64_t{PTRDIFF_MAX / sizeof(R)};
    const bool has_dimension = Z_.ld <= largest_int / reals;
    return has_size && has_dimension ? static_cast<R*>(std::malloc(static_cast<std::size_t>(count) * sizeof(R)))
                                     : nullptr;
  }

  void apply_at_once(Int first, Int count) const {
    lasr('R', 'V', direct_, n_, count, work_ + (first - 1), work_ + (n_ - 1) + (first - 1), Z_.at(1, first), Z_.ld);
  }

  bool wanted_;
  Int n_, nb_;
  Matrix<T> Z_;
  R* work_;
  R* memory_;
  SweepTable<R> table_;
  char direct_ = 'F';
};

}  // namespace nuv
