#pragma once

// Vectors of the widest registers that the instruction set in compilation has. A source that includes this header is
// compiled once for each set, with NUV_ISA naming it, and keeps everything of its own inside
//
//     namespace nuv::X::inline NUV_ISA { ... }
//
// so that no function compiled for one set is ever linked into the code for another.

#include <immintrin.h>

#include <cstring>

#include "base/types.hpp"

namespace nuv::simd::inline NUV_ISA {

#if defined(__AVX512F__)
inline constexpr int vector_bytes = 64;
inline constexpr int vector_registers = 32;
#elif defined(__AVX2__)
inline constexpr int vector_bytes = 32;
inline constexpr int vector_registers = 16;
#else
inline constexpr int vector_bytes = 16;
inline constexpr int vector_registers = sizeof(void*) == 8 ? 16 : 8;
#endif

#if defined(__FMA__)
inline constexpr bool has_fused_multiply_add = true;
#else
inline constexpr bool has_fused_multiply_add = false;
#endif

template <RealScalar R>
inline constexpr int lanes = vector_bytes / static_cast<int>(sizeof(R));

namespace detail {
template <RealScalar R>
struct VectorOf;
template <>
struct VectorOf<float> {
  typedef float type __attribute__((vector_size(vector_bytes)));
  typedef float unaligned __attribute__((vector_size(vector_bytes), aligned(4), may_alias));
};
template <>
struct VectorOf<double> {
  typedef double type __attribute__((vector_size(vector_bytes)));
  typedef double unaligned __attribute__((vector_size(vector_bytes), aligned(8), may_alias));
};
}  // namespace detail

/// lanes<R> numbers; +, -, *, / work lane by lane.
template <RealScalar R>
using Simd = typename detail::VectorOf<R>::type;

template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> load(const R* from) {
  return *reinterpret_cast<const typename detail::VectorOf<R>::unaligned*>(from);
}

template <RealScalar R>
[[gnu::always_inline]] inline void store(R* to, Simd<R> x) {
  *reinterpret_cast<typename detail::VectorOf<R>::unaligned*>(to) = x;
}

template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> broadcast(R x) {
  return Simd<R>{} + x;
}

#if defined(__AVX512F__)

[[gnu::always_inline]] inline Simd<double> fma(Simd<double> a, Simd<double> b, Simd<double> c) {
  return Simd<double>(_mm512_fmadd_pd(__m512d(a), __m512d(b), __m512d(c)));
}
[[gnu::always_inline]] inline Simd<float> fma(Simd<float> a, Simd<float> b, Simd<float> c) {
  return Simd<float>(_mm512_fmadd_ps(__m512(a), __m512(b), __m512(c)));
}
[[gnu::always_inline]] inline Simd<double> fnma(Simd<double> a, Simd<double> b, Simd<double> c) {
  return Simd<double>(_mm512_fnmadd_pd(__m512d(a), __m512d(b), __m512d(c)));
}
[[gnu::always_inline]] inline Simd<float> fnma(Simd<float> a, Simd<float> b, Simd<float> c) {
  return Simd<float>(_mm512_fnmadd_ps(__m512(a), __m512(b), __m512(c)));
}

/// The first `count` lanes from memory, 0 <= count <= lanes; the others are zero, and their memory is not touched.
[[gnu::always_inline]] inline Simd<double> load_first(const double* from, int count) {
  return Simd<double>(_mm512_maskz_loadu_pd(static_cast<__mmask8>((1u << count) - 1), from));
}
[[gnu::always_inline]] inline Simd<float> load_first(const float* from, int count) {
  return Simd<float>(_mm512_maskz_loadu_ps(static_cast<__mmask16>((1u << count) - 1), from));
}

/// Writes the first `count` lanes; memory behind them is not touched.
[[gnu::always_inline]] inline void store_first(double* to, Simd<double> x, int count) {
  _mm512_mask_storeu_pd(to, static_cast<__mmask8>((1u << count) - 1), __m512d(x));
}
[[gnu::always_inline]] inline void store_first(float* to, Simd<float> x, int count) {
  _mm512_mask_storeu_ps(to, static_cast<__mmask16>((1u << count) - 1), __m512(x));
}

#else

#if defined(__FMA__)
[[gnu::always_inline]] inline Simd<double> fma(Simd<double> a, Simd<double> b, Simd<double> c) {
  return Simd<double>(_mm256_fmadd_pd(__m256d(a), __m256d(b), __m256d(c)));
}
[[gnu::always_inline]] inline Simd<float> fma(Simd<float> a, Simd<float> b, Simd<float> c) {
  return Simd<float>(_mm256_fmadd_ps(__m256(a), __m256(b), __m256(c)));
}
[[gnu::always_inline]] inline Simd<double> fnma(Simd<double> a, Simd<double> b, Simd<double> c) {
  return Simd<double>(_mm256_fnmadd_pd(__m256d(a), __m256d(b), __m256d(c)));
}
[[gnu::always_inline]] inline Simd<float> fnma(Simd<float> a, Simd<float> b, Simd<float> c) {
  return Simd<float>(_mm256_fnmadd_ps(__m256(a), __m256(b), __m256(c)));
}
#else
/// a b + c, with one rounding where the set has such an instruction and two elsewhere.
template <class V>
[[gnu::always_inline]] inline V fma(V a, V b, V c) {
  return a * b + c;
}
/// c - a b
template <class V>
[[gnu::always_inline]] inline V fnma(V a, V b, V c) {
  return c - a * b;
}
#endif

template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> load_first(const R* from, int count) {
  Simd<R> x{};
  for (int i = 0; i < count; ++i) x[i] = from[i];
  return x;
}

template <RealScalar R>
[[gnu::always_inline]] inline void store_first(R* to, Simd<R> x, int count) {
  for (int i = 0; i < count; ++i) to[i] = x[i];
}

#endif

/// Sum of all lanes, by halves.
template <RealScalar R>
[[gnu::always_inline]] inline R sum_of_lanes(Simd<R> x) {
  R lane[lanes<R>];
  std::memcpy(lane, &x, sizeof x);
  for (int width = lanes<R> / 2; width > 0; width /= 2) {
    for (int i = 0; i < width; ++i) lane[i] += lane[i + width];
  }
  return lane[0];
}

template <RealScalar R>
struct Pair {
  Simd<R> first, second;
};

namespace detail {
/// Lane i of a shuffle of two vectors.
template <RealScalar R, class Choose>
[[gnu::always_inline]] inline auto lane_choice(Choose choose) {
  using Index = std::conditional_t<sizeof(R) == 8, std::int64_t, std::int32_t>;
  typedef Index IndexVector __attribute__((vector_size(vector_bytes)));
  IndexVector index{};
  for (int i = 0; i < lanes<R>; ++i) index[i] = choose(i);
  return index;
}
}  // namespace detail

/// x0 y0 x1 y1 ...: complex numbers from their real and imaginary parts.
template <RealScalar R>
[[gnu::always_inline]] inline Pair<R> interleave(Simd<R> x, Simd<R> y) {
  constexpr int n = lanes<R>;
  return {__builtin_shuffle(x, y, detail::lane_choice<R>([](int i) { return i / 2 + (i % 2) * n; })),
          __builtin_shuffle(x, y, detail::lane_choice<R>([](int i) { return n / 2 + i / 2 + (i % 2) * n; }))};
}

/// The inverse: real and imaginary parts of the complex numbers in two vectors.
template <RealScalar R>
[[gnu::always_inline]] inline Pair<R> deinterleave(Simd<R> first, Simd<R> second) {
  return {__builtin_shuffle(first, second, detail::lane_choice<R>([](int i) { return 2 * i; })),
          __builtin_shuffle(first, second, detail::lane_choice<R>([](int i) { return 2 * i + 1; }))};
}

}  // namespace nuv::simd::inline NUV_ISA
