#include "symmetric/definite_tridiagonal.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "solvers/tridiagonal_cholesky.hpp"
#include "svd/bidiagonal_qr.hpp"

namespace nuv {

template <Scalar T>
void pteqr(char compz, Int n, Real<T>* d, Real<T>* e, T* z, Int ldz, Real<T>* work, Int& info) {
  const bool of_tridiagonal = same_letter(compz, 'I'), with_vectors = of_tridiagonal || same_letter(compz, 'V');
  info = 0;
  if (!with_vectors && !same_letter(compz, 'N')) info = -1;
  else if (n < 0) info = -2;
  else if (ldz < (with_vectors ? std::max(1, n) : 1)) info = -6;
  if (info != 0) return report_bad_argument<T>("PTEQR", info);
  if (n == 0) return;
  if (n == 1) {
    if (with_vectors) z[0] = T(1);
    return;
  }

  if (of_tridiagonal) laset('A', n, n, T(0), T(1), z, ldz);
  // L D L^T = (L D^1/2) (L D^1/2)^T
  pttrf<Real<T>>(n, d, e, info);
  if (info != 0) return;
  for (Int i = 0; i < n; ++i) d[i] = std::sqrt(d[i]);
  for (Int i = 0; i < n - 1; ++i) e[i] *= d[i];
  T none{};
  bdsqr('L', n, 0, with_vectors ? n : 0, 0, d, e, &none, 1, z, with_vectors ? ldz : n, &none, 1, work, info);
  if (info != 0) {
    info += n;
    return;
  }
  for (Int i = 0; i < n; ++i) d[i] *= d[i];
}

}  // namespace nuv

#include "symmetric/definite_tridiagonal.entries.inc"
