#pragma once

// Workspaces of the singular value decomposition by divide and conquer.

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "svd/long_side.hpp"

namespace nuv {

/// What is wanted of the vectors.
enum class DividedJob { values, overwriting, thin, full };

template <Scalar T>
struct DividedWorkSizes {
  LongSide<T> side;
  DividedJob job;
  bool by_factor;

  std::int64_t least() const {
    if (by_factor) {
      if (job == DividedJob::values) return ComplexScalar<T> ? 3 * k() : k() + division();
      return blocks() * k() * k() + std::max(vectors() + std::max(division(), k()), k() + count());
    }
    const std::int64_t own = job == DividedJob::overwriting ? k() * k() + std::max(division(), k()) : division();
    return vectors() + std::max<std::int64_t>(side.longer, own);
  }

  std::int64_t best() const {
    const Int m = by_factor ? side.shorter : side.rows(side.shorter),
              n = by_factor ? side.shorter : side.columns(side.shorter);
    std::int64_t most =
        vectors() + std::max((std::int64_t{m} + n) * width(name("GEBRD", "GEBRD"), " ", m, n, -1), division());
    if (by_factor) {
      const Int rows = side.rows(side.shorter), columns = side.columns(side.shorter);
      most = std::max(most, k() + k() * width(side.is_left ? name("GEQRF", "GEQRF") : name("GELQF", "GELQF"), " ", rows,
                                              columns, -1));
    }
    if (job != DividedJob::values) most = std::max(most, of_vectors(m, n));
    const std::int64_t direct_block = job == DividedJob::overwriting ? side.longer * k() : 0;
    return std::max(least(), most + (by_factor ? blocks() * k() * k() : direct_block));
  }

  /// Workspace of the division alone.
  std::int64_t division() const {
    if (ComplexScalar<T>) return 0;
    return job == DividedJob::values ? 7 * k() : 3 * k() * k() + 4 * k();
  }

 private:
  std::int64_t k() const { return side.shorter; }
  std::int64_t vectors() const { return ReductionRoom<T>::vectors * k(); }
  std::int64_t count() const { return job == DividedJob::full ? side.longer : side.shorter; }

  /// Square blocks of order k that the ways by a factorisation need.
  std::int64_t blocks() const { return job == DividedJob::overwriting ? 2 : job == DividedJob::values ? 0 : 1; }

  static RoutineName<T> name(const char (&real_name)[6], const char (&complex_name)[6]) {
    return name_of<T>(real_name, complex_name);
  }

  static std::int64_t width(RoutineName<T> name, Text opts, Int n1, Int n2, Int n3) {
    return Tuning<T>{name, opts, n1, n2, n3}.block_size();
  }

  /// For the vectors of an m by n reduction, and of a factor before it.
  std::int64_t of_vectors(Int m, Int n) const {
    constexpr char right[] = {'P', 'R', adjoint<T>};
    const std::int64_t longer_count = by_factor ? k() : count();
    const std::int64_t applied =
        std::max(width(name("ORMBR", "UNMBR"), "QLN", m, n, n), width(name("ORMBR", "UNMBR"), {right, 3}, n, n, m));
    std::int64_t most = vectors() + longer_count * applied;
    if (by_factor) {
      const Int q = static_cast<Int>(count());
      const std::int64_t formed = side.is_left ? width(name("ORGQR", "UNGQR"), " ", side.longer, q, side.shorter)
                                               : width(name("ORGLQ", "UNGLQ"), " ", q, side.longer, side.shorter);
      most = std::max(most, k() + count() * formed);
    }
    return most;
  }
};

}  // namespace nuv
