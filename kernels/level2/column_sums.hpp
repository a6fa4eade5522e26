#pragma once

// What the operations on packed and band matrices are made of: multiples of stored columns added to a vector, and inner
// products of stored columns with a vector, for several columns at once so that the vector passes through the registers
// once for all of them. All elements of a column, and of the vector, lie side by side.

#include "base/simd.hpp"

namespace nuv::kernels::inline NUV_ISA {

using simd::Simd;

/// One value for each of `width` columns.
template <class T, int width>
struct PerColumn {
  T value[width];

  T& operator[](int c) { return value[c]; }
  const T& operator[](int c) const { return value[c]; }
};

/// `width` columns, or parts of columns, of equal length.
template <Scalar T, int width>
using Columns = PerColumn<const T*, width>;

/// a b + c
template <RealScalar R>
[[gnu::always_inline]] inline R multiply_add(R a, R b, R c) {
  return simd::fma(a, b, c);
}

template <RealScalar R>
[[gnu::always_inline]] inline std::complex<R> multiply_add(std::complex<R> a, std::complex<R> b, std::complex<R> c) {
  return {simd::fnma(a.imag(), b.imag(), simd::fma(a.real(), b.real(), c.real())),
          simd::fma(a.imag(), b.real(), simd::fma(a.real(), b.imag(), c.imag()))};
}

namespace column_sums_detail {

// ----------------------------------------------------------------------------------------------------- runs of vectors

template <Scalar T>
inline constexpr int elements_per_vector = simd::vector_bytes / static_cast<int>(sizeof(T));

template <Scalar T>
[[gnu::always_inline]] inline const Real<T>* parts(const T* x) {
  return reinterpret_cast<const Real<T>*>(x);
}
template <Scalar T>
[[gnu::always_inline]] inline Real<T>* parts(T* x) {
  return reinterpret_cast<Real<T>*>(x);
}

/// The elements of a run that one vector covers: as many as it holds ...
template <Scalar T>
struct WholeVector {
  std::ptrdiff_t at;

  [[gnu::always_inline]] Simd<Real<T>> load(const T* x) const { return simd::load(parts(x + at)); }
  [[gnu::always_inline]] void store(T* x, Simd<Real<T>> value) const { simd::store(parts(x + at), value); }
};

/// ... or the last ones of the run.
template <Scalar T>
struct PartOfVector {
  std::ptrdiff_t at;
  int numbers;

  [[gnu::always_inline]] Simd<Real<T>> load(const T* x) const { return simd::load_first(parts(x + at), numbers); }
  [[gnu::always_inline]] void store(T* x, Simd<Real<T>> value) const {
    simd::store_first(parts(x + at), value, numbers);
  }
};

/// 0 and 1 in turn, known to the compiler.
template <int value>
using Turn = std::integral_constant<int, value>;

/// Calls visit(vector, turn) for the vectors of a run of `count` elements.
template <Scalar T, class Visit>
[[gnu::always_inline]] inline void for_each_vector(std::ptrdiff_t count, Visit visit) {
  constexpr std::ptrdiff_t step = elements_per_vector<T>;
  std::ptrdiff_t i = 0;
  for (; i + 2 * step <= count; i += 2 * step) {
    visit(WholeVector<T>{i}, Turn<0>());
    visit(WholeVector<T>{i + step}, Turn<1>());
  }
  if (i + step <= count) {
    visit(WholeVector<T>{i}, Turn<0>());
    i += step;
  }
  if constexpr (step > 1) {
    constexpr int numbers_per_element = sizeof(T) / sizeof(Real<T>);
    if (i < count) visit(PartOfVector<T>{i, static_cast<int>(count - i) * numbers_per_element}, Turn<1>());
  }
}

// ------------------------------------------------------------------------------------------------- sums of columns

/// Factors of columns, each in all lanes.
template <Scalar T, int width>
class Factors {
 public:
  [[gnu::always_inline]] explicit Factors(const PerColumn<T, width>& f) {
#pragma GCC unroll 4
    for (int c = 0; c < width; ++c) factor_[c] = simd::broadcast(f[c]);
  }
  [[gnu::always_inline]] Simd<T> operator[](int c) const {
    return factor_[c];
  }

 private:
  Simd<T> factor_[width];
};

template <RealScalar R, int width>
class Factors<std::complex<R>, width> {
 public:
  [[gnu::always_inline]] explicit Factors(const PerColumn<std::complex<R>, width>& f) {
#pragma GCC unroll 4
    for (int c = 0; c < width; ++c) {
      re_[c] = simd::broadcast(f[c].real());
      im_[c] = simd::broadcast(f[c].imag());
    }
  }
  [[gnu::always_inline]] Simd<R> re(int c) const {
    return re_[c];
  }
  [[gnu::always_inline]] Simd<R> im(int c) const {
    return im_[c];
  }

 private:
  Simd<R> re_[width], im_[width];
};

/// y + f_1 a_1 + f_2 a_2 + ...
template <Scalar T, int width>
class Combination {
 public:
  [[gnu::always_inline]] explicit Combination(Simd<T> y) : sum_(y) {}
  [[gnu::always_inline]] void add(int c, Simd<T> a, const Factors<T, width>& f) { sum_ = simd::fma(a, f[c], sum_); }
  [[gnu::always_inline]] Simd<T> value() const { return sum_; }

 private:
  Simd<T> sum_;
};

/// Complex terms go to two sums by the parts of their factors, so that the lanes need to be moved only once at the end.
template <RealScalar R, int width>
class Combination<std::complex<R>, width> {
 public:
  [[gnu::always_inline]] explicit Combination(Simd<R> y) : by_re_(y), by_im_{} {}
  [[gnu::always_inline]] void add(int c, Simd<R> a, const Factors<std::complex<R>, width>& f) {
    by_re_ = simd::fma(a, f.re(c), by_re_);
    by_im_ = simd::fma(a, f.im(c), by_im_);
  }
  [[gnu::always_inline]] Simd<R> value() const {
    return simd::fma(simd::alternating(R(-1), R(1)), simd::swap_neighbours<R>(by_im_), by_re_);
  }

