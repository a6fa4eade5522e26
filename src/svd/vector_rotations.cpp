#include "svd/vector_rotations.hpp"

#include <cmath>

#include "environment/rotation.hpp"

namespace nuv {
namespace {

/// The rotation of one pair, by quotients that can't overflow.
template <RealScalar R>
void rotate_pair(R f, R g, R& c, R& s, R& r) {
  if (g == 0) {
    c = 1;
    s = 0;
    r = f;
  } else if (f == 0) {
    c = 0;
    s = 1;
    r = g;
  } else if (std::abs(f) > std::abs(g)) {
    const R t = g / f, length = std::sqrt(1 + t * t);
    c = 1 / length;
    s = t * c;
    r = f * length;
  } else {
    const R t = f / g, length = std::sqrt(1 + t * t);
    s = 1 / length;
    c = t * s;
    r = g * length;
  }
}

/// The difference of an infinity from itself is none.
template <ComplexScalar T>
void rotate_pair(T f, T g, Real<T>& c, T& s, T& r) {
  const Real<T> spread = (f.real() - f.real()) + (f.imag() - f.imag()) + (g.real() - g.real()) + (g.imag() - g.imag());
  if (spread == 0) {
    lartg(f, g, c, s, r);
  } else {
    c = spread;
    s = r = T(spread, spread);
  }
}

}  // namespace

template <Scalar T>
void largv(Int n, T* x, Int incx, T* y, Int incy, Real<T>* c, Int incc) {
  for (; n > 0; --n, x += incx, y += incy, c += incc) rotate_pair(*x, *y, *c, *y, *x);
}

template <Scalar T>
void lar2v(Int n, T* x, T* y, T* z, Int incx, const Real<T>* c, const T* s, Int incc) {
  using R = Real<T>;
  for (; n > 0; --n, x += incx, y += incx, z += incx, c += incc, s += incc) {
    const R xi = std::real(*x), yi = std::real(*y), ci = *c;
    const T zi = *z, si = *s;
    // The product from the right first.
    const T a11 = ci * xi + si * zi, a12 = ci * zi - conjugate(si) * xi;
    const T a21 = ci * conjugate(zi) + si * yi, a22 = ci * yi - conjugate(si * zi);
    *x = std::real(ci * a11 + conjugate(si) * a21);
    *y = std::real(ci * a22 - si * a12);
    *z = ci * a12 + conjugate(si) * a22;
  }
}

}  // namespace nuv

#include "svd/vector_rotations.entries.inc"
