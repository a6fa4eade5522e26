#pragma once

// Two halves of a bidiagonal matrix with their singular values and vectors, as a merge takes them.

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "routines.hpp"
#include "support/random.hpp"
#include "svd/bidiagonal_problem.hpp"

namespace nuv::test {

/// A matrix of nl rows, one that joins, and nr rows, with sqre columns more than rows.
template <RealScalar R>
struct DividedBidiagonal {
  std::string name;
  Int nl, nr, sqre;
  std::vector<R> d, e;

  Int n() const { return nl + nr + 1; }
  Int m() const { return n() + sqre; }
  R alpha() const { return d[std::size_t(nl)]; }
  R beta() const { return e[std::size_t(nl)]; }
};

/// Matrices whose merges deflate nothing, a part, or all.
template <RealScalar R>
std::vector<DividedBidiagonal<R>> divided_bidiagonals(Int nl, Int nr, Int sqre, Random& random) {
  constexpr R eps = std::numeric_limits<R>::epsilon();
  DividedBidiagonal<R> any{"random", nl, nr, sqre, {}, {}};
  for (Int i = 0; i < any.n(); ++i) any.d.push_back(R(random.real()));
  for (Int i = 1; i < any.m(); ++i) any.e.push_back(R(random.real()));
  const auto at = std::size_t(nl);
  std::vector<DividedBidiagonal<R>> list{any};
  const auto add = [&](const char* name, auto change) {
    list.push_back(any);
    list.back().name = name;
    change(list.back());
  };
  add("joined by next to nothing", [&](auto& x) { x.d[at] = x.e[at] = eps / 32; });
  add("joined by nothing", [&](auto& x) { x.d[at] = x.e[at] = 0; });
  add("joined before", [&](auto& x) { x.e[at] = 0; });
  add("joined behind", [&](auto& x) { x.d[at] = 0; });
  add("joined by large elements", [&](auto& x) { x.d[at] = 1000, x.e[at] = -300; });
  add("ones", [&](auto& x) {
    std::fill(x.d.begin(), x.d.end(), R(1));
    std::fill(x.e.begin(), x.e.end(), R(1));
  });
  add("twins", [&](auto& x) {
    for (Int i = 0; i < nr; ++i) x.d[std::size_t(nl + 1 + i)] = x.d[std::size_t(i % nl)];
    for (Int i = 0; i < nr - 1 + sqre; ++i) x.e[std::size_t(nl + 1 + i)] = x.e[std::size_t(i % nl)];
  });
  add("zeros on the diagonal", [&](auto& x) {
    for (std::size_t i = 0; i < x.d.size(); i += 2) x.d[i] = 0;
  });
  add("of no rank", [&](auto& x) {
    std::fill(x.d.begin(), x.d.end(), R(0));
    std::fill(x.e.begin(), x.e.end(), R(0));
  });
  add("huge", [&](auto& x) {
    for (auto* numbers : {&x.d, &x.e}) {
      for (R& number : *numbers) number *= std::numeric_limits<R>::max() / 64;
    }
  });
  return list;
}

template <RealScalar R>
struct BidiagonalHalves {
  DividedBidiagonal<R> matrix;
  GuardedVector<R> d;  ///< values of the first half, a guard, those of the second
  GuardedMatrix<R> U, VT;
  GuardedVector<Int> idxq;

  /// reversed   whether the values of both halves are in decreasing order
  BidiagonalHalves(const DividedBidiagonal<R>& whole, bool reversed)
      : matrix(whole),
        d(whole.n()),
        U(identity<R>(whole.n(), whole.n() + 1)),
        VT(identity<R>(whole.m(), whole.m() + 2)),
        idxq(whole.n()) {
    solve(1, whole.nl, 1, reversed);
    solve(whole.nl + 2, whole.nr, whole.sqre, reversed);
    for (Int i = 1; i <= whole.n(); ++i) U(i, whole.nl + 1) = guard<R>();  // is not looked at
    d.seal();
    U.seal();
    VT.seal();
    idxq.seal();
  }

 private:
  void solve(Int first, Int rows, Int sqre, bool reversed) {
    std::vector<R> e = matrix.e;
    e.push_back(0);
    std::copy_n(&matrix.d[std::size_t(first - 1)], rows, &d(first));
    GuardedVector<R> work(4 * rows);
    Int info = 99;
    routine_call::lasdq('U', sqre, rows, rows + sqre, rows, 0, &d(first), &e[std::size_t(first - 1)],
                        {&VT(first, first), VT.ld()}, {&U(first, first), U.ld()}, {&U(first, first), U.ld()},
                        work.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(std::is_sorted(&d(first), &d(first) + rows));
    for (Int i = 0; i < rows; ++i) idxq(first + i) = reversed ? rows - i : i + 1;
    for (Int i = first, j = first + rows - 1; reversed && i < j; ++i, --j) {
      std::swap(d(i), d(j));
      for (Int k = 1; k <= U.rows(); ++k) std::swap(U(k, i), U(k, j));
      for (Int k = 1; k <= VT.rows(); ++k) std::swap(VT(i, k), VT(j, k));
    }
  }
};

/// Places of the values in decreasing order, from a permutation that is to sort them into increasing order.
template <RealScalar R>
std::vector<Int> decreasing_order(const GuardedVector<R>& d, const GuardedVector<Int>& idxq) {
  std::vector<Int> order(idxq.data(), idxq.data() + idxq.size());
  std::reverse(order.begin(), order.end());
  std::vector<Int> sorted = order, all(order.size());
  std::sort(sorted.begin(), sorted.end());
  std::iota(all.begin(), all.end(), 1);
  EXPECT_EQ(sorted, all);
  for (std::size_t i = 1; i < order.size() && sorted == all; ++i) EXPECT_GE(d(order[i - 1]), d(order[i]));
  return sorted == all ? order : all;
}

}  // namespace nuv::test
