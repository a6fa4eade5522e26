#include "pair_solver.hpp"

#include <algorithm>
#include <complex>
#include <utility>

#include "routines.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

/// What the driver leaves: U^H A Q = D1 (0 R), V^H B Q = D2 (0 R).
template <Scalar T>
struct DriverResult {
  using R = Real<T>;

  DenseMatrix<T> a, b, u, v, q;
  std::vector<R> alpha, beta;
  std::vector<Int> partners;
  Int k = 0, l = 0, info = 0;

  DriverResult(DenseMatrix<T> a_, DenseMatrix<T> b_, bool with_vectors)
      : a(std::move(a_)),
        b(std::move(b_)),
        u(square(a.rows, with_vectors)),
        v(square(b.rows, with_vectors)),
        q(square(a.columns, with_vectors)),
        alpha(std::size_t(a.columns) + 1),
        beta(alpha.size()),
        partners(alpha.size()) {
    const Int m = a.rows, n = a.columns, p = b.rows;
    const char jobu = with_vectors ? 'U' : 'N', jobv = with_vectors ? 'V' : 'N', jobq = with_vectors ? 'Q' : 'N';
    const Int lda = a.ld(), ldb = b.ld(), ldu = u.ld(), ldv = v.ld(), ldq = q.ld();
    std::vector<T> work(3 * std::size_t(n) + std::size_t(std::max(m, p)) + std::size_t(n) + 1);
    std::vector<R> reals(ComplexScalar<T> ? 2 * std::size_t(n) + 1 : 0);
    const auto call = [&](auto... space) {
      Routines<T>::ggsvd(&jobu, &jobv, &jobq, &m, &n, &p, &k, &l, a.elements.data(), &lda, b.elements.data(), &ldb,
                         alpha.data(), beta.data(), u.elements.data(), &ldu, v.elements.data(), &ldv, q.elements.data(),
                         &ldq, work.data(), space..., partners.data(), &info, 1, 1, 1);
    };
    if constexpr (ComplexScalar<T>) call(reals.data());
    else call();
    require_accepted(info);
  }

  Int rank() const { return k + l; }

  /// R, of which the last rows are in B where A has too few.
  DenseMatrix<T> triangle() const {
    const Int r = rank(), first = a.columns - r;
    DenseMatrix<T> result(r, r);
    for (Int j = 1; j <= r; ++j) {
      for (Int i = 1; i <= j; ++i) result(i, j) = i <= a.rows ? a(i, first + j) : b(i - k, first + j);
    }
    return result;
  }

  /// X = Q (0 R)^H
  DenseMatrix<T> right() const {
    const Int n = a.columns, r = rank(), ldq = q.ld();
    DenseMatrix<T> x(n, r);
    if (r == 0) return x;
    const DenseMatrix<T> triangle_of_both = triangle();
    const T one(1), zero(0);
    const Int ldr = triangle_of_both.ld(), ldx = x.ld();
    Routines<T>::gemm("N", "C", &n, &r, &r, &one, q.column(n - r + 1), &ldq, triangle_of_both.elements.data(), &ldr,
                      &zero, x.elements.data(), &ldx, 1, 1);
    return x;
  }

 private:
  static DenseMatrix<T> square(Int order, bool is_there) { return {is_there ? order : 0, is_there ? order : 0}; }
};

template <Scalar T>
void swap_columns(DenseMatrix<T>& a, Int i, Int j) {
  if (i != j) std::swap_ranges(a.column(i), a.column(i) + a.rows, a.column(j));
}

}  // namespace

template <Scalar T>
PairDecomposition<T> decomposed(DenseMatrix<T> a, DenseMatrix<T> b, bool with_vectors) {
  DriverResult<T> found(std::move(a), std::move(b), with_vectors);
  PairDecomposition<T> result;
  result.info = found.info;
  if (found.info != 0) return result;
  const Int k = found.k, rank = found.rank();
  result.rank_of_b = found.l;
  if (with_vectors) result.right = found.right();
  // The exchanges that sort the pairs, with all that belongs to them.
  for (Int i = k + 1; i <= std::min(rank, found.a.rows); ++i) {
    const Int j = found.partners[std::size_t(i - 1)];
    std::swap(found.alpha[std::size_t(i - 1)], found.alpha[std::size_t(j - 1)]);
    std::swap(found.beta[std::size_t(i - 1)], found.beta[std::size_t(j - 1)]);
    if (!with_vectors) continue;
    swap_columns(found.u, i, j);
    swap_columns(found.v, i - k, j - k);
    swap_columns(result.right, i, j);
  }
  result.cosines.assign(found.alpha.begin(), found.alpha.begin() + rank);
  result.sines.assign(found.beta.begin(), found.beta.begin() + rank);
  result.left_of_a = std::move(found.u);
  result.left_of_b = std::move(found.v);
  return result;
}

#define NUV_INSTANTIATE(T) template PairDecomposition<T> decomposed(DenseMatrix<T>, DenseMatrix<T>, bool);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
