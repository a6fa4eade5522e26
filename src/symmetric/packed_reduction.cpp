#include "symmetric/packed_reduction.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "environment/packed_storage.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "orthogonal/householder.hpp"
#include "symmetric/hermitian_products.hpp"
#include "symmetric/tridiagonal_panel.hpp"

namespace nuv {
namespace {

template <Scalar T>
constexpr RoutineName<T> name = name_of<T>("SPTRD", "HPTRD");

Int check_triangle(char uplo, Int n) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  return 0;
}

/// y := alpha A x
template <Scalar T>
void multiply(char uplo, Int n, T alpha, const T* ap, Vector<const T> x, Vector<T> y) {
  if constexpr (ComplexScalar<T>) {
    blas::hpmv(uplo, n, alpha, ap, x, T(0), y);
  } else {
    blas::spmv(uplo, n, alpha, ap, x, T(0), y);
  }
}

/// One step of the unblocked reduction: the reflector that leaves of a column's n elements `unit` alone, to which `x`
/// are the others and v all, and its application to the triangle from `rest` on.
///
/// w  n elements of workspace
template <Scalar T>
void reduce_column(char uplo, Int n, T& unit, T* x, T* v, T* rest, Real<T>& e, T& tau, T* w) {
  T factor;
  larfg(n, unit, x, 1, factor);
  e = std::real(unit);
  if (factor != T(0)) {
    unit = T(1);
    const Vector<T> V{v, 1}, W{w, 1};
    multiply<T>(uplo, n, factor, rest, V, W);
    blas::axpy(n, Real<T>(-0.5) * factor * inner_product<T>(true, n, W, V), V, W);
    add_products_with_adjoints<T>(uplo, n, Real<T>(-1), V, W, rest);
    unit = e;
  }
  tau = factor;
}

// --------------------------------------------------------------------------------------------------------- by panels

// A panel in full storage, the columns | V |, is made of the matrix above (or below) and beside it, and the rest is
// updated in blocks of columns B, each of them copied to full storage and back:
//
//     B01 |     |          .  |     |
//     B11 | ... | V        .  | B11 |
//      .  |     |          V  | B21 | ...
//
//     B01 -= V0 W1^H + W0 V1^H,  B11 -= V1 W1^H + W1 V1^H

/// The means of a panel: the matrix that it multiplies is there in packed storage alone.
template <Scalar T>
struct PackedMeans {
  PackedTriangle<T> A;

  void reflect(Int n, T& alpha, T* x, T& tau) const { larfg(n, alpha, x, 1, tau); }

  /// The rest of order n is at the other end of A than the panel.
  void multiply(char uplo, Int n, Matrix<const T>, Vector<const T> x, Vector<T> y) const {
    const Int first = A.upper ? 1 : A.n - n + 1;
    nuv::multiply<T>(uplo, n, T(1), A.at(first, first), x, y);
  }
};

/// What a panel leaves to be done.
template <Scalar T>
struct PanelUpdate {
  Int nb;         ///< columns of V and W
  Matrix<T> W;    ///< the update
  Matrix<T> V;    ///< the panel in full storage
  Matrix<T> B;    ///< place for a block of columns
  Int first = 1;  ///< row of the matrix in which V and W begin

  /// The areas of a buffer of n by 3 nb.
  PanelUpdate(T* buffer, Int n, Int nb_) : nb(nb_), W{buffer, n}, V(block(W, 1, nb + 1)), B(block(W, 1, 2 * nb + 1)) {}

