#pragma once

// What tests of the eigenvectors of Schur forms share, of one matrix and of pencils. Pairs of real forms have their
// vectors in two columns, and what belongs to a pair is told by the diagonal blocks of the matrix, or of the first one.
//
// A call has a form, and
//
//     side, howmny, n, mm, m, info, select, VL, VR    arguments as they are called there
//     run()                                           makes the call
//
// It is made from a form and howmny, with room for all vectors.

#include <algorithm>
#include <complex>
#include <vector>

#include "support/argument_checks.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {

template <Scalar T>
using WideComplex = std::complex<WideReal<T>>;
template <Scalar T>
using WideColumn = std::vector<WideComplex<T>>;

/// Rows of the diagonal blocks of a form.
struct Block {
  Int first, last;
  Int order() const { return last - first + 1; }
};
template <Scalar T>
std::vector<Block> blocks_of(const GuardedMatrix<T>& S) {
  std::vector<Block> blocks;
  for (Int j = 1; j <= S.rows(); j = blocks.back().last + 1) {
    const bool is_pair = RealScalar<T> && j < S.rows() && S(j + 1, j) != T(0);
    blocks.push_back({j, is_pair ? j + 1 : j});
  }
  return blocks;
}

/// All diagonal blocks that a form of order n can have, by their orders; some more than once.
template <Scalar T>
std::vector<std::vector<Int>> all_blocks(Int n) {
  if (ComplexScalar<T>) return {std::vector<Int>(std::size_t(n), 1)};
  std::vector<std::vector<Int>> all;
  // Each digit of the number says whether a block goes on.
  for (int pattern = 0; pattern < 1 << n; ++pattern) {
    all.emplace_back();
    for (Int left = n; left > 0; left -= all.back().back()) {
      all.back().push_back(left > 1 && (pattern >> left & 1) != 0 ? 2 : 1);
    }
  }
  return all;
}

/// A vector from one column, or from the two of a pair.
template <Scalar T>
WideColumn<T> vector_in(const GuardedMatrix<T>& V, Block block) {
  WideColumn<T> x;
  for (Int i = 1; i <= V.rows(); ++i) {
    if constexpr (RealScalar<T>) {
      x.emplace_back(V(i, block.first), block.order() == 2 ? V(i, block.last) : T(0));
    } else {
      x.emplace_back(V(i, block.first));
    }
  }
  return x;
}

/// By which vectors are normalised.
template <Scalar T>
WideReal<T> measure(WideComplex<T> x) {
  return std::abs(x.real()) + std::abs(x.imag());
}

template <Scalar T>
void expect_normalised(const WideColumn<T>& x) {
  WideReal<T> largest = 0;
  for (const WideComplex<T>& element : x) largest = std::max(largest, measure<T>(element));
  EXPECT_NEAR(double(largest), 1, 4 * epsilon<T>);
}

/// Right vectors of a form are zero below their block, and left ones above it.
template <Scalar T>
void expect_zeros_beside(bool right, Block block, const WideColumn<T>& x) {
  for (Int i = right ? block.last + 1 : 1; i <= (right ? Int(x.size()) : block.first - 1); ++i) {
    EXPECT_EQ(measure<T>(x[std::size_t(i - 1)]), 0) << i;
  }
}

/// v is V times x, the vector of the form, normalised. Errors are in units of n eps.
template <Scalar T>
void expect_transformed(const GuardedMatrix<T>& V, const WideColumn<T>& x, const WideColumn<T>& v, double threshold) {
  const Int n = V.rows();
  WideColumn<T> expected(std::size_t(n), 0);
  WideReal<T> size = 0, terms = 0;
  for (Int i = 1; i <= n; ++i) {
    WideReal<T> row = 0;
    for (Int j = 1; j <= n; ++j) {
      const auto term = WideComplex<T>(V(i, j)) * x[std::size_t(j - 1)];
      expected[std::size_t(i - 1)] += term;
      row += measure<T>(term);
    }
    size = std::max(size, measure<T>(expected[std::size_t(i - 1)]));
    terms = std::max(terms, row);
  }
  for (std::size_t i = 0; i < std::size_t(n); ++i) {
    EXPECT_LE(measure<T>(v[i] - expected[i] / size), threshold * n * epsilon<T> * terms / size) << i;
  }
  expect_normalised<T>(v);
}

