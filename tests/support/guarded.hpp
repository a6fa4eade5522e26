#pragma once

// Arrays for the routines under test that tell what was done to them.
//
// Everything around and between the elements, and every element until it is set, holds a pattern that is a quiet NaN in
// each precision and a hopeless index as an integer: reading it spoils the result, writing it is seen afterwards.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "base/matrix.hpp"
#include "base/types.hpp"

namespace nuv::test {

inline constexpr std::uint32_t guard_word = 0x7FFADBAD;

/// A value made of guard words.
template <class T>
T guard() {
  static_assert(sizeof(T) % sizeof guard_word == 0);
  T value;
  for (std::size_t at = 0; at < sizeof value; at += sizeof guard_word) {
    std::memcpy(reinterpret_cast<char*>(&value) + at, &guard_word, sizeof guard_word);
  }
  return value;
}

template <class T>
bool same_bits(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Arrays of one shape get one alignment, so that equal calls run through equal code.
template <class T>
struct AlignedAllocator {
  using value_type = T;
  static constexpr std::align_val_t alignment{128};

  AlignedAllocator() = default;
  template <class U>
  AlignedAllocator(const AlignedAllocator<U>&) {}
  T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), alignment)); }
  void deallocate(T* p, std::size_t) { ::operator delete(p, alignment); }
  bool operator==(const AlignedAllocator&) const = default;
};

/// An m by n matrix, counted from one, with leading dimension ld >= m.
template <class T>
class GuardedMatrix {
 public:
  GuardedMatrix(Int m, Int n, Int ld)
      : m_(std::max(m, 0)),
        n_(std::max(n, 0)),
        ld_(ld),
        store_(2 * margin + (n_ > 0 ? std::size_t(ld) * std::size_t(n_ - 1) + std::size_t(m_) : 0), guard<T>()),
        kept_(store_) {}

  Int rows() const { return m_; }
  Int columns() const { return n_; }
  Int ld() const { return ld_; }
  T* data() { return store_.data() + margin; }
  const T* data() const { return store_.data() + margin; }
  T& operator()(Int i, Int j) { return *Matrix<T>(*this).at(i, j); }
  const T& operator()(Int i, Int j) const { return *Matrix<const T>(*this).at(i, j); }
  operator Matrix<T>() { return {data(), ld_}; }
  operator Matrix<const T>() const { return {data(), ld_}; }

  /// Remembers the elements as they are, for the comparisons below.
  void seal() {
    for (Int j = 1; j <= n_; ++j) std::copy_n(&(*this)(1, j), m_, &kept_[index(1, j)]);
  }

  /// The element as it was when the matrix was sealed.
  const T& sealed(Int i, Int j) const { return kept_[index(i, j)]; }

  bool is_sealed(Int i, Int j) const { return same_bits((*this)(i, j), sealed(i, j)); }

  /// Whether all is as it was, but for the elements (i, j) of which may_change says that they may differ.
  template <class MayChange>
  testing::AssertionResult unchanged_except(MayChange may_change) const {
    for (std::size_t k = 0; k < store_.size(); ++k) {
      if (same_bits(store_[k], kept_[k])) continue;
      if (k < margin) return testing::AssertionFailure() << margin - k << " before the array was written";
      const auto column = std::ptrdiff_t(k - margin) / ld_, row = std::ptrdiff_t(k - margin) % ld_;
      if (column < n_ && row < m_ && may_change(Int(row + 1), Int(column + 1))) continue;
      return testing::AssertionFailure() << "(" << row + 1 << ", " << column + 1 << ") of " << m_ << " by " << n_
                                         << ", ld " << ld_ << ", was written";
    }
    return testing::AssertionSuccess();
  }

  testing::AssertionResult unchanged() const {
    return unchanged_except([](Int, Int) { return false; });
  }

  testing::AssertionResult guards_unchanged() const {
    return unchanged_except([](Int, Int) { return true; });
  }

  /// Whether two matrices hold the same bits, guards included.
  testing::AssertionResult same_as(const GuardedMatrix& other) const {
    if (store_.size() != other.store_.size()) return testing::AssertionFailure() << "sizes differ";
    for (Int j = 1; j <= n_; ++j) {
      for (Int i = 1; i <= m_; ++i) {
        if (!same_bits((*this)(i, j), other(i, j))) {
          return testing::AssertionFailure() << "(" << i << ", " << j << ") of " << m_ << " by " << n_
                                             << " differs: " << (*this)(i, j) << " and " << other(i, j);
        }
      }
    }
    return testing::AssertionResult(std::memcmp(store_.data(), other.store_.data(), store_.size() * sizeof(T)) == 0)
           << "guards differ";
  }

 private:
  static constexpr std::size_t margin = 128;

  std::size_t index(Int i, Int j) const { return margin + std::size_t(i - 1) + std::size_t(j - 1) * std::size_t(ld_); }

  Int m_, n_, ld_;
  std::vector<T, AlignedAllocator<T>> store_, kept_;
};

/// A vector of n elements, counted from one in the order in which a kernel takes them: from the far end where the
/// increment is negative.
template <class T>
class GuardedVector {
 public:
  explicit GuardedVector(Int n, Int inc = 1) : inc_(inc), row_(1, n, std::abs(inc)) {}

  Int size() const { return row_.columns(); }
  Int inc() const { return inc_; }
  T* data() { return row_.data(); }
  const T* data() const { return row_.data(); }
  T& operator()(Int i) { return row_(1, place(i)); }
  const T& operator()(Int i) const { return row_(1, place(i)); }
  operator Vector<T>() { return {data(), inc_}; }
  operator Vector<const T>() const { return {data(), inc_}; }

  void seal() { row_.seal(); }
  const T& sealed(Int i) const { return row_.sealed(1, place(i)); }
  testing::AssertionResult unchanged() const { return row_.unchanged(); }
  testing::AssertionResult guards_unchanged() const { return row_.guards_unchanged(); }
  testing::AssertionResult same_as(const GuardedVector& other) const { return row_.same_as(other.row_); }

  /// Whether all is as it was, but for the elements from ... to.
  testing::AssertionResult unchanged_outside(Int from, Int to) const {
    return row_.unchanged_except([&](Int, Int j) { return place(j) >= from && place(j) <= to; });
  }

 private:
  Int place(Int i) const { return inc_ > 0 ? i : size() + 1 - i; }

  Int inc_;
  GuardedMatrix<T> row_;
};

}  // namespace nuv::test
