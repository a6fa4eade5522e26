#pragma once

// Vectors of the widest registers that the instruction set in compilation has. A source that includes this header is
// compiled once for each set, with NUV_ISA naming it, and keeps everything of its own inside
//
//     namespace nuv::X::inline NUV_ISA { ... }
//
// so that no function compiled for one set is ever linked into the code for another.

#include <immintrin.h>

#include <cstring>
#include <utility>

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

/// An integer for each lane, of the lane's size.
template <RealScalar R>
struct LaneIndexOf {
  using Index = std::conditional_t<sizeof(R) == 8, std::int64_t, std::int32_t>;
  typedef Index type __attribute__((vector_size(vector_bytes)));
};
template <RealScalar R>
using LaneIndex = typename LaneIndexOf<R>::type;

#if defined(__AVX512F__)
#define NUV_SIMD_INTRINSIC(operation) _mm512_##operation
using DoubleRegister = __m512d;
using FloatRegister = __m512;
#elif defined(__AVX2__)
#define NUV_SIMD_INTRINSIC(operation) _mm256_##operation
using DoubleRegister = __m256d;
using FloatRegister = __m256;
#else
#define NUV_SIMD_INTRINSIC(operation) _mm_##operation
using DoubleRegister = __m128d;
using FloatRegister = __m128;
#endif
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
  return x - Simd<R>{};  // keeps the sign of zero, as 0 + x would not
}

/// Keeps a value that is used twice in a register; the compiler would rather load or compute it once more for each use.
template <class V>
[[gnu::always_inline]] inline V in_register(V x) {
  asm("" : "+v"(x));
  return x;
}

#if defined(__FMA__)
[[gnu::always_inline]] inline double fma(double a, double b, double c) {
  return __builtin_fma(a, b, c);
}
[[gnu::always_inline]] inline float fma(float a, float b, float c) {
  return __builtin_fmaf(a, b, c);
}
[[gnu::always_inline]] inline double fnma(double a, double b, double c) {
  return __builtin_fma(-a, b, c);
}
[[gnu::always_inline]] inline float fnma(float a, float b, float c) {
  return __builtin_fmaf(-a, b, c);
}
#endif

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

/// Lanes first ... last - 1 from memory, 0 <= first, last <= lanes; the others are zero, and their memory is not
/// touched.
[[gnu::always_inline]] inline Simd<double> load_between(const double* from, int first, int last) {
  return Simd<double>(_mm512_maskz_loadu_pd(static_cast<__mmask8>(((1u << last) - 1) & ~0u << first), from));
}
[[gnu::always_inline]] inline Simd<float> load_between(const float* from, int first, int last) {
  return Simd<float>(_mm512_maskz_loadu_ps(static_cast<__mmask16>(((1u << last) - 1) & ~0u << first), from));
}