/// Vectors of one side are those that were found with the others, and nothing else is touched.
template <class Call, class Form>
void expect_each_side_alone(const Form& form, const Call& both) {
  using Vectors = decltype(both.VL);
  for (const char side : {'r', 'l'}) {
    Call one(form, 'a');
    one.side = side;
    (side == 'r' ? one.VL : one.VR) = Vectors(1, 1, 1);
    one.run();
    EXPECT_TRUE(side == 'r' ? one.VR.same_as(both.VR) : one.VL.same_as(both.VL));
    EXPECT_TRUE(side == 'r' ? one.VL.unchanged() : one.VR.unchanged());
  }
}

/// Selects some of the values, at random; of a pair one is enough. Gives the columns of their vectors among all.
inline std::vector<Int> select_some(Random& random, const std::vector<Block>& blocks, GuardedVector<Logical>& select) {
  // The lowest bit is the truth, in any words.
  constexpr Logical truths[] = {-1, 1, 7}, lies[] = {0, 2, -4};
  std::vector<Int> columns;
  for (const Block block : blocks) {
    const Int flags = random.integer(0, block.order() == 2 ? 3 : 1);
    for (Int k = block.first; k <= block.last; ++k) {
      select(k) = (flags >> (k - block.first) & 1) != 0 ? random.pick(truths) : random.pick(lies);
      if (flags != 0) columns.push_back(k);
    }
  }
  select.seal();
  return columns;
}

/// Runs a call for some of the values, and expects the bits that a call for all finds of their vectors.
template <class Call, class Form>
Call expect_selected(Random& random, const Form& form, const std::vector<Block>& blocks, char howmny) {
  Call all(form), selected(form, howmny);
  all.run();
  const std::vector<Int> columns = select_some(random, blocks, selected.select);
  using Vectors = decltype(all.VL);
  const Int n = all.n, m = Int(columns.size());
  selected.mm = m;
  selected.VL = selected.VR = Vectors(n, m, n + 1);
  selected.run();
  EXPECT_EQ(selected.info, 0);
  EXPECT_EQ(selected.m, m);
  for (Int j = 1; j <= m; ++j) {
    for (Int i = 1; i <= n; ++i) {
      EXPECT_TRUE(same_bits(selected.VR(i, j), all.VR(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
      EXPECT_TRUE(same_bits(selected.VL(i, j), all.VL(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
    }
  }
  return selected;
}

/// With no value selected nothing is found, and nothing written.
template <class Call, class Form>
void expect_nothing_of_none(const Form& form) {
  Call none(form, 'S');
  for (Int k = 1; k <= none.n; ++k) none.select(k) = 0;
  none.run();
  EXPECT_EQ(none.info, 0);
  EXPECT_EQ(none.m, 0);
  EXPECT_TRUE(none.VL.unchanged() && none.VR.unchanged());
}

/// Columns behind the last vector are not touched.
template <class Call, class Form>
void expect_room_left(const Form& form) {
  Call roomy(form);
  using Vectors = decltype(roomy.VL);
  const Int n = roomy.n;
  roomy.mm = n + 2;
  roomy.VL = roomy.VR = Vectors(n, n + 2, n);
  roomy.run();
  EXPECT_EQ(roomy.m, n);
  EXPECT_TRUE(roomy.VR.unchanged_except([&](Int, Int j) { return j <= n; }));
  EXPECT_TRUE(roomy.VL.unchanged_except([&](Int, Int j) { return j <= n; }));
}

/// What mm and the leading dimensions of vectors, arguments at these positions, have to be at least, for a call with
/// blocks of orders 1, 2 and 1 that selects all values but the second.
template <class Call>
void expect_room_checks(const std::string& name, bool is_real, int ldvl, int ldvr, int mm) {
  // Of four values one is not selected; of a real pair it is with the other.
  for (const Int columns : {2, 3, 4}) {
    Call call;
    call.howmny = 'S';
    call.mm = columns;
    expect_report(call, name, columns < (is_real ? 4 : 3) ? mm : 0);
  }
  // What is not asked for takes no room, but has a leading dimension.
  for (const char side : {'L', 'R'}) {
    for (const Int ld : {0, 1}) {
      Call call;
      call.side = side;
      (side == 'R' ? call.ldvl : call.ldvr) = ld;
      expect_report(call, name, ld == 1 ? 0 : side == 'R' ? ldvl : ldvr);
    }
  }
}

}  // namespace nuv::test
