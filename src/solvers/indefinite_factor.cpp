#include <algorithm>

#include "base/matrix.hpp"
#include "environment/abs1.hpp"
#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "layer.hpp"
#include "solvers/indefinite.hpp"
#include "solvers/stored_triangle.hpp"

namespace nuv {
namespace {

/// The factorisation column by column: each block of D has its effect on the rest of the triangle at once.
template <Mirror mirror, class Triangle, Scalar T>
class Elimination {
 public:
  Elimination(const EliminationOrder& order, const Triangle& A, Int* ipiv) : order_(order), A_(A), ipiv_(ipiv) {}

  /// Gives info.
  Int run() {
    using enum Pivot::Kind;
    Int info = 0;
    for (Int k = order_.first(); order_.includes(k);) {
      const Pivot pivot = choose(k);
      if ((pivot.kind == zero || pivot.kind == not_a_number) && info == 0) info = k;
      if (pivot.kind == not_a_number) {
        give_up_from(k);
        break;
      }
      const PivotBlock block{k, pivot.kind == pair ? order_.next(k) : k, pivot.row};
      exchange<mirror>(A_, order_, block);
      clear_imaginary_parts(block);
      if (pivot.kind == single) eliminate(k);
      if (pivot.kind == pair) eliminate(block);
      store_block(block, ipiv_);
      k = order_.next(block.last);
    }
    return info;
  }

 private:
  Pivot choose(Int k) const {
    const Rows beyond = order_.beyond(k);
    Int largest = k;
    Real<T> column_max = 0;
    if (beyond.count() > 0) {
      largest = row_of_largest(beyond, A_.at(beyond.first, k));
      column_max = abs1(A_(largest, k));
    }
    return choose_pivot(k, diagonal_size(k), largest, column_max, [&](Int row) {
      const Rows earlier = order_.upper() ? Rows{row + 1, k} : Rows{k, row - 1}, later = order_.beyond(row);
      Real<T> size = 0;
      for (Int j = earlier.first; j <= earlier.last; ++j) size = std::max(size, abs1(A_(row, j)));
      if (later.count() > 0) {
        size = std::max(size, abs1(A_(row_of_largest(later, A_.at(later.first, row)), row)));
      }
      return RowSizes<Real<T>>{diagonal_size(row), size};
    });
  }

  Real<T> diagonal_size(Int k) const { return abs1(diagonal_element<mirror>(A_(k, k))); }

  void clear_imaginary_parts(const PivotBlock& block) {
    for (const Int k : {block.first, block.last, block.row}) A_(k, k) = diagonal_element<mirror>(A_(k, k));
  }

  /// A -= x d^-1 x^T, or x d^-1 x^H, for a block d of order one; x becomes x d^-1.
  void eliminate(Int k) {
    const Rows rest = order_.beyond(k);
    if (rest.count() <= 0) return;
    const auto inverse = reciprocal<mirror>(A_(k, k));
    const Vector<T> x(A_.at(rest.first, k), 1);
    add_outer_square<mirror, T>(order_.uplo(), rest.count(), T(negated(inverse)), x, part(A_, rest));
    blas::scal(rest.count(), inverse, x);
  }

  /// The same for a block of order two.
  void eliminate(const PivotBlock& block) {
    const Int first = block.first, last = block.last;
    const PairInverse<mirror, T> inverse(A_(first, first), A_(last, first), A_(last, last));
    for (Int j = order_.next(last); order_.includes(j); j = order_.next(j)) {
      T &x_first = A_(j, first), &x_last = A_(j, last);
      const T weight_first = inverse.first(x_first, x_last), weight_last = inverse.last(x_first, x_last);
      const Rows rows = order_.from(j);
      subtract(rows.count(), A_.at(rows.first, first), mirror_image<mirror>(weight_first), A_.at(rows.first, last),
               mirror_image<mirror>(weight_last), A_.at(rows.first, j));
      x_first = weight_first;
      x_last = weight_last;
      A_(j, j) = diagonal_element<mirror>(A_(j, j));
    }
  }

  /// y -= x_first f_first + x_last f_last
  static void subtract(Int n, const T* x_first, T f_first, const T* x_last, T f_last, T* __restrict y) {
    for (Int i = 0; i < n; ++i) y[i] = y[i] - x_first[i] * f_first - x_last[i] * f_last;
  }

  void give_up_from(Int k) {
    for (; order_.includes(k); k = order_.next(k)) ipiv_[k - 1] = k;
  }