/// Writes lanes first ... last - 1; memory beside them is not touched.
[[gnu::always_inline]] inline void store_between(double* to, Simd<double> x, int first, int last) {
  _mm512_mask_storeu_pd(to, static_cast<__mmask8>(((1u << last) - 1) & ~0u << first), __m512d(x));
}
[[gnu::always_inline]] inline void store_between(float* to, Simd<float> x, int first, int last) {
  _mm512_mask_storeu_ps(to, static_cast<__mmask16>(((1u << last) - 1) & ~0u << first), __m512(x));
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
/// a b + c for vectors or numbers, with one rounding where the set has such an instruction and two elsewhere.
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

#if defined(__AVX2__)

namespace detail {
/// All bits in lanes first ... last - 1.
[[gnu::always_inline]] inline __m256i quadwords_between(int first, int last) {
  const __m256i lane = _mm256_setr_epi64x(0, 1, 2, 3);
  return _mm256_andnot_si256(_mm256_cmpgt_epi64(_mm256_set1_epi64x(first), lane),
                             _mm256_cmpgt_epi64(_mm256_set1_epi64x(last), lane));
}
[[gnu::always_inline]] inline __m256i doublewords_between(int first, int last) {
  const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
  return _mm256_andnot_si256(_mm256_cmpgt_epi32(_mm256_set1_epi32(first), lane),
                             _mm256_cmpgt_epi32(_mm256_set1_epi32(last), lane));
}
}  // namespace detail

[[gnu::always_inline]] inline Simd<double> load_between(const double* from, int first, int last) {
  return Simd<double>(_mm256_maskload_pd(from, detail::quadwords_between(first, last)));
}
[[gnu::always_inline]] inline Simd<float> load_between(const float* from, int first, int last) {
  return Simd<float>(_mm256_maskload_ps(from, detail::doublewords_between(first, last)));
}
[[gnu::always_inline]] inline void store_between(double* to, Simd<double> x, int first, int last) {
  _mm256_maskstore_pd(to, detail::quadwords_between(first, last), __m256d(x));
}
[[gnu::always_inline]] inline void store_between(float* to, Simd<float> x, int first, int last) {
  _mm256_maskstore_ps(to, detail::doublewords_between(first, last), __m256(x));
}

template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> load_first(const R* from, int count) {
  return load_between(from, 0, count);
}

#else

template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> load_between(const R* from, int first, int last) {
  Simd<R> x{};
#pragma GCC unroll 4
  for (int i = 0; i < lanes<R>; ++i) {
    if (i >= first && i < last) x[i] = from[i];
  }
  return x;
}
template <RealScalar R>
[[gnu::always_inline]] inline void store_between(R* to, Simd<R> x, int first, int last) {
#pragma GCC unroll 4
  for (int i = 0; i < lanes<R>; ++i) {
    if (i >= first && i < last) to[i] = x[i];
  }
}

[[gnu::always_inline]] inline Simd<double> load_first(const double* from, int count) {
  if (count == 0) return Simd<double>{};
  return Simd<double>(count == 2 ? _mm_loadu_pd(from) : _mm_load_sd(from));
}
[[gnu::always_inline]] inline Simd<float> load_first(const float* from, int count) {
  if (count == 4) return load(from);
  const __m128 last = count & 1 ? _mm_load_ss(from + (count & 2)) : _mm_setzero_ps();
  if (count < 2) return Simd<float>(last);
  return Simd<float>(_mm_movelh_ps(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(from)), last));
}

#endif

namespace detail {
/// Halves, quarters ... of a vector to memory: a masked store is slow on many of these processors.
[[gnu::always_inline]] inline void store_first(double* to, __m128d x, int count) {
  if (count & 2) return _mm_storeu_pd(to, x);
  if (count & 1) _mm_store_sd(to, x);
}
[[gnu::always_inline]] inline void store_first(float* to, __m128 x, int count) {
  if (count & 4) return _mm_storeu_ps(to, x);
  if (count & 2) {
    _mm_storel_pi(reinterpret_cast<__m64*>(to), x);
    to += 2;
    x = _mm_movehl_ps(x, x);
  }
  if (count & 1) _mm_store_ss(to, x);
}
#if defined(__AVX2__)
[[gnu::always_inline]] inline void store_first(double* to, __m256d x, int count) {
  if (count & 4) return _mm256_storeu_pd(to, x);
  if (!(count & 2)) return store_first(to, _mm256_castpd256_pd128(x), count);
  _mm_storeu_pd(to, _mm256_castpd256_pd128(x));
  store_first(to + 2, _mm256_extractf128_pd(x, 1), count & 1);
}
[[gnu::always_inline]] inline void store_first(float* to, __m256 x, int count) {
  if (count & 8) return _mm256_storeu_ps(to, x);
  if (!(count & 4)) return store_first(to, _mm256_castps256_ps128(x), count);
  _mm_storeu_ps(to, _mm256_castps256_ps128(x));
  store_first(to + 4, _mm256_extractf128_ps(x, 1), count & 3);
}
#endif
}  // namespace detail

[[gnu::always_inline]] inline void store_first(double* to, Simd<double> x, int count) {
  detail::store_first(to, detail::DoubleRegister(x), count);
}
[[gnu::always_inline]] inline void store_first(float* to, Simd<float> x, int count) {
  detail::store_first(to, detail::FloatRegister(x), count);
}

#endif

template <RealScalar R>
struct Pair {
  Simd<R> first, second;
};

/// Lane i is lane choose(i) of x with y behind it. The choice is a function without a state, so that lanes are
/// constants.
template <RealScalar R, class Choose>
[[gnu::always_inline]] inline Simd<R> shuffle(Simd<R> x, Simd<R> y, Choose) {
  return [&]<int... lane>(std::integer_sequence<int, lane...>) __attribute__((always_inline)) {
    return __builtin_shufflevector(x, y, Choose{}(lane)...);
  }
  (std::make_integer_sequence<int, lanes<R>>());
}

