#include "kernels/level1/multiplier.hpp"
#include "kernels/level1/walks.hpp"

// Operations of a full vector y and a compressed one: nz numbers x and the places in y, counted from one and all
// different, where they belong (D. S. Dodson, R. G. Grimes and J. G. Lewis, Sparse Extensions to the Fortran Basic
// Linear Algebra Subprograms, ACM TOMS 17, 1991).

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// Calls visit(x_i, y at the place of x_i) for all nz elements.
template <class X, class Y, class Visit>
[[gnu::always_inline]] inline void for_each_place(Int nz, X* x, const Int* indx, Y* y, Visit visit) {
  for (Int i = 0; i < nz; ++i) visit(x[i], y[std::ptrdiff_t{indx[i]} - 1]);
}

template <bool conjugated, Scalar T>
[[gnu::always_inline]] inline T sparse_dot(Int nz, const T* x, const Int* indx, const T* y) {
  if (nz < 1) return T(0);
  return sum_over_elements<T>(
      nz, [=](T& sum, Int i) { sum += (conjugated ? conjugate(x[i]) : x[i]) * y[std::ptrdiff_t{indx[i]} - 1]; });
}

}  // namespace

/// y := alpha x + y
template <Scalar T>
[[gnu::always_inline]] inline void axpyi(Int nz, T alpha, const T* x, const Int* indx, T* y) {
  if (alpha == T(0)) return;
  const Multiplier<T> by_alpha(alpha);
  for_each_place(nz, x, indx, y, [=](const T& xi, T& yi) { yi = by_alpha.times_plus(xi, yi); });
}

/// x^T y
template <RealScalar T>
[[gnu::always_inline]] inline T doti(Int nz, const T* x, const Int* indx, const T* y) {
  return sparse_dot<false>(nz, x, indx, y);
}

/// x^T y
template <ComplexScalar T>
[[gnu::always_inline]] inline T dotui(Int nz, const T* x, const Int* indx, const T* y) {
  return sparse_dot<false>(nz, x, indx, y);
}

/// x^H y
template <ComplexScalar T>
[[gnu::always_inline]] inline T dotci(Int nz, const T* x, const Int* indx, const T* y) {
  return sparse_dot<true>(nz, x, indx, y);
}

/// x := the elements of y at the places
template <Scalar T>
[[gnu::always_inline]] inline void gthr(Int nz, const T* y, T* x, const Int* indx) {
  for_each_place(nz, x, indx, y, [](T& xi, const T& yi) { xi = yi; });
}

/// The same, and sets those elements of y to zero.
template <Scalar T>
[[gnu::always_inline]] inline void gthrz(Int nz, T* y, T* x, const Int* indx) {
  for_each_place(nz, x, indx, y, [](T& xi, T& yi) {
    xi = yi;
    yi = T(0);
  });
}

/// A plane rotation: x := c x + s y, y := c y - s x.
template <RealScalar T>
[[gnu::always_inline]] inline void roti(Int nz, T* x, const Int* indx, T* y, T c, T s) {
  for_each_place(nz, x, indx, y, [=](T& xi, T& yi) {
    const T rotated = c * xi + s * yi;
    yi = c * yi - s * xi;
    xi = rotated;
  });
}

/// The elements of y at the places := x
template <Scalar T>
[[gnu::always_inline]] inline void sctr(Int nz, const T* x, const Int* indx, T* y) {
  for_each_place(nz, x, indx, y, [](const T& xi, T& yi) { yi = xi; });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/sparse.entries.inc"
