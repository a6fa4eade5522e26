#pragma once

// What the drivers for pairs of matrices share, whatever the storage.

#include "base/matrix.hpp"
#include "environment/hermitian.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

/// The first arguments of a driver for full or packed matrices.
struct PairOptions {
  Int itype;
  char jobz, uplo;
  Int n;

  bool with_vectors() const { return same_letter(jobz, 'V'); }
  bool upper() const { return same_letter(uplo, 'U'); }

  /// Whether eigenvectors that are wanted have a place in columns so far apart.
  bool is_place_for_vectors(Int ldz) const { return ldz >= 1 && (!with_vectors() || ldz >= n); }

  /// 0, or minus the position of the first bad argument of itype, jobz, uplo, n.
  Int check() const {
    if (itype < 1 || itype > 3) return -1;
    if (!is_one_of(jobz, 'N', 'V')) return -2;
    if (!is_one_of(uplo, 'U', 'L')) return -3;
    if (n < 0) return -4;
    return 0;
  }

  /// The same with range behind jobz.
  Int check(bool range_is_known) const {
    const Int bad = check();
    if (bad >= -2 && bad != 0) return bad;
    if (!range_is_known) return -3;
    return bad == 0 ? 0 : bad - 1;
  }

  /// How eigenvectors y of the reduced problem become those of the pair: x = U^-1 y or L^-H y for the types 1 and 2,
  /// x = U^H y or L y for type 3.
  struct BackTransformation {
    bool by_solve;
    char trans;
  };
  template <Scalar T>
  BackTransformation back_transformation() const {
    const bool by_solve = itype != 3;
    return {by_solve, by_solve == upper() ? 'N' : adjoint<T>};
  }
};

/// Factors B, reduces A, calls solve(), which gives the number of eigenvectors that it has found, and takes them to
/// those of the pair, which has
///
///     pair.factor_b(info), pair.reduce_a(info), pair.transform_back(m, Z)
template <class Pair, Scalar T, class Solve>
void solve_pair(const Pair& pair, Matrix<T> Z, Int& info, Solve solve) {
  pair.factor_b(info);
  if (info != 0) {
    info += pair.n;
    return;
  }
  pair.reduce_a(info);
  const Int found = solve();
  if (pair.with_vectors()) pair.transform_back(found, Z);
}

}  // namespace nuv
