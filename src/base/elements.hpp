#pragma once

// Elements of a matrix in the lanes of vectors: a complex number takes two lanes beside each other, as it does in
// memory.

#include "base/simd.hpp"

namespace nuv::simd::inline NUV_ISA {

template <Scalar T>
inline constexpr int lanes_per_element = ComplexScalar<T> ? 2 : 1;

template <Scalar T>
inline constexpr int elements_per_vector = vector_bytes / static_cast<int>(sizeof(T));

/// Elements x0 y0 x1 y1 ... of two vectors.
template <Scalar T>
[[gnu::always_inline]] inline Pair<Real<T>> interleave_elements(Simd<Real<T>> x, Simd<Real<T>> y) {
  using R = Real<T>;
  if constexpr (RealScalar<T>) {
    return interleave<R>(x, y);
  } else if constexpr (elements_per_vector<T> == 1) {
    return {x, y};
  } else {
    return {shuffle<R>(x, y, [](int i) { return i / 4 * 2 + i % 2 + (i / 2 % 2) * lanes<R>; }),
            shuffle<R>(x, y, [](int i) { return lanes<R> / 2 + i / 4 * 2 + i % 2 + (i / 2 % 2) * lanes<R>; })};
  }
}

/// `rows` vectors, a power of two, become their columns: read one after the other they then hold the first element of
/// each row, the second of each, and so on. Each step turns the bits of an element's place (row, column) by one.
template <Scalar T, int rows>
[[gnu::always_inline]] inline void transpose(Simd<Real<T>> (&x)[rows]) {
#pragma GCC unroll 4
  for (int step = 1; step < rows; step *= 2) {
    Simd<Real<T>> turned[rows];
#pragma GCC unroll 8
    for (int i = 0; i < rows / 2; ++i) {
      const auto pair = interleave_elements<T>(x[i], x[i + rows / 2]);
      turned[2 * i] = pair.first;
      turned[2 * i + 1] = pair.second;
    }
#pragma GCC unroll 16
    for (int i = 0; i < rows; ++i) x[i] = turned[i];
  }
}

}  // namespace nuv::simd::inline NUV_ISA
