#pragma once

// A call of ?larre, whose results ?larrv takes.

#include "routines.hpp"
#include "symmetric/mrrr_problem.hpp"
#include "symmetric/represented_matrix.hpp"

namespace nuv::test {

template <RealScalar R>
struct Roots {
  struct Block {
    Int number, first, last;  ///< rows, from one
  };

  Wanted<R> wanted;
  Tridiagonal<R> matrix;
  Int n = matrix.order();
  R rtol1 = std::sqrt(epsilon<R>), rtol2 = std::max(std::sqrt(epsilon<R>) / 200, 4 * epsilon<R>);
  R spltol = 0 - epsilon<R>;
  GuardedVector<R> d = guarded(matrix.d), e{n}, e2{n};
  GuardedVector<R> w{n}, werr{n}, wgap{n}, gers{2 * n}, work{6 * n};
  GuardedVector<Int> isplit{n}, iblock{n}, indexw{n}, iwork{5 * n};
  R vl = wanted.vl, vu = wanted.vu, pivmin = 0;
  Int nsplit = -1, m = -1, info = 99;

  Roots(const Wanted<R>& wanted_, const Tridiagonal<R>& matrix_) : wanted(wanted_), matrix(matrix_) {
    for (Int i = 1; i < n; ++i) {
      e(i) = matrix.e[std::size_t(i - 1)];
      e2(i) = e(i) * e(i);
    }
  }

  Roots& run() {
    routine_call::larre(wanted.range, n, vl, vu, wanted.il, wanted.iu, d.data(), e.data(), e2.data(), rtol1, rtol2,
                        spltol, nsplit, isplit.data(), m, w.data(), werr.data(), wgap.data(), iblock.data(),
                        indexw.data(), gers.data(), pivmin, work.data(), iwork.data(), info);
    return *this;
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(d.guards_unchanged() && e.guards_unchanged() && e2.guards_unchanged() &&
                                    w.guards_unchanged() && werr.guards_unchanged() && wgap.guards_unchanged() &&
                                    gers.guards_unchanged() && work.guards_unchanged() && isplit.guards_unchanged() &&
                                    iblock.guards_unchanged() && indexw.guards_unchanged() && iwork.guards_unchanged());
  }

  R norm() const {
    R largest = 0;
    for (const auto& part : {matrix.d, matrix.e}) {
      for (const R x : part) largest = std::max(largest, std::abs(x));
    }
    return largest;
  }

  std::vector<Block> blocks() const {
    std::vector<Block> all;
    for (Int k = 1; k <= nsplit; ++k) all.push_back({k, k == 1 ? 1 : isplit(k - 1) + 1, isplit(k)});
    return all;
  }

  RepresentedMatrix<R> root_of(const Block& block) const {
    return {{d.data() + block.first - 1, d.data() + block.last},
            {e.data() + block.first - 1, e.data() + block.last - 1}};
  }

  std::vector<R> values_of(const Block& block) const {
    std::vector<R> values;
    for (Int k = 1; k <= m; ++k) {
      if (iblock(k) == block.number) values.push_back(w(k));
    }
    return values;
  }
};

}  // namespace nuv::test
