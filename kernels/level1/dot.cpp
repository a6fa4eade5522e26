#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// Sums for complex products x y, whose parts lie side by side: of x_re y_re and x_im y_im in turn, and of x_re y_im
/// and x_im y_re in turn.
template <RealScalar R>
struct ComplexSum {
  using V = simd::Simd<R>;
  V direct, crossed;

  void operator+=(const ComplexSum& other) {
    direct += other.direct;
    crossed += other.crossed;
  }

  void add_product(V x, V y) {
    direct = simd::fma(x, y, direct);
    crossed = simd::fma(x, simd::swap_neighbours<R>(y), crossed);
  }

  static R sum(V x) { return simd::sum_of_lanes<R>(x); }
  static R difference(V x) { return simd::sum_of_lanes<R>(x * simd::alternating(R(1), R(-1))); }

  std::complex<R> of_products() const { return {difference(direct), sum(crossed)}; }
  std::complex<R> of_conjugate_products() const { return {sum(direct), difference(crossed)}; }
};

template <bool conjugated, ComplexScalar T>
[[gnu::always_inline]] inline T complex_dot(Int n, const T* x, Int incx, const T* y, Int incy) {
  using R = Real<T>;
  if (n < 1) return T(0);
  if (incx == 1 && incy == 1) {
    const R* const x_reals = as_reals(x);
    const R* const y_reals = as_reals(y);
    const auto sum = sum_over_registers<ComplexSum<R>, simd::lanes<R>, sum_chains / 2>(
        real_count<T>(n), [=](ComplexSum<R>& terms, std::ptrdiff_t i, auto part) {
          terms.add_product(load(x_reals + i, part), load(y_reals + i, part));
        });
    return conjugated ? sum.of_conjugate_products() : sum.of_products();
  }
  const T* const px = first_element(x, n, incx);
  const T* const py = first_element(y, n, incy);
  return sum_over_elements<T>(n, [=](T& sum, Int i) {
    const T xi = element(px, i, incx);
    sum += (conjugated ? conjugate(xi) : xi) * element(py, i, incy);
  });
}

/// Sum of products in precision R of vectors in precision T.
template <RealScalar R, RealScalar T>
[[gnu::always_inline]] inline R real_dot(Int n, const T* x, Int incx, const T* y, Int incy) {
  using V = simd::Simd<R>;
  if (n < 1) return R(0);
  const auto load_one = [](const T* from, auto part) {
    if constexpr (std::same_as<R, T>) {
      return load(from, part);
    } else {
      return load_as_double(from, part);
    }
  };
  if (incx == 1 && incy == 1) {
    return simd::sum_of_lanes<R>(
        sum_over_registers<V, simd::lanes<R>, sum_chains>(n, [=](V& sum, std::ptrdiff_t i, auto part) {
          sum = simd::fma(load_one(x + i, part), load_one(y + i, part), sum);
        }));
  }
  const T* const px = first_element(x, n, incx);
  const T* const py = first_element(y, n, incy);
  return sum_over_elements<R>(
      n, [=](R& sum, Int i) { sum = simd::fma(R(element(px, i, incx)), R(element(py, i, incy)), sum); });
}

}  // namespace

/// x^T y for n elements.
template <RealScalar T>
[[gnu::always_inline]] inline T dot(Int n, const T* x, Int incx, const T* y, Int incy) {
  return real_dot<T>(n, x, incx, y, incy);
}

/// x^T y
template <ComplexScalar T>
[[gnu::always_inline]] inline T dotu(Int n, const T* x, Int incx, const T* y, Int incy) {
  return complex_dot<false>(n, x, incx, y, incy);
}

/// x^H y
template <ComplexScalar T>
[[gnu::always_inline]] inline T dotc(Int n, const T* x, Int incx, const T* y, Int incy) {
  return complex_dot<true>(n, x, incx, y, incy);
}

/// x^T y of single-precision vectors, summed and given in double precision.
inline double dsdot(Int n, const float* x, Int incx, const float* y, Int incy) {
  return real_dot<double>(n, x, incx, y, incy);
}

/// b + x^T y, summed in double precision.
inline float sdsdot(Int n, float b, const float* x, Int incx, const float* y, Int incy) {
  return static_cast<float>(b + dsdot(n, x, incx, y, incy));
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/dot.entries.inc"
