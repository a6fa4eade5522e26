#include "svd/compact_tree.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "svd/compact_merges.hpp"
#include "svd/division_tree.hpp"
#include "svd/rectangular_qr.hpp"

namespace nuv {
namespace {

/// Values of a leaf, and its vectors: `rows` left ones, if there is a place for them, and one more right one where it
/// has a column more.
template <RealScalar R>
Int solve_leaf(Int rows, Int columns_more, R* d, R* e, const Matrix<R>* U, Matrix<R> VT, R* work) {
  const Int columns = rows + columns_more;
  const Matrix<R> left = U != nullptr ? *U : Matrix<R>{work, std::max(1, rows)};
  Int info;
  laset('A', columns, columns, R(0), R(1), VT.data, VT.ld);
  if (U != nullptr) laset('A', rows, rows, R(0), R(1), left.data, left.ld);
  lasdq('U', columns_more, rows, columns, U != nullptr ? rows : 0, 0, d, e, VT.data, VT.ld, left.data, left.ld,
        left.data, left.ld, work, info);
  return info;
}

}  // namespace

template <RealScalar T>
void lasda(Int icompq, Int smlsiz, Int n, Int sqre, T* d, T* e, T* u, Int ldu, T* vt, Int* k, T* difl, T* difr, T* z,
           T* poles, Int* givptr, Int* givcol, Int ldgcol, Int* perm, T* givnum, T* c, T* s, T* work, Int* iwork,
           Int& info) {
  info = 0;
  if (icompq < 0 || icompq > 1) info = -1;
  else if (smlsiz < 3) info = -2;
  else if (n < 0) info = -3;
  else if (sqre < 0 || sqre > 1) info = -4;
  else if (ldu < std::int64_t{n} + sqre) info = -8;
  else if (ldgcol < n) info = -17;
  if (info != 0) return report_bad_argument<T>("LASDA", info);
  if (n == 0) return;

  const bool keeps_factors = icompq == 1;
  const Matrix U{u, ldu}, VT{vt, ldu};
  if (n <= smlsiz) {
    if (keeps_factors) {
      info = solve_leaf(n, sqre, d, e, &U, VT, work);
    } else {
      lasdq('U', sqre, n, 0, 0, 0, d, e, vt, ldu, u, ldu, u, ldu, work, info);
    }
    return;
  }
  const Int m = n + sqre;
  T *const vf = work, *const vl = work + m, *const rest = work + std::ptrdiff_t{2} * m;
  Int *const idxq = iwork + std::ptrdiff_t{3} * n, *const scratch = idxq + n;
  DivisionTree tree{0, 0, iwork, iwork + n, iwork + std::ptrdiff_t{2} * n};
  lasdt<T>(n, tree.levels, tree.nodes, iwork, iwork + n, iwork + std::ptrdiff_t{2} * n, smlsiz);

  const auto leaf = [&](Int first, Int rows, Int columns_more) {
    const Matrix<T> left = block(U, first, 1), own{rest, smlsiz + 1};
    const Matrix<T> right = keeps_factors ? block(VT, first, 1) : own;
    T* const leaf_work = rest + std::ptrdiff_t{smlsiz + 1} * (smlsiz + 1);
    const Int before = first - 1, columns = rows + columns_more;
    const Int failed = solve_leaf(rows, columns_more, d + before, e + before, keeps_factors ? &left : nullptr, right,
                                  keeps_factors ? rest : leaf_work);
    std::copy_n(right.at(1, 1), columns, vf + before);
    std::copy_n(right.at(1, columns), columns, vl + before);
    for (Int i = 0; i < rows; ++i) idxq[before + i] = i + 1;
    return failed;
  };
  const auto merge = [&](Int i, Int generation, const DivisionNode& node, Int columns_more) {
    const Int before = node.first - 1, joining = node.joining_row() - 1, pair = 2 * generation - 1;
    const auto lasd6_with = [&](Int* its_perm, Int& its_givptr, Int* its_givcol, T* its_givnum, T* its_poles,
                                T* its_difl, T* its_difr, T* its_z, Int& its_k, T& its_c, T& its_s) {
      Int failed;
      lasd6(icompq, node.nl, node.nr, columns_more, d + before, vf + before, vl + before, d[joining], e[joining],
            idxq + before, its_perm, its_givptr, its_givcol, ldgcol, its_givnum, ldu, its_poles, its_difl, its_difr,
            its_z, its_k, its_c, its_s, rest, scratch, failed);
      return failed;
    };
    if (!keeps_factors) {
      Int any_givptr, any_k;
      T any_c, any_s;
      return lasd6_with(perm, any_givptr, givcol, givnum, poles, difl, difr, z, any_k, any_c, any_s);
    }
    const auto in_level = [&](auto* array, Int ld, Int column) { return Matrix{array, ld}.at(node.first, column); };
    return lasd6_with(in_level(perm, ldgcol, generation), givptr[i - 1], in_level(givcol, ldgcol, pair),
                      in_level(givnum, ldu, pair), in_level(poles, ldu, pair), in_level(difl, ldu, generation),
                      in_level(difr, ldu, pair), in_level(z, ldu, generation), k[i - 1], c[i - 1], s[i - 1]);
  };
  info = climb(tree, sqre, leaf, merge);
}

}  // namespace nuv

#include "svd/compact_tree.entries.inc"
