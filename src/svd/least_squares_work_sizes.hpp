#pragma once

// Workspaces of least squares by singular value decompositions.

#include <algorithm>
#include <cstdint>

#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "orthogonal/forms.hpp"
#include "svd/division_tree.hpp"
#include "svd/long_side.hpp"

namespace nuv {

/// How the bidiagonal problem is solved.
enum class BidiagonalMethod { iteration, division };

template <Scalar T>
struct LeastSquaresSizes {
  BidiagonalMethod method;
  LongSide<T> side;
  Int nrhs;
  bool by_factor;  ///< whether a factorisation comes first, for a wide matrix if there is workspace
  Int smlsiz = 0;  ///< order of the leaves of a division

  std::int64_t least() const {
    // A tall matrix is always factored then, a wide one may be reduced itself.
    const bool is_short = by_factor && side.is_left && !(ComplexScalar<T> && iterates());
    return vectors() + std::max<std::int64_t>({is_short ? k() : side.longer, nrhs, of_method()});
  }

  /// With which a wide matrix is factored first.
  std::int64_t least_by_lq() const {
    return k() * k() + k() + vectors() + std::max<std::int64_t>({k(), nrhs, of_method(), side.longer - vectors()});
  }

  std::int64_t best() const {
    if (!by_factor) return std::max(least(), std::max(of_reduction(rows(), columns()), iterates() ? of_product() : 0));
    const std::int64_t factored = of_reduction(side.shorter, side.shorter);
    if (side.is_left) return std::max({least(), of_factor(), factored, iterates() ? of_product() : 0});
    const std::int64_t product = iterates() ? k() * nrhs : 0;
    return std::max({least(), least_by_lq(), of_factor(), k() * k() + k() + std::max(factored, product)});
  }

  // ------------------------------------------------------------------------------------------------ of the division

  /// Workspace of lalsd that is real in any precision.
  std::int64_t reals_of_division() const {
    const std::int64_t leaf = smlsiz + 1;
    return k() * (9 + 2 * std::int64_t{smlsiz} + 8 * levels()) + leaf * leaf;
  }
  std::int64_t rwork() const { return k() + reals_of_division() + 3 * std::int64_t{smlsiz} * nrhs; }
  std::int64_t iwork() const { return k() * (3 * levels() + 11); }

 private:
  bool iterates() const { return method == BidiagonalMethod::iteration; }
  std::int64_t k() const { return side.shorter; }
  std::int64_t levels() const { return std::max(0, generations_of_nodes(side.shorter, smlsiz)); }
  Int rows() const { return side.rows(side.shorter); }
  Int columns() const { return side.columns(side.shorter); }

  /// e and the factors of reflectors.
  std::int64_t vectors() const { return ReductionRoom<T>::vectors * k(); }

  /// Behind these, for the bidiagonal problem.
  std::int64_t of_method() const {
    if (iterates()) return ComplexScalar<T> ? 0 : 2 * k();
    return k() * nrhs + (ComplexScalar<T> ? 0 : reals_of_division());
  }

  /// All solutions beside right-hand sides.
  std::int64_t of_product() const { return std::int64_t{columns()} * nrhs; }

  static std::int64_t width(RoutineName<T> name, Text opts, Int n1, Int n2, Int n3 = -1) {
    return Tuning<T>{name, opts, n1, n2, n3}.block_size();
  }

  /// A factorisation, and the product with its Q.
  std::int64_t of_factor() const {
    constexpr char left_adjoint[] = {'L', adjoint<T>};
    const auto factor = side.is_left ? RoutineName<T>("GEQRF") : RoutineName<T>("GELQF");
    const auto apply = name_of_form<T>("ORM", "UNM", side.is_left ? qr : lq);
    return k() + std::max(k() * width(factor, " ", rows(), columns()),
                          nrhs * width(apply, {left_adjoint, 2}, side.longer, nrhs, side.shorter));
  }

  /// From an m by n reduction to the product with its right vectors.
  std::int64_t of_reduction(Int m, Int n) const {
    constexpr char left[] = {'Q', 'L', adjoint<T>};
    const RoutineName<T> apply = name_of<T>("ORMBR", "UNMBR");
    const std::int64_t reduce = (std::int64_t{m} + n) * width(RoutineName<T>("GEBRD"), " ", m, n),
                       apply_left = nrhs * width(apply, {left, 3}, m, nrhs, n),
                       right = iterates() ? k() * width(name_of<T>("ORGBR", "UNGBR"), "P", side.shorter, n, m)
                                          : nrhs * width(apply, "PLN", n, nrhs, m);
    return vectors() + std::max({reduce, apply_left, right, of_method()});
  }
};

}  // namespace nuv
