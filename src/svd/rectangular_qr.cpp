#include "svd/rectangular_qr.hpp"

#include <algorithm>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "svd/bidiagonal_qr.hpp"
#include "svd/bidiagonal_rotation.hpp"
#include "svd/singular_vectors.hpp"

namespace nuv {

template <RealScalar T>
void lasdq(char uplo, Int sqre, Int n, Int ncvt, Int nru, Int ncc, T* d, T* e, T* vt, Int ldvt, T* u, Int ldu, T* c,
           Int ldc, T* work, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (sqre < 0 || sqre > 1) info = -2;
  else if (n < 0) info = -3;
  else if (ncvt < 0) info = -4;
  else if (nru < 0) info = -5;
  else if (ncc < 0) info = -6;
  else if (ldvt < (ncvt > 0 ? std::max(1, n) : 1)) info = -10;
  else if (ldu < std::max(1, nru)) info = -12;
  else if (ldc < (ncc > 0 ? std::max(1, n) : 1)) info = -14;
  if (info != 0) return report_bad_argument<T>("LASDQ", info);
  if (n == 0) return;

  const RotatedLines<T> right{{vt, ldvt}, ncvt, true}, left{{u, ldu}, nru, false}, beside{{c, ldc}, ncc, true};
  T *const cosines = work, *const sines = work + n;
  bool is_upper = same_letter(uplo, 'U');
  Int lines_more = sqre;
  if (is_upper && sqre == 1) {
    rotate_to_other_side(n, n, d, e, cosines, sines);
    right.apply('F', 1, n + 1, cosines, sines);
    is_upper = false;
    lines_more = 0;
  }
  if (!is_upper) {
    rotate_to_other_side(n, n - 1 + lines_more, d, e, cosines, sines);
    left.apply('F', 1, n + lines_more, cosines, sines);
    beside.apply('F', 1, n + lines_more, cosines, sines);
  }
  bdsqr('U', n, ncvt, nru, ncc, d, e, vt, ldvt, u, ldu, c, ldc, work, info);
  if (info != 0) return;
  for (Int i = 1, j = n; i < j; ++i, --j) {
    std::swap(d[i - 1], d[j - 1]);
    for (const RotatedLines<T>* lines : {&right, &left, &beside}) lines->exchange(i, j);
  }
}

}  // namespace nuv

#include "svd/rectangular_qr.entries.inc"
