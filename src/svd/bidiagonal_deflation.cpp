#include "svd/bidiagonal_deflation.hpp"

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "svd/merged_halves.hpp"

namespace nuv {
namespace {

/// Where singular vectors have elements.
enum VectorType { above, in_both, below, done };
constexpr int vector_types = 4;

/// Sorts the slots by their types, those of one type in the order of idxp.
///
/// count   the number of slots of each type;  slots  n slots in that order;  idxc  their places in idxp
void sort_by_type(Int n, const Int* idxp, const Int* type, Int* count, Int* slots, Int* idxc) {
  Int next[vector_types] = {};
  std::fill_n(count, vector_types, 0);
  for (Int i = 0; i < n; ++i) ++count[type[i]];
  for (int t = 1; t < vector_types; ++t) next[t] = next[t - 1] + count[t - 1];
  for (Int i = 0; i < n; ++i) {
    const Int place = next[type[idxp[i] - 1]]++;
    slots[place] = idxp[i];
    idxc[place] = i + 1;
  }
}

/// Copies the vectors of slots; the left one of slot 1 is the unit vector of the joining row.
template <RealScalar R>
void gather_vectors(const MergedHalves& halves, const Int* slots, Matrix<const R> U, Matrix<const R> VT, Matrix<R> U2,
                    Matrix<R> VT2) {
  const Int n = halves.n(), m = halves.m();
  for (Int place = 1; place <= n; ++place) {
    const Int slot = slots[place - 1];
    if (slot == 1) {
      std::fill_n(U2.at(1, place), n, R(0));
      U2(halves.nl + 1, place) = 1;
    } else {
      std::copy_n(U.at(1, halves.line_of(slot)), n, U2.at(1, place));
    }
  }
  for (Int j = 1; j <= m; ++j) {
    const R* const from = VT.at(1, j);
    R* const to = VT2.at(1, j);
    for (Int i = 0; i < n; ++i) to[i] = from[halves.line_of(slots[i]) - 1];
  }
}

}  // namespace

template <RealScalar T>
void lasd2(Int nl, Int nr, Int sqre, Int& k, T* d, T* z, T alpha, T beta, T* u, Int ldu, T* vt, Int ldvt, T* dsigma,
           T* u2, Int ldu2, T* vt2, Int ldvt2, Int* idxp, Int* idx, Int* idxc, Int* idxq, Int* coltyp, Int& info) {
  const MergedHalves halves{nl, nr, sqre};
  info = halves.check(1);
  if (info == 0) {
    const Int n = halves.n(), m = halves.m();
    if (ldu < n) info = -10;
    else if (ldvt < m) info = -12;
    else if (ldu2 < n) info = -15;
    else if (ldvt2 < m) info = -17;
  }
  if (info != 0) return report_bad_argument<T>("LASD2", info);

  const Matrix U{u, ldu}, VT{vt, ldvt}, U2{u2, ldu2}, VT2{vt2, ldvt2};
  const Int n = halves.n(), m = halves.m();
  form_joining_row<T>(halves, alpha, VT.at(1, nl + 1), beta, VT.at(nl + 2, nl + 2), z);
  halves.move_to_slots(d, T(0));
  const T negligible = negligible_in_merge(halves, d, alpha, beta);
  sort_slots(halves, d, idxq, dsigma, idxc, idx);

  coltyp[0] = in_both;
  std::fill_n(coltyp + 1, nl, above);
  std::fill_n(coltyp + (nl + 1), nr, below);
  k = deflate_slots(halves, d, z, negligible, idx, idxp, [&](Int finished, Int kept, T c, T s) {
    if (coltyp[kept - 1] != coltyp[finished - 1]) coltyp[kept - 1] = in_both;
    const Int first = halves.line_of(finished), second = halves.line_of(kept);
    blas::rot(n, column(U, 1, first), column(U, 1, second), c, s);
    blas::rot(m, row(VT, first, 1), row(VT, second, 1), c, s);
  });
  for (Int i = k; i < n; ++i) coltyp[idxp[i] - 1] = done;

  Int count[vector_types];
  sort_by_type(n, idxp, coltyp, count, idx, idxc);
  gather_vectors<T>(halves, idx, U, VT, U2, VT2);
  const auto [c, s] = join_null_vectors(halves, z, negligible);
  if (sqre == 1) blas::rot(m, row(VT2, count[above] + 1, 1), row(VT, m, 1), c, s);
  gather_poles(halves, k, d, z, negligible, idxp, dsigma);
  lacpy('A', n, n - k, U2.at(1, k + 1), ldu2, U.at(1, k + 1), ldu);
  lacpy('A', n - k, m, VT2.at(k + 1, 1), ldvt2, VT.at(k + 1, 1), ldvt);
  std::copy_n(count, 3, coltyp);
}

}  // namespace nuv

#include "svd/bidiagonal_deflation.entries.inc"
