#pragma once

// The eigenvalues of a Hessenberg matrix, or shifts, as its routines take them: parts in arrays of their own where the
// matrix is real, with the two of a conjugate pair beside each other; else complex numbers.

#include <utility>

#include "environment/abs1.hpp"

namespace nuv {

template <Scalar T>
struct EigenvalueArray;

template <RealScalar R>
struct EigenvalueArray<R> {
  R *real, *imaginary;

  /// Those from the i-th on.
  EigenvalueArray from(Int i) const { return {real + (i - 1), imaginary + (i - 1)}; }

  void set(Int i, R value) const {
    real[i - 1] = value;
    imaginary[i - 1] = R(0);
  }
  void copy(Int from, Int to) const {
    real[to - 1] = real[from - 1];
    imaginary[to - 1] = imaginary[from - 1];
  }
  void exchange(Int i, Int j) const {
    std::swap(real[i - 1], real[j - 1]);
    std::swap(imaginary[i - 1], imaginary[j - 1]);
  }

  /// Whether the i-th is the first of a conjugate pair.
  bool starts_pair(Int i) const { return imaginary[i - 1] > 0; }

  /// |re| + |im|.
  R size(Int i) const { return std::abs(real[i - 1]) + std::abs(imaginary[i - 1]); }

  /// Makes a call with the arrays that a real member of a routine takes.
  template <class Call>
  void give_to(Call call) const {
    call(real, imaginary);
  }
};

template <ComplexScalar T>
struct EigenvalueArray<T> {
  T* values;

  EigenvalueArray from(Int i) const { return {values + (i - 1)}; }
  void set(Int i, T value) const { values[i - 1] = value; }
  void copy(Int from, Int to) const { values[to - 1] = values[from - 1]; }
  void exchange(Int i, Int j) const { std::swap(values[i - 1], values[j - 1]); }
  bool starts_pair(Int) const { return false; }
  Real<T> size(Int i) const { return abs1(values[i - 1]); }

  template <class Call>
  void give_to(Call call) const {
    call(values);
  }
};

}  // namespace nuv
