#pragma once

// Stores that go past the caches, for results too large to stay in them: the processor need not read a line before it
// overwrites it. All of it is inlined, since the kernels are compiled for several instruction sets and linked together.

#include <emmintrin.h>

#include <algorithm>

#include "base/types.hpp"

namespace nuv {

/// Bytes of a result from which on it is written past the caches: as many as the last level keeps for one core on
/// present processors.
inline constexpr double streaming_bytes = 32 << 20;

template <Scalar T>
[[gnu::always_inline]] inline bool is_streamed(Int m, Int n) {
  return double(m) * n * sizeof(T) >= streaming_bytes;
}

/// Number of reals before the next address that such a store may go to; all of them if none of them stands there, as
/// may happen with doubles on 32-bit machines.
template <RealScalar R>
[[gnu::always_inline]] inline std::ptrdiff_t reals_to_boundary(const R* x, std::ptrdiff_t count) {
  const auto beyond = reinterpret_cast<std::uintptr_t>(x) % sizeof(__m128i);
  if (beyond % sizeof(R) != 0) return count;
  return std::min<std::ptrdiff_t>(count, beyond == 0 ? 0 : (sizeof(__m128i) - beyond) / sizeof(R));
}

/// to(0 ... count - 1) := from(0 ... count - 1). Other threads see it after a store fence.
template <Scalar T>
[[gnu::always_inline]] inline void stream_copy(const T* from, Int count, T* to) {
  using R = Real<T>;
  constexpr int width = sizeof(__m128i) / sizeof(R);
  const auto* x = reinterpret_cast<const R*>(from);
  auto* y = reinterpret_cast<R*>(to);
  const std::ptrdiff_t size = std::ptrdiff_t{count} * std::ptrdiff_t(sizeof(T) / sizeof(R));
  std::ptrdiff_t i = reals_to_boundary(y, size);
  std::copy(x, x + i, y);
#pragma GCC unroll 4
  for (; i + width <= size; i += width) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(y + i), _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i)));
  }
  std::copy(x + i, x + size, y + i);
}

/// to(0 ... count - 1) := value. Other threads see it after a store fence.
template <Scalar T>
[[gnu::always_inline]] inline void stream_fill(T value, Int count, T* to) {
  using R = Real<T>;
  constexpr int width = sizeof(__m128i) / sizeof(R), parts = sizeof(T) / sizeof(R);
  auto* y = reinterpret_cast<R*>(to);
  const std::ptrdiff_t size = std::ptrdiff_t{count} * parts;
  const std::ptrdiff_t before = reals_to_boundary(y, size);
  const auto part = [&](std::ptrdiff_t i) { return reinterpret_cast<const R(&)[parts]>(value)[i % parts]; };
  R pattern[width];
  for (int k = 0; k < width; ++k) pattern[k] = part(before + k);
  const __m128i pack = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pattern));
  std::ptrdiff_t i = 0;
  for (; i < before; ++i) y[i] = part(i);
  for (; i + width <= size; i += width) _mm_stream_si128(reinterpret_cast<__m128i*>(y + i), pack);
  for (; i < size; ++i) y[i] = part(i);
}

[[gnu::always_inline]] inline void finish_streaming() {
  _mm_sfence();
}

}  // namespace nuv
