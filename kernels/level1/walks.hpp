#pragma once

// Walks over vectors: contiguous ones a register at a time, others a number at a time. In registers a vector of complex
// numbers counts as twice as many reals.

#include "base/simd.hpp"
#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// All lanes of a register.
struct Whole {};

/// The first lanes of a register; the memory of the others is neither read nor written.
struct First {
  int count;
};

template <RealScalar R>
[[gnu::always_inline]] inline simd::Simd<R> load(const R* from, Whole) {
  return simd::in_register(simd::load(from));
}
template <RealScalar R>
[[gnu::always_inline]] inline simd::Simd<R> load(const R* from, First part) {
  return simd::load_first(from, part.count);
}

/// lanes<double> numbers of either precision as doubles.
[[gnu::always_inline]] inline simd::Simd<double> load_as_double(const double* from, auto part) {
  return load(from, part);
}
[[gnu::always_inline]] inline simd::Simd<double> load_as_double(const float* from, Whole) {
  return simd::load_wide(from);
}
[[gnu::always_inline]] inline simd::Simd<double> load_as_double(const float* from, First part) {
  return simd::load_wide_first(from, part.count);
}

template <RealScalar R>
[[gnu::always_inline]] inline void store(R* to, simd::Simd<R> x, Whole) {
  simd::store(to, x);
}
template <RealScalar R>
[[gnu::always_inline]] inline void store(R* to, simd::Simd<R> x, First part) {
  simd::store_first(to, x, part.count);
}

/// How many reals a number consists of.
template <Scalar T>
inline constexpr int parts = ComplexScalar<T> ? 2 : 1;

/// How many reals n numbers consist of.
template <Scalar T>
constexpr std::ptrdiff_t real_count(Int n) {
  return std::ptrdiff_t{n} * parts<T>;
}

template <Scalar T>
auto as_reals(T* x) {
  return reinterpret_cast<Real<T>*>(x);
}
template <Scalar T>
auto as_reals(const T* x) {
  return reinterpret_cast<const Real<T>*>(x);
}

/// How many reals, fewer than a register holds, stand before the next address that is a multiple of a register's size.
template <RealScalar R>
int reals_to_alignment(const R* address) {
  constexpr std::uintptr_t mask = simd::vector_bytes - 1;
  return static_cast<int>(-reinterpret_cast<std::uintptr_t>(address) & mask) / static_cast<int>(sizeof(R));
}

/// Calls step(i, part) for the registers that together cover n contiguous numbers, i the first real of each. On long
/// vectors whole registers stand at aligned addresses of `written`, so that no store is split between cache lines.
template <Scalar T, class Step>
[[gnu::always_inline]] inline void for_each_register(Int n, const T* written, Step step) {
  constexpr int lanes = simd::lanes<Real<T>>;
  constexpr int unrolled = 4;
  const std::ptrdiff_t end = real_count<T>(n);
  std::ptrdiff_t i = 0;
  if (end >= 4 * unrolled * lanes) {
    const int head = reals_to_alignment(as_reals(written));
    if (head != 0 && head % parts<T> == 0) {
      step(i, First{head});
      i = head;
    }
    for (; i + unrolled * lanes <= end; i += unrolled * lanes) {
#pragma GCC unroll 4
      for (int k = 0; k < unrolled; ++k) step(i + k * lanes, Whole{});
    }
  }
  for (; i + lanes <= end; i += lanes) step(i, Whole{});
  if (i < end) step(i, First{static_cast<int>(end - i)});
}

/// Calls change(x_i) for each number of a vector, on numbers or on registers full of them. Less than a register is
/// changed by numbers: what is written under a mask takes long to be read again.
template <Scalar T, class Change>
[[gnu::always_inline]] inline void for_each_element(Int n, T* x, Int incx, Change change) {
  if (incx == 1 && real_count<T>(n) >= simd::lanes<Real<T>>) {
    const auto reals = as_reals(x);
    for_each_register(n, x, [=](std::ptrdiff_t i, auto part) {
      auto xi = load(reals + i, part);
      change(xi);
      store(reals + i, xi, part);
    });
  } else {
    for (Int i = 0; i < n; ++i) change(element(x, i, incx));
  }
}

/// Calls change(x_i, y_i) for each pair of numbers of two vectors, on numbers or on registers full of them. X is T or
/// const T. Where both are written, what is less than a register is changed by numbers: often one of the two is read
/// next, and what is written under a mask takes long to be read again. Of long vectors it is a small part, and masks
/// are put up with at both ends, so that the registers between stand at aligned addresses.
template <class X, Scalar T, class Change>
[[gnu::always_inline]] inline void for_each_pair(Int n, X* x, Int incx, T* y, Int incy, Change change) {
  if (n < 1) return;
  if (incx == 1 && incy == 1) {
    constexpr bool both_are_written = !std::is_const_v<X>;
    const auto x_reals = as_reals(x);
    const auto y_reals = as_reals(y);
    const Int in_registers = both_are_written ? n - n % (simd::lanes<Real<T>> / parts<T>) : n;
    for_each_register(in_registers, y, [=](std::ptrdiff_t i, auto part) {
      auto xi = load(x_reals + i, part), yi = load(y_reals + i, part);
      change(xi, yi);
      if constexpr (both_are_written) store(x_reals + i, xi, part);
      store(y_reals + i, yi, part);
    });
    for (Int i = in_registers; i < n; ++i) change(x[i], y[i]);
  } else {
    X* const px = first_element(x, n, incx);
    T* const py = first_element(y, n, incy);
    for (Int i = 0; i < n; ++i) change(element(px, i, incx), element(py, i, incy));
  }
}

/// How many sums of one register each fit beside the operands.
inline constexpr int sum_chains = simd::vector_registers >= 16 ? 8 : 4;

/// A sum over `count` contiguous reals: step(sum, i, part) adds to `sum` what the register at real i contributes.
/// `Sum` is a vector or a struct of vectors with operator+=. Several chains of additions run side by side to hide their
/// latency. The order of additions depends on the count alone, never on an address.
template <class Sum, int lanes, int chains, class Step>
[[gnu::always_inline]] inline Sum sum_over_registers(std::ptrdiff_t count, Step step) {
  Sum even{}, odd{};
  std::ptrdiff_t i = 0;
  if (count >= chains * lanes) {
    Sum chain[chains]{};
    for (; i + chains * lanes <= count; i += chains * lanes) {
#pragma GCC unroll 8
      for (int k = 0; k < chains; ++k) step(chain[k], i + k * lanes, Whole{});
    }
#pragma GCC unroll 8
    for (int k = 0; k < chains; k += 2) {
      even += chain[k];
      odd += chain[k + 1];
    }
  }
  for (; i + 2 * lanes <= count; i += 2 * lanes) {
    step(even, i, Whole{});
    step(odd, i + lanes, Whole{});
  }
  if (i + lanes <= count) {
    step(even, i, Whole{});
    i += lanes;
  }
  if (i < count) step(odd, i, First{static_cast<int>(count - i)});
  even += odd;
  return even;
}

/// A sum over n elements that are not contiguous: step(sum, i) adds to `sum` what element i contributes.
template <class Sum, class Step>
[[gnu::always_inline]] inline Sum sum_over_elements(Int n, Step step) {
  Sum chain[4]{};
  Int i = 0;
  for (; i < n - 3; i += 4) {
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) step(chain[k], i + k);
  }
  for (; i < n; ++i) step(chain[0], i);
  return (chain[0] + chain[1]) + (chain[2] + chain[3]);
}

}  // namespace nuv::kernels::inline NUV_ISA
