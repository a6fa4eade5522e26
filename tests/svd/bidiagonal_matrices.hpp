#pragma once

// Bidiagonal matrices by description, and their singular values to more digits than any computation in double precision
// can have.

#include <vector>

#include "base/types.hpp"

namespace nuv::test {

/// An upper bidiagonal matrix: the diagonal, counted from zero, and what stands above it, one element less.
template <RealScalar R>
struct Bidiagonal {
  std::vector<R> d, e;

  Int order() const { return Int(d.size()); }
};

template <RealScalar R>
struct DescribedBidiagonal {
  const char* name;
  Bidiagonal<R> matrix;
};

/// All singular values in decreasing order, each to high relative accuracy: by bisection on
///
///     [ 0   d1         ]
///     [ d1  0   e1     ]
///     [     e1  0   d2 ]
///     [         d2  .  ]
///
/// whose eigenvalues they are, beside their opposites. The squares are those of d1, e1, d2, ..., dn. Whatever is below
/// `least` counts as zero.
std::vector<long double> singular_values(const std::vector<long double>& squares, long double least);

template <RealScalar R>
std::vector<long double> singular_values(const Bidiagonal<R>& matrix);

/// The largest error of w(1) ... w(n) in eps of each exact value. Beside `floor` nothing counts.
template <RealScalar R>
double relative_error(const R* w, const std::vector<long double>& exact, long double floor);

/// One of each kind of order n >= 1: random, of random sizes, graded downwards and upwards, with equal and glued parts,
/// with zeros and next to zeros on the diagonal and above it, with one side far larger than the other, and of tiny and
/// huge norm.
template <RealScalar R>
std::vector<DescribedBidiagonal<R>> described_bidiagonals(Int n);

}  // namespace nuv::test