  EliminationOrder order_;
  Triangle A_;
  Int* ipiv_;
};

template <Mirror mirror, Scalar T>
Int factor_unblocked(char uplo, Int n, T* ap, Int* ipiv) {
  const EliminationOrder order(uplo, n);
  const PackedTriangle<T> A{order.upper(), n, ap};
  return Elimination<mirror, PackedTriangle<T>, T>(order, A, ipiv).run();
}
template <Mirror mirror, Scalar T>
Int factor_unblocked(char uplo, Int n, Matrix<T> A, Int* ipiv) {
  return Elimination<mirror, Matrix<T>, T>(EliminationOrder(uplo, n), A, ipiv).run();
}

/// 0, or minus the position of the first bad argument of uplo, n, a, lda.
Int check_triangle(char uplo, Int n, Int lda) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (lda < std::max(1, n)) return -4;
  return 0;
}

/// Factors a matrix of order n from the end of an upper or the start of a lower triangle on, part by part:
/// factor(corner, order, ipiv, kb, info) does so with the first kb columns of what is left, the triangle of that order
/// with its upper left corner at the diagonal element of that place.
template <class Factor>
void factor_by_parts(char uplo, Int n, Int* ipiv, Int& info, Factor factor) {
  const bool upper = same_letter(uplo, 'U');
  for (Int done = 0; done < n;) {
    const Int left = n - done, before = upper ? 0 : done;
    Int kb = left, part_info = 0;
    factor(before + 1, left, ipiv + before, kb, part_info);
    if (info == 0 && part_info > 0) info = part_info + before;
    for (Int i = before; i < before + kb && !upper; ++i) ipiv[i] += ipiv[i] > 0 ? before : -before;
    done += kb;
  }
}

/// The same for full storage, by panels of nb columns with n by nb elements of workspace; all in one piece if nb >= n.
template <Mirror mirror, Scalar T>
void factor_by_panels(char uplo, Int n, Int nb, Matrix<T> A, Int* ipiv, T* work, Int& info) {
  factor_by_parts(uplo, n, ipiv, info, [&](Int corner, Int left, Int* pivots, Int& kb, Int& part_info) {
    const Matrix corner_block = block(A, corner, corner);
    if (left <= nb) {
      part_info = factor_unblocked<mirror, T>(uplo, left, corner_block, pivots);
    } else if constexpr (mirror == Mirror::plain) {
      layer::lasyf(uplo, left, nb, kb, corner_block, pivots, Matrix{work, n}, part_info);
    } else {
      layer::lahef(uplo, left, nb, kb, corner_block, pivots, Matrix{work, n}, part_info);
    }
  });
}

/// What ?sytrf and ?hetrf do to matrices that no kernel takes.
template <Mirror mirror, Scalar T>
void factor_in_workspace(const Tuning<T>& tuning, char uplo, Int n, Matrix<T> A, Int* ipiv, T* work, Int lwork,
                         Int& info) {
  const Int nb = tuning.block_size();
  const T best_lwork = as_work_size<T>(std::int64_t{n} * nb);
  work[0] = best_lwork;
  if (lwork == -1 || n == 0) return;
  const BlockPlan plan = plan_blocks(tuning, {.n = n, .nb = nb, .line = n, .lwork = lwork, .has_crossover = false});
  factor_by_panels<mirror>(uplo, n, plan.by_blocks ? plan.nb : n, A, ipiv, work, info);
  work[0] = best_lwork;
}

Int check_factorisation(char uplo, Int n, Int lda, Int lwork) {
  const Int info = check_triangle(uplo, n, lda);
  return info == 0 && lwork < 1 && lwork != -1 ? -7 : info;
}

/// Leaves a small matrix to a kernel, where there is one for the precision.
template <Scalar T>
bool factor_by_kernel(const Tuning<T>& tuning, char uplo, Int n, Matrix<T> A, Int* ipiv, Int& info) {
  if constexpr (RealScalar<T>) {
    if (tuning.crossover() <= n) return false;
    if (same_letter(uplo, 'U')) {
      blas::sytrf_u_small(uplo, n, A, ipiv, info);
    } else {
      blas::sytrf_l_small(uplo, n, A, ipiv, info);
    }
    return true;
  } else {
    return false;
  }
}

}  // namespace

template <Scalar T>
void sytrf(char uplo, Int n, T* a, Int lda, Int* ipiv, T* work, Int lwork, Int& info) {
  info = check_factorisation(uplo, n, lda, lwork);
  if (info != 0) return report_bad_argument<T>("SYTRF", info);
  const Matrix A{a, lda};
  const Tuning<T> tuning{RoutineName<T>("SYTRF"), {&uplo, 1}, n};
  if (lwork != -1 && factor_by_kernel(tuning, uplo, n, A, ipiv, info)) {
    work[0] = T(1);
    return;
  }
  factor_in_workspace<Mirror::plain>(tuning, uplo, n, A, ipiv, work, lwork, info);
}

