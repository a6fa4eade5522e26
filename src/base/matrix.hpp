#pragma once

// Views of column-major matrices and strided vectors, counted from one so that code and literature agree.
//
// A view neither owns nor checks. Offsets are computed in ptrdiff_t: the sizes of a matrix are 32-bit, the distance
// between its elements need not be.

#include <type_traits>

#include "base/types.hpp"

namespace nuv {

/// A vector whose element i, counted from the pointer, stands at data[i * inc].
template <class T>
struct Vector {
  T* data;
  Int inc;

  Vector(T* data_, Int inc_) : data(data_), inc(inc_) {}
  operator Vector<const T>() const requires(!std::is_const_v<T>) { return {data, inc}; }
};

template <class T>
struct Matrix {
  T* data;
  Int ld;

  Matrix(T* data_, Int ld_) : data(data_), ld(ld_) {}
  operator Matrix<const T>() const requires(!std::is_const_v<T>) { return {data, ld}; }

  /// Address of element (i, j), which may lie outside the matrix when a block that starts there is empty.
  T* at(Int i, Int j) const { return data + (std::ptrdiff_t{i} - 1) + (std::ptrdiff_t{j} - 1) * ld; }

  T& operator()(Int i, Int j) const { return *at(i, j); }
};

/// The part of A that starts at element (i, j).
template <class T>
Matrix<T> block(Matrix<T> A, Int i, Int j) {
  return {A.at(i, j), A.ld};
}

/// Column j of A from row i down.
template <class T>
Vector<T> column(Matrix<T> A, Int i, Int j) {
  return {A.at(i, j), 1};
}

/// Row i of A from column j on.
template <class T>
Vector<T> row(Matrix<T> A, Int i, Int j) {
  return {A.at(i, j), A.ld};
}

}  // namespace nuv
