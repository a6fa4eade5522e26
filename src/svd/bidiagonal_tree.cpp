#include "svd/bidiagonal_tree.hpp"

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "svd/bidiagonal_merges.hpp"
#include "svd/division_tree.hpp"
#include "svd/rectangular_qr.hpp"

namespace nuv {

template <RealScalar T>
void lasd0(Int n, Int sqre, T* d, T* e, T* u, Int ldu, T* vt, Int ldvt, Int smlsiz, Int* iwork, T* work, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (sqre < 0 || sqre > 1) info = -2;
  else if (ldu < n) info = -6;
  else if (ldvt < std::int64_t{n} + sqre) info = -8;
  else if (smlsiz < 3) info = -9;
  if (info != 0) return report_bad_argument<T>("LASD0", info);
  if (n == 0) return;

  const Matrix U{u, ldu}, VT{vt, ldvt};
  Int* const idxq = iwork + std::ptrdiff_t{3} * n;
  const auto leaf = [=](Int first, Int rows, Int columns_more) {
    T *const left = U.at(first, first), *const right = VT.at(first, first);
    Int failed;
    lasdq('U', columns_more, rows, rows + columns_more, rows, 0, d + (first - 1), e + (first - 1), right, ldvt, left,
          ldu, left, ldu, work, failed);
    for (Int i = 0; i < rows; ++i) idxq[first - 1 + i] = i + 1;
    return failed;
  };
  if (n <= smlsiz) {
    info = leaf(1, n, sqre);
    return;
  }
  DivisionTree tree{0, 0, iwork, iwork + n, iwork + std::ptrdiff_t{2} * n};
  lasdt<T>(n, tree.levels, tree.nodes, iwork, iwork + n, iwork + std::ptrdiff_t{2} * n, smlsiz);
  info = climb(tree, sqre, leaf, [=](Int, Int, const DivisionNode& node, Int columns_more) {
    const Int before = node.first - 1, joining = node.joining_row() - 1;
    Int failed;
    lasd1(node.nl, node.nr, columns_more, d + before, d[joining], e[joining], U.at(node.first, node.first), ldu,
          VT.at(node.first, node.first), ldvt, idxq + before, idxq + n, work, failed);
    return failed;
  });
}

}  // namespace nuv

#include "svd/bidiagonal_tree.entries.inc"