/// x0 y0 x1 y1 ...: complex numbers from their real and imaginary parts.
template <RealScalar R>
[[gnu::always_inline]] inline Pair<R> interleave(Simd<R> x, Simd<R> y) {
  return {shuffle<R>(x, y, [](int i) { return i / 2 + (i % 2) * lanes<R>; }),
          shuffle<R>(x, y, [](int i) { return lanes<R> / 2 + i / 2 + (i % 2) * lanes<R>; })};
}

/// The inverse: real and imaginary parts of the complex numbers in two vectors.
template <RealScalar R>
[[gnu::always_inline]] inline Pair<R> deinterleave(Simd<R> first, Simd<R> second) {
  return {shuffle<R>(first, second, [](int i) { return 2 * i; }),
          shuffle<R>(first, second, [](int i) { return 2 * i + 1; })};
}

/// Each pair of neighbours exchanged: the parts of complex numbers.
template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> swap_neighbours(Simd<R> x) {
  return shuffle<R>(x, x, [](int i) { return i ^ 1; });
}

/// Lane i is lane i + first of x, counted round.
template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> turned(Simd<R> x, int first) {
#if defined(__AVX512F__)
  // The instructions take what is left of an index by lanes<R>. A mask keeps gcc from a warning about its own header.
  using Index = typename detail::LaneIndexOf<R>::Index;
  detail::LaneIndex<R> from{};
  for (int i = 0; i < lanes<R>; ++i) from[i] = static_cast<Index>(i + first);
  if constexpr (sizeof(R) == 8) {
    return Simd<R>(_mm512_maskz_permutexvar_pd(0xff, __m512i(from), __m512d(x)));
  } else {
    return Simd<R>(_mm512_maskz_permutexvar_ps(0xffff, __m512i(from), __m512(x)));
  }
#else
  Simd<R> y{};
  for (int i = 0; i < lanes<R>; ++i) y[i] = x[(i + first) % lanes<R>];
  return y;
#endif
}

/// x with zeros in lanes first ... last - 1, whatever stood there.
template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> without_lanes(Simd<R> x, int first, int last) {
  detail::LaneIndex<R> kept{};
  for (int i = 0; i < lanes<R>; ++i) kept[i] = i >= first && i < last ? 0 : -1;
  return Simd<R>(detail::LaneIndex<R>(x) & kept);
}

/// even, odd, even, odd ...
template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> alternating(R even, R odd) {
  return interleave<R>(broadcast(even), broadcast(odd)).first;
}

namespace detail {
template <RealScalar R, int width, class Combine, std::size_t... lane>
[[gnu::always_inline]] inline R fold(Simd<R> x, Combine combine, std::index_sequence<lane...> all) {
  if constexpr (width == 0) {
    return x[0];
  } else {
    const Simd<R> exchanged = __builtin_shufflevector(x, x, (lane ^ width)...);
    return fold<R, width / 2>(combine(x, exchanged), combine, all);
  }
}
}  // namespace detail

/// All lanes combined into one, by halves: lane i with lane i + lanes / 2, and so on.
template <RealScalar R, class Combine>
[[gnu::always_inline]] inline R fold_lanes(Simd<R> x, Combine combine) {
  return detail::fold<R, lanes<R> / 2>(x, combine, std::make_index_sequence<lanes<R>>());
}

/// Sum of all lanes, by halves.
template <RealScalar R>
[[gnu::always_inline]] inline R sum_of_lanes(Simd<R> x) {
  return fold_lanes<R>(x, [](Simd<R> a, Simd<R> b) { return a + b; });
}

template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> abs(Simd<R> x) {
  using Bits = detail::LaneIndex<R>;
  return Simd<R>(Bits(x) & ~Bits(broadcast(R(-0.0))));
}

/// Bit i: whether lanes i are equal.
[[gnu::always_inline]] inline unsigned equal_lanes(Simd<double> a, Simd<double> b) {
#if defined(__AVX512F__)
  return _mm512_cmp_pd_mask(__m512d(a), __m512d(b), _CMP_EQ_OQ);
#else
  return static_cast<unsigned>(NUV_SIMD_INTRINSIC(movemask_pd)(detail::DoubleRegister(a == b)));
#endif
}
[[gnu::always_inline]] inline unsigned equal_lanes(Simd<float> a, Simd<float> b) {
#if defined(__AVX512F__)
  return _mm512_cmp_ps_mask(__m512(a), __m512(b), _CMP_EQ_OQ);
#else
  return static_cast<unsigned>(NUV_SIMD_INTRINSIC(movemask_ps)(detail::FloatRegister(a == b)));
#endif
}

