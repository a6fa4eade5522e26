// Elementary reflectors of two and three elements, applied to vectors side by side. The bulge chase of the QR and QZ
// iterations turns neighbouring columns with them.

#include "kernels/special/elements.hpp"
#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// t and the elements v2, v3 ... behind the leading one of a reflector, in all lanes.
template <Scalar T, int count>
struct Reflector {
  Factor<T> t, v[count], conjugated_v[count];

  Reflector(T t_, const T (&v_)[count]) : t(t_) {
    for (int k = 0; k < count; ++k) {
      v[k] = Factor<T>(v_[k]);
      conjugated_v[k] = Factor<T>(conjugate(v_[k]));
    }
  }

  /// sum := t (x + v2 y + v3 z); x, y, z -= sum, sum conj(v2), sum conj(v3)
  [[gnu::always_inline]] void apply(Simd<Real<T>>& x, Simd<Real<T>> (&others)[count]) const {
    Simd<Real<T>> sum = x;
#pragma GCC unroll 2
    for (int k = 0; k < count; ++k) sum = v[k].add_product(sum, others[k]);
    sum = t.product(sum);
    x -= sum;
#pragma GCC unroll 2
    for (int k = 0; k < count; ++k) others[k] = conjugated_v[k].subtract_product(others[k], sum);
  }
};

template <Scalar T, int count>
void reflect_strided(Int n, T* x, Int incx, T* const (&others)[count], const Int (&incs)[count], T t,
                     const T (&v)[count]) {
  T* const first = first_element(x, n, incx);
  T* firsts[count];
  for (int k = 0; k < count; ++k) firsts[k] = first_element(others[k], n, incs[k]);
  for (Int i = 0; i < n; ++i) {
    T& target = element(first, i, incx);
    T sum = target;
    for (int k = 0; k < count; ++k) sum += v[k] * element(firsts[k], i, incs[k]);
    sum = t * sum;
    target -= sum;
    for (int k = 0; k < count; ++k) element(firsts[k], i, incs[k]) -= sum * conjugate(v[k]);
  }
}

template <Scalar T, int count>
void reflect_contiguous(Int n, T* x, T* const (&others)[count], T t, const T (&v)[count]) {
  constexpr int width = elements_per_vector<T>;
  const Reflector<T, count> reflector(t, v);
  Simd<Real<T>> vector, other[count];
  Int i = 0;
  for (; i + width <= n; i += width) {
    vector = load_elements(x + i);
#pragma GCC unroll 2
    for (int k = 0; k < count; ++k) other[k] = load_elements(others[k] + i);
    reflector.apply(vector, other);
    store_elements(x + i, vector);
#pragma GCC unroll 2
    for (int k = 0; k < count; ++k) store_elements(others[k] + i, other[k]);
  }
  const int rest = n - i;
  if (rest == 0) return;
  vector = load_elements(x + i, rest);
#pragma GCC unroll 2
  for (int k = 0; k < count; ++k) other[k] = load_elements(others[k] + i, rest);
  reflector.apply(vector, other);
  store_elements(x + i, vector, rest);
#pragma GCC unroll 2
  for (int k = 0; k < count; ++k) store_elements(others[k] + i, other[k], rest);
}

}  // namespace

/// For each pair of n elements: sum := t (x + v2 y), x := x - sum, y := y - sum conj(v2).
template <Scalar T>
void rot2(Int n, T* x, Int incx, T* y, Int incy, T t, T v2) {
  if (n <= 0) return;
  if (incx == 1 && incy == 1) return reflect_contiguous<T, 1>(n, x, {y}, t, {v2});
  reflect_strided<T, 1>(n, x, incx, {y}, {incy}, t, {v2});
}

/// For each triple of n elements: sum := t (x + v2 y + v3 z), x := x - sum, y := y - sum conj(v2),
/// z := z - sum conj(v3).
template <Scalar T>
void rot3(Int n, T* x, Int incx, T* y, Int incy, T* z, Int incz, T t, T v2, T v3) {
  if (n <= 0) return;
  if (incx == 1 && incy == 1 && incz == 1) return reflect_contiguous<T, 2>(n, x, {y, z}, t, {v2, v3});
  reflect_strided<T, 2>(n, x, incx, {y, z}, {incy, incz}, t, {v2, v3});
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/rot3.entries.inc"