  /// For columns j to j + jb - 1.
  void apply(const PackedTriangle<T>& A, Int j, Int jb) const {
    const char uplo = A.upper ? 'U' : 'L';
    const Int top = A.upper ? 1 : j, rows = A.upper ? j + jb - 1 : A.n - j + 1;
    const Int other = A.upper ? 1 : j + jb, others = rows - jb;
    const Matrix<T> V1 = block(V, j - first + 1, 1), W1 = block(W, j - first + 1, 1);
    const Matrix<T> V_other = block(V, other - first + 1, 1), W_other = block(W, other - first + 1, 1);
    const Matrix<T> B_other = block(B, other - top + 1, 1);
    ppunpack(uplo, A.ap, A.n, top, j, rows, jb, B.data, B.ld);
    add_products_with_adjoints<T>(uplo, 'N', jb, nb, Real<T>(-1), V1, W1, block(B, j - top + 1, 1));
    blas::gemm('N', 'C', others, jb, nb, T(-1), V_other, W1, T(1), B_other);
    blas::gemm('N', 'C', others, jb, nb, T(-1), W_other, V1, T(1), B_other);
    pppack(uplo, A.ap, A.n, top, j, rows, jb, B.data, B.ld);
  }
};

template <Scalar T>
void reduce_upper(const PackedTriangle<T>& A, Real<T>* d, Real<T>* e, T* tau, PanelUpdate<T> update, Int& info) {
  const Int nb = update.nb, last = A.n - (A.n - 1) / nb * nb;
  for (Int i = A.n - nb + 1; i > last; i -= nb) {
    latdp('U', i + nb - 1, nb, A.ap, e, tau, update.W.data, update.W.ld);
    for (Int j = 1; j < i; j += nb) update.apply(A, j, std::min(nb, i - j));
    for (Int k = i; k < i + nb; ++k) {
      A(k - 1, k) = e[k - 2];
      d[k - 1] = std::real(A(k, k));
    }
  }
  sptd2('U', last, A.ap, d, e, tau, info);
}

template <Scalar T>
void reduce_lower(const PackedTriangle<T>& A, Real<T>* d, Real<T>* e, T* tau, PanelUpdate<T> update, Int& info) {
  const Int n = A.n, nb = update.nb;
  Int i = 1;
  for (; i <= n - nb; i += nb) {
    latdp('L', n - i + 1, nb, A.at(i, i), e + (i - 1), tau + (i - 1), update.W.data, update.W.ld);
    update.first = i;
    for (Int j = i + nb; j <= n; j += nb) update.apply(A, j, std::min(nb, n - j + 1));
    for (Int k = i; k < i + nb; ++k) {
      A(k + 1, k) = e[k - 1];
      d[k - 1] = std::real(A(k, k));
    }
  }
  sptd2('L', n - i + 1, A.at(i, i), d + (i - 1), e + (i - 1), tau + (i - 1), info);
}

}  // namespace

template <Scalar T>
void xsptrd(char uplo, Int n, T* ap, Real<T>* d, Real<T>* e, T* tau, Int& info) {
  info = check_triangle(uplo, n);
  if (info != 0) return report_bad_argument(name<T>, info);
  if (n == 0) return;

  const Int nb = Tuning<T>{name<T>, {&uplo, 1}, n}.block_size();
  if (!are_divided(n, nb)) return sptd2(uplo, n, ap, d, e, tau, info);
  const Workspace<T> buffer(3 * static_cast<std::size_t>(n) * static_cast<std::size_t>(nb));
  if (buffer.data() == nullptr) return sptd2(uplo, n, ap, d, e, tau, info);

  const PackedTriangle<T> A{same_letter(uplo, 'U'), n, ap};
  const PanelUpdate<T> update(buffer.data(), n, nb);
  if (A.upper) reduce_upper(A, d, e, tau, update, info);
  else reduce_lower(A, d, e, tau, update, info);
}

template <Scalar T>
void latdp(char uplo, Int n, Int nb, T* ap, Real<T>* e, T* tau, T* w, Int ldw) {
  const PackedTriangle<T> A{same_letter(uplo, 'U'), n, ap};
  const Matrix<T> W{w, ldw}, V = block(W, 1, nb + 1);
  const Int first = A.upper ? n - nb + 1 : 1;
  ppunpack(uplo, ap, n, 1, first, n, nb, V.data, V.ld);
  // The panel by the columns of the whole matrix, of which it has no others.
  const Matrix<T> panel = block(V, 1, 2 - first);
  reduce_panel(uplo, n, nb, panel.data, panel.ld, e, tau, w, ldw, PackedMeans<T>{A});
  pppack(uplo, ap, n, 1, first, n, nb, V.data, V.ld);
}

template <Scalar T>
void sptd2(char uplo, Int n, T* ap, Real<T>* d, Real<T>* e, T* tau, Int& info) {
  info = check_triangle(uplo, n);
  if (info != 0) return report_bad_argument(name<T>, info);
  if (n == 0) return;

  const PackedTriangle<T> A{same_letter(uplo, 'U'), n, ap};
  for (Int i = 1; i <= n; ++i) A(i, i) = std::real(A(i, i));
  for (Int i = n - 1; A.upper && i >= 1; --i) {
    T* const v = A.at(1, i + 1);
    reduce_column(uplo, i, v[i - 1], v, v, ap, e[i - 1], tau[i - 1], tau);
  }
  for (Int i = 1; !A.upper && i < n; ++i) {
    T* const v = A.at(i + 1, i);
    reduce_column(uplo, n - i, v[0], v + 1, v, A.at(i + 1, i + 1), e[i - 1], tau[i - 1], tau + (i - 1));
  }
  for (Int i = 1; i <= n; ++i) d[i - 1] = std::real(A(i, i));
}

}  // namespace nuv

#include "symmetric/packed_reduction.entries.inc"