#if defined(__AVX512F__)

/// lanes<double> single-precision numbers from memory, in double precision.
[[gnu::always_inline]] inline Simd<double> load_wide(const float* from) {
  return Simd<double>(_mm512_maskz_cvtps_pd(0xff, _mm256_loadu_ps(from)));
}

/// The first `count` of them; the other lanes are zero, and their memory is not touched.
[[gnu::always_inline]] inline Simd<double> load_wide_first(const float* from, int count) {
  const __m256 x = _mm256_maskz_loadu_ps(static_cast<__mmask8>((1u << count) - 1), from);
  return Simd<double>(_mm512_maskz_cvtps_pd(0xff, x));
}

#elif defined(__AVX2__)

[[gnu::always_inline]] inline Simd<double> load_wide(const float* from) {
  return Simd<double>(_mm256_cvtps_pd(_mm_loadu_ps(from)));
}

[[gnu::always_inline]] inline Simd<double> load_wide_first(const float* from, int count) {
  const __m128i wanted = _mm_cmpgt_epi32(_mm_set1_epi32(count), _mm_setr_epi32(0, 1, 2, 3));
  return Simd<double>(_mm256_cvtps_pd(_mm_maskload_ps(from, wanted)));
}

#else

[[gnu::always_inline]] inline Simd<double> load_wide(const float* from) {
  return Simd<double>(_mm_cvtps_pd(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(from))));
}

[[gnu::always_inline]] inline Simd<double> load_wide_first(const float* from, int count) {
  if (count == 2) return load_wide(from);
  return count == 1 ? Simd<double>{*from, 0} : Simd<double>{};
}

#endif

#undef NUV_SIMD_INTRINSIC

namespace detail {
/// Sums of neighbouring runs of `unit` lanes, those of x and those of y: in turn inside each sixteen bytes while the
/// runs are shorter than that, then those of y behind those of x.
template <int unit, RealScalar R>
[[gnu::always_inline]] inline Simd<R> add_neighbours(Simd<R> x, Simd<R> y) {
  constexpr auto place = [](int i) {
    constexpr int part = 16 / static_cast<int>(sizeof(R));
    const int run = i % part / unit;
    if (unit < part) return i / part * part + run / 2 * unit + i % unit + run % 2 * lanes<R>;
    return i / part * 2 * part + i % part;
  };
  constexpr auto place_of_next = [](int i) {
    constexpr int part = 16 / static_cast<int>(sizeof(R));
    return decltype(place){}(i) + (unit < part ? part / 2 : part);
  };
  return shuffle<R>(x, y, place) + shuffle<R>(x, y, place_of_next);
}

template <int unit, int count, RealScalar R>
[[gnu::always_inline]] inline void add_all_neighbours(Simd<R> (&x)[count], R* sums) {
  if constexpr (unit < lanes<R>) {
    constexpr int half = (count + 1) / 2;
    Simd<R> y[half];
#pragma GCC unroll 16
    for (int k = 0; k < half; ++k) y[k] = add_neighbours<unit, R>(x[2 * k], x[2 * k + 1 < count ? 2 * k + 1 : 2 * k]);
    add_all_neighbours<2 * unit>(y, sums);
  } else {
    std::memcpy(sums, x, sizeof x);
  }
}
}  // namespace detail

/// Numbers that sums_of_lanes writes for `count` vectors: whole vectors.
template <RealScalar R>
constexpr int padded_to_lanes(int count) {
  return (count + lanes<R> - 1) / lanes<R> * lanes<R>;
}

/// sums[k] = sum of all lanes of x[k], by neighbours; far fewer steps than one vector after another would take. What
/// stands behind the first `count` of the padded_to_lanes(count) numbers that are written has no meaning.
template <int count, RealScalar R>
[[gnu::always_inline]] inline void sums_of_lanes(Simd<R> (&x)[count], R* sums) {
  detail::add_all_neighbours<1>(x, sums);
}

}  // namespace nuv::simd::inline NUV_ISA