 private:
  Simd<R> by_re_, by_im_;
};

// -------------------------------------------------------------------------------------------------- inner products

/// A vector of elements as inner products take it.
template <Scalar T>
struct Multiplicand {
  Simd<T> value;

  [[gnu::always_inline]] explicit Multiplicand(Simd<T> x) : value(x) {}
};

template <RealScalar R>
struct Multiplicand<std::complex<R>> {
  Simd<R> value, swapped;

  [[gnu::always_inline]] explicit Multiplicand(Simd<R> x) : value(x), swapped(simd::swap_neighbours<R>(x)) {}
};

/// Inner products of columns with a vector, lane by lane. Each has two sums, which take turns so that no multiply-add
/// waits for the one before.
template <Scalar T, int width>
class InnerProducts {
 public:
  template <int turn>
  [[gnu::always_inline]] void add(int c, Simd<T> a, const Multiplicand<T>& x, Turn<turn>) {
    sum_[turn][c] = simd::fma(a, x.value, sum_[turn][c]);
  }
  [[gnu::always_inline]] PerColumn<T, width> values(bool) const {
    Simd<T> sum[width];
#pragma GCC unroll 4
    for (int c = 0; c < width; ++c) sum[c] = sum_[0][c] + sum_[1][c];
    T all[simd::padded_to_lanes<T>(width)];
    simd::sums_of_lanes(sum, all);
    PerColumn<T, width> products;
#pragma GCC unroll 4
    for (int c = 0; c < width; ++c) products[c] = all[c];
    return products;
  }

 private:
  Simd<T> sum_[2][width]{};
};

/// Complex ones have a sum of products of like parts, re re and im im, and one of unlike parts, re im and im re.
template <RealScalar R, int width>
class InnerProducts<std::complex<R>, width> {
 public:
  template <int turn>
  [[gnu::always_inline]] void add(int c, Simd<R> a, const Multiplicand<std::complex<R>>& x, Turn<turn>) {
    like_[c] = simd::fma(a, x.value, like_[c]);
    unlike_[c] = simd::fma(a, x.swapped, unlike_[c]);
  }
  /// The products with the columns, or with their conjugates.
  [[gnu::always_inline]] PerColumn<std::complex<R>, width> values(bool conjugated) const {
    const Simd<R> ones = simd::broadcast(R(1)), signs = simd::alternating(R(1), R(-1));
    const Simd<R> signs_like = conjugated ? ones : signs, signs_unlike = conjugated ? signs : ones;
    Simd<R> sum[2 * width];
#pragma GCC unroll 4
    for (int c = 0; c < width; ++c) {
      sum[2 * c] = like_[c] * signs_like;
      sum[2 * c + 1] = unlike_[c] * signs_unlike;
    }
    R all[simd::padded_to_lanes<R>(2 * width)];
    simd::sums_of_lanes(sum, all);
    PerColumn<std::complex<R>, width> products;
#pragma GCC unroll 4
    for (int c = 0; c < width; ++c) products[c] = {all[2 * c], all[2 * c + 1]};
    return products;
  }

 private:
  Simd<R> like_[width]{}, unlike_[width]{};
};

}  // namespace column_sums_detail

/// y := y + f_1 a_1 + f_2 a_2 + ...
template <Scalar T, int width>
void add_columns(const Columns<T, width>& a, const PerColumn<T, width>& f, T* y, Int count) {
  using namespace column_sums_detail;
  const Factors<T, width> factors(f);
  for_each_vector<T>(
      count, [&](auto vector, auto) __attribute__((always_inline)) {
        Combination<T, width> sum(vector.load(y));
#pragma GCC unroll 4
        for (int c = 0; c < width; ++c) sum.add(c, vector.load(a[c]), factors);
        vector.store(y, sum.value());
      });
}

/// The inner products of the columns, or of their conjugates, with x.
template <Scalar T, int width>
PerColumn<T, width> multiply_columns(const Columns<T, width>& a, bool conjugated, const T* x, Int count) {
  using namespace column_sums_detail;
  InnerProducts<T, width> products;
  for_each_vector<T>(
      count, [&](auto vector, auto turn) __attribute__((always_inline)) {
        const Multiplicand<T> multiplicand(vector.load(x));
#pragma GCC unroll 4
        for (int c = 0; c < width; ++c) products.add(c, vector.load(a[c]), multiplicand, turn);
      });
  return products.values(conjugated);
}

/// Both at once: adds multiples of the columns to y, and gives the inner products of their conjugates with x.
template <Scalar T, int width>
PerColumn<T, width> add_and_multiply_columns(const Columns<T, width>& a, const PerColumn<T, width>& f, T* y, const T* x,
                                             Int count) {
  using namespace column_sums_detail;
  const Factors<T, width> factors(f);
  InnerProducts<T, width> products;
  for_each_vector<T>(
      count, [&](auto vector, auto turn) __attribute__((always_inline)) {
        const Multiplicand<T> multiplicand(vector.load(x));
        Combination<T, width> sum(vector.load(y));
#pragma GCC unroll 4
        for (int c = 0; c < width; ++c) {
          const Simd<Real<T>> column = vector.load(a[c]);
          sum.add(c, column, factors);
          products.add(c, column, multiplicand, turn);
        }
        vector.store(y, sum.value());
      });
  return products.values(true);
}

}  // namespace nuv::kernels::inline NUV_ISA
