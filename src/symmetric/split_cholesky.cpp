#include "symmetric/split_cholesky.hpp"

#include <cmath>

#include "base/matrix.hpp"
#include "environment/conjugated.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "solvers/band_storage.hpp"
#include "symmetric/hermitian_products.hpp"

namespace nuv {
namespace {

/// Divides what row j of S has beside its diagonal, in columns first ... first + count - 1, by the pivot's root, and
/// takes its square from that block of B; false if the pivot is not positive.
template <Scalar T>
bool factor_row(bool upper, Matrix<T> S, Int j, Int first, Int count) {
  using R = Real<T>;
  const R pivot = std::real(S(j, j));
  S(j, j) = pivot;
  if (!(pivot > 0)) return false;
  const R root = std::sqrt(pivot);
  S(j, j) = root;
  if (count == 0) return true;
  // Columns of what is stored hold conjugates.
  const bool is_row = upper == (first > j);
  const Vector<T> s = is_row ? row(S, j, first) : column(S, first, j);
  blas::scal(count, R(1) / root, s);
  const Conjugated<T> as_column(count, s, is_row);
  subtract_square<T>(upper ? 'U' : 'L', count, s, block(S, first, first));
  return true;
}

}  // namespace

template <Scalar T>
void pbstf(char uplo, Int n, Int kd, T* ab, Int ldab, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (kd < 0) info = -3;
  else if (ldab <= kd) info = -5;
  if (info != 0) return report_bad_argument<T>("PBSTF", info);
  const bool upper = same_letter(uplo, 'U');
  const Matrix<T> S = band_view(ab, ldab, upper ? kd + 1 : 1);
  const Int diagonals = diagonals_in_place(n, kd), m = upper_part_of_split(n, diagonals);
  for (Int j = n; j > m && info == 0; --j) {
    const Int count = std::min(j - 1, diagonals);
    if (!factor_row(upper, S, j, j - count, count)) info = j;
  }
  for (Int j = 1; j <= m && info == 0; ++j) {
    if (!factor_row(upper, S, j, j + 1, std::min(diagonals, m - j))) info = j;
  }
}

}  // namespace nuv

#include "symmetric/split_cholesky.entries.inc"