template <ComplexScalar T>
void hetrf(char uplo, Int n, T* a, Int lda, Int* ipiv, T* work, Int lwork, Int& info) {
  info = check_factorisation(uplo, n, lda, lwork);
  if (info != 0) return report_bad_argument<T>("HETRF", info);
  const Tuning<T> tuning{RoutineName<T>("HETRF"), {&uplo, 1}, n};
  factor_in_workspace<Mirror::conjugate, T>(tuning, uplo, n, {a, lda}, ipiv, work, lwork, info);
}

template <Scalar T>
void sytf2(char uplo, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  info = check_triangle(uplo, n, lda);
  if (info != 0) return report_bad_argument<T>("SYTF2", info);
  info = factor_unblocked<Mirror::plain, T>(uplo, n, {a, lda}, ipiv);
}

template <ComplexScalar T>
void hetf2(char uplo, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  info = check_triangle(uplo, n, lda);
  if (info != 0) return report_bad_argument<T>("HETF2", info);
  info = factor_unblocked<Mirror::conjugate, T>(uplo, n, {a, lda}, ipiv);
}

namespace {

/// 0, or minus the position of the first bad argument of uplo, n.
Int check_packed(char uplo, Int n) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  return n < 0 ? -2 : 0;
}

/// Asks the layer's panels how many blocks of columns they want memory for, beside two for the panel.
template <Mirror mirror, Scalar T>
Int blocks_wanted(char uplo, Int n, T* ap, Int* ipiv) {
  Int blocks = 0, info = 0;
  T* const none = nullptr;
  if constexpr (mirror == Mirror::plain) {
    layer::laspf(uplo, n, Int{0}, blocks, ap, ipiv, Matrix{none, std::max(1, n)}, info);
  } else {
    layer::lahpf(uplo, n, Int{0}, blocks, ap, ipiv, Matrix{none, std::max(1, n)}, info);
  }
  return blocks;
}

template <Mirror mirror, Scalar T>
void factor_packed(RoutineName<T> name, char uplo, Int n, T* ap, Int* ipiv, Int& info) {
  info = 0;
  if (n <= Tuning<T>{name}.crossover()) {
    info = factor_unblocked<mirror, T>(uplo, n, ap, ipiv);
    return;
  }
  const Int blocks = blocks_wanted<mirror, T>(uplo, n, ap, ipiv);
  const Int nb = Tuning<T>{.name = name, .n1 = n, .n2 = blocks}.block_size();
  const Workspace<T> work((std::size_t(blocks) + 2) * n * nb);
  if (work.data() == nullptr) {
    info = factor_unblocked<mirror, T>(uplo, n, ap, ipiv);
    return;
  }
  const PackedTriangle<T> A{same_letter(uplo, 'U'), n, ap};
  factor_by_parts(uplo, n, ipiv, info, [&](Int corner, Int left, Int* pivots, Int& kb, Int& part_info) {
    T* const part = A.at(corner, corner);
    if (left <= nb) {
      part_info = factor_unblocked<mirror, T>(uplo, left, part, pivots);
    } else if constexpr (mirror == Mirror::plain) {
      layer::laspf(uplo, left, nb, kb, part, pivots, Matrix{work.data(), n}, part_info);
    } else {
      layer::lahpf(uplo, left, nb, kb, part, pivots, Matrix{work.data(), n}, part_info);
    }
  });
}

}  // namespace

template <Scalar T>
void sptrf(char uplo, Int n, T* ap, Int* ipiv, Int& info) {
  info = check_packed(uplo, n);
  if (info != 0) return report_bad_argument<T>("SPTRF", info);
  factor_packed<Mirror::plain>(RoutineName<T>("SPTRF"), uplo, n, ap, ipiv, info);
}

template <ComplexScalar T>
void hptrf(char uplo, Int n, T* ap, Int* ipiv, Int& info) {
  info = check_packed(uplo, n);
  if (info != 0) return report_bad_argument<T>("HPTRF", info);
  factor_packed<Mirror::conjugate>(RoutineName<T>("HPTRF"), uplo, n, ap, ipiv, info);
}

template <Scalar T>
void sptf2(char uplo, Int n, T* ap, Int* ipiv, Int& info) {
  info = check_packed(uplo, n);
  if (info != 0) return report_bad_argument<T>("SPTF2", info);
  info = factor_unblocked<Mirror::plain, T>(uplo, n, ap, ipiv);
}

template <ComplexScalar T>
void hptf2(char uplo, Int n, T* ap, Int* ipiv, Int& info) {
  info = check_packed(uplo, n);
  if (info != 0) return report_bad_argument<T>("HPTF2", info);
  info = factor_unblocked<Mirror::conjugate, T>(uplo, n, ap, ipiv);
}

}  // namespace nuv

#include "solvers/indefinite_factor.entries.inc"
