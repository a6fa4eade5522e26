#include "generators/random_entries.hpp"

#include "base/quotient.hpp"
#include "generators/random_numbers.hpp"

namespace nuv {
namespace {

struct Place {
  Int i, j;
};

constexpr bool is_inside(Int m, Int n, Place at) {
  return at.i >= 1 && at.i <= m && at.j >= 1 && at.j <= n;
}

/// For places inside the matrix, so that kl and ku may be as large as they like.
constexpr bool is_in_band(Int kl, Int ku, Place at) {
  return at.j - at.i <= ku && at.i - at.j <= kl;
}

Place pivoted(Int ipvtng, const Int* iwork, Place at) {
  const bool of_rows = ipvtng == 1 || ipvtng == 3, of_columns = ipvtng == 2 || ipvtng == 3;
  return {of_rows ? iwork[at.i - 1] : at.i, of_columns ? iwork[at.j - 1] : at.j};
}

template <Scalar T>
bool is_dropped(Real<T> sparse, Int* iseed) {
  return sparse > 0 && laran<Real<T>>(iseed) < sparse;
}

template <Scalar T>
T graded(T x, Place at, Int igrade, const T* dl, const T* dr) {
  const Int i = at.i - 1, j = at.j - 1;
  switch (igrade) {
    case 1:
      return x * dl[i];
    case 2:
      return x * dr[j];
    case 3:
      return x * dl[i] * dr[j];
    case 4:
      return i == j ? x : quotient(x * dl[i], dl[j]);
    case 5:
      return x * dl[i] * conjugate(dl[j]);
    case 6:
      return x * dl[i] * dl[j];
    default:
      return x;
  }
}

template <Scalar T>
T entry(Place at, Int idist, Int* iseed, const T* d, Int igrade, const T* dl, const T* dr) {
  return graded(at.i == at.j ? d[at.i - 1] : larnd<T>(idist, iseed), at, igrade, dl, dr);
}

}  // namespace

template <Scalar T>
T latm2(Int m, Int n, Int i, Int j, Int kl, Int ku, Int idist, Int* iseed, const T* d, Int igrade, const T* dl,
        const T* dr, Int ipvtng, const Int* iwork, Real<T> sparse) {
  const Place at = {i, j};
  if (!is_inside(m, n, at) || !is_in_band(kl, ku, at) || is_dropped<T>(sparse, iseed)) return T(0);
  return entry(pivoted(ipvtng, iwork, at), idist, iseed, d, igrade, dl, dr);
}

template <Scalar T>
T latm3(Int m, Int n, Int i, Int j, Int& isub, Int& jsub, Int kl, Int ku, Int idist, Int* iseed, const T* d, Int igrade,
        const T* dl, const T* dr, Int ipvtng, const Int* iwork, Real<T> sparse) {
  const Place at = {i, j};
  isub = i;
  jsub = j;
  if (!is_inside(m, n, at)) return T(0);
  const Place to = pivoted(ipvtng, iwork, at);
  isub = to.i;
  jsub = to.j;
  if (!is_in_band(kl, ku, to) || is_dropped<T>(sparse, iseed)) return T(0);
  return entry(at, idist, iseed, d, igrade, dl, dr);
}

}  // namespace nuv

#include "generators/random_entries.entries.inc"
