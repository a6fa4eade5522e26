#pragma once

// Lengths, increments and operands for the tests of the vector kernels.

#include <initializer_list>
#include <string>
#include <vector>

#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// Every length up to a few registers of the widest kind, lengths around the blocks of the inner loops, and long ones.
inline std::vector<Int> vector_lengths() {
  std::vector<Int> all;
  for (Int n = 0; n <= 70; ++n) all.push_back(n);
  all.insert(all.end(), {127, 128, 129, 255, 256, 257, 300, 1023, 1025, 4100});
  return all;
}

struct Shape {
  Int n;
  Int incx, incy;
  Int offset_x, offset_y;  ///< elements from an aligned address to the vector, where the increment is 1

  std::string text() const {
    return std::to_string(n) + " elements, increments " + std::to_string(incx) + ", " + std::to_string(incy) +
           ", offsets " + std::to_string(offset_x) + ", " + std::to_string(offset_y);
  }
};

/// All lengths with the increments that have code of their own and some of the others.
inline std::vector<Shape> shapes() {
  constexpr Int increments[] = {1, -1, 2, -3, 101};
  std::vector<Shape> all;
  for (const Int n : vector_lengths()) {
    for (const Int incx : increments) {
      for (const Int incy : increments) all.push_back({n, incx, incy, 0, 0});
    }
    for (Int offset = 1; offset < 16; ++offset) {
      all.push_back({n, 1, 1, offset, 0});
      all.push_back({n, 1, 1, 0, offset});
      all.push_back({n, 1, 1, offset, offset});
    }
  }
  return all;
}

/// The same with an increment of zero for one vector or both: one element, taken n times.
inline std::vector<Shape> degenerate_shapes() {
  std::vector<Shape> all;
  for (const Int n : {1, 2, 3, 5, 40}) {
    for (const Int inc : {0, 1, -1, 2, -3}) {
      all.push_back({n, 0, inc, 0, 0});
      all.push_back({n, inc, 0, 0, 0});
    }
  }
  return all;
}

/// A vector of random elements among guards.
template <Scalar T>
class Operand {
 public:
  Operand(Random& random, Int n, Int inc, Int offset = 0)
      : n_(n), inc_(inc), offset_(inc == 1 ? offset : 0), store_(inc == 0 ? 1 : n + offset_, inc == 0 ? 1 : inc) {
    for (Int i = 0; i < n; ++i) (*this)[i] = random.scalar<T>();
    seal();
  }

  /// Element i, from zero, in the order in which a kernel takes them.
  T& operator[](Int i) { return store_(place(i)); }
  const T& operator[](Int i) const { return store_(place(i)); }

  /// How many elements there are in memory, and which of them is element i.
  Int stored() const { return inc_ == 0 ? std::min(n_, 1) : n_; }
  Int slot(Int i) const { return inc_ == 0 ? 0 : i; }

  operator Vector<T>() { return {store_.data() + offset_, inc_}; }
  operator Vector<const T>() const { return {store_.data() + offset_, inc_}; }

  void seal() { store_.seal(); }
  const T& sealed(Int i) const { return store_.sealed(place(i)); }
  testing::AssertionResult unchanged() const { return store_.unchanged(); }
  testing::AssertionResult guards_unchanged() const {
    return store_.unchanged_outside(offset_ + 1, offset_ + std::max(n_, 0));
  }

 private:
  Int place(Int i) const { return inc_ == 0 ? 1 : offset_ + i + 1; }

  Int n_, inc_, offset_;
  GuardedVector<T> store_;
};

/// A number with an imaginary part where the precision has one.
template <Scalar T>
T number(double re, double im) {
  if constexpr (ComplexScalar<T>) {
    return {Real<T>(re), Real<T>(im)};
  } else {
    return T(re);
  }
}

/// |re| + |im|
template <class T>
auto size_of(const T& x) {
  return std::abs(std::real(x)) + std::abs(std::imag(x));
}

}  // namespace nuv::test
