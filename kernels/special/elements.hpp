#pragma once

// Loads and stores of elements of a matrix, and arithmetic with them in vectors.

#include <utility>

#include "base/elements.hpp"

namespace nuv::kernels::inline NUV_ISA {

using simd::elements_per_vector;
using simd::lanes;
using simd::lanes_per_element;
using simd::Simd;
using simd::transpose;

/// The numbers that elements consist of.
template <Scalar T>
[[gnu::always_inline]] inline const Real<T>* parts_of(const T* x) {
  return reinterpret_cast<const Real<T>*>(x);
}
template <Scalar T>
[[gnu::always_inline]] inline Real<T>* parts_of(T* x) {
  return reinterpret_cast<Real<T>*>(x);
}

template <Scalar T>
[[gnu::always_inline]] inline Simd<Real<T>> load_elements(const T* from) {
  return simd::load(parts_of(from));
}
template <Scalar T>
[[gnu::always_inline]] inline Simd<Real<T>> load_elements(const T* from, int count) {
  return simd::load_first(parts_of(from), count * lanes_per_element<T>);
}
template <Scalar T>
[[gnu::always_inline]] inline void store_elements(T* to, Simd<Real<T>> x) {
  simd::store(parts_of(to), x);
}
template <Scalar T>
[[gnu::always_inline]] inline void store_elements(T* to, Simd<Real<T>> x, int count) {
  simd::store_first(parts_of(to), x, count * lanes_per_element<T>);
}

/// Elements `begin` to `end` of those that a vector at `from` would hold, in their lanes; the memory of the others is
/// not touched, and their lanes are zero.
template <Scalar T>
[[gnu::always_inline]] inline Simd<Real<T>> load_element_range(const T* from, int begin, int end) {
  return simd::load_between(parts_of(from), begin * lanes_per_element<T>, end * lanes_per_element<T>);
}

/// One lane in all lanes.
template <RealScalar R, int lane>
[[gnu::always_inline]] inline Simd<R> broadcast_lane(Simd<R> x) {
  return simd::shuffle<R>(x, x, [](int) { return lane; });
}

/// i x for complex elements.
template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> times_i(Simd<R> x) {
  return simd::swap_neighbours<R>(x) * simd::alternating(R(-1), R(1));
}

/// A number in all lanes, to multiply elements by.
template <Scalar T>
struct Factor {
  Simd<T> value;

  Factor() = default;
  [[gnu::always_inline]] explicit Factor(T x) : value(simd::broadcast(x)) {}

  /// sum + x f
  [[gnu::always_inline]] Simd<T> add_product(Simd<T> sum, Simd<T> x) const { return simd::fma(x, value, sum); }
  /// sum - x f
  [[gnu::always_inline]] Simd<T> subtract_product(Simd<T> sum, Simd<T> x) const { return simd::fnma(x, value, sum); }
  /// x f
  [[gnu::always_inline]] Simd<T> product(Simd<T> x) const { return x * value; }
};

template <RealScalar R>
struct Factor<std::complex<R>> {
  Simd<R> re, im;  // im holds -Im f, Im f, -Im f, ...: what meets an element with its parts exchanged

  Factor() = default;
  [[gnu::always_inline]] explicit Factor(std::complex<R> x)
      : re(simd::broadcast(x.real())), im(simd::alternating(R(0) - x.imag(), x.imag())) {}

  [[gnu::always_inline]] Simd<R> add_product(Simd<R> sum, Simd<R> x) const {
    return simd::fma(simd::swap_neighbours<R>(x), im, simd::fma(x, re, sum));
  }
  [[gnu::always_inline]] Simd<R> subtract_product(Simd<R> sum, Simd<R> x) const {
    return simd::fnma(simd::swap_neighbours<R>(x), im, simd::fnma(x, re, sum));
  }
  [[gnu::always_inline]] Simd<R> product(Simd<R> x) const { return simd::fma(simd::swap_neighbours<R>(x), im, x * re); }
};

}  // namespace nuv::kernels::inline NUV_ISA
