#pragma once

// What the tests of ?latmr share: calls, and the letters of options.

#include <string>
#include <vector>

#include "routines.hpp"
#include "spectrum_cases.hpp"
#include "support/options.hpp"
#include "support/random.hpp"

namespace nuv::test {

inline constexpr char syms[] = {'S', 'N', 'H'};
inline constexpr char grades[] = {'N', 'L', 'R', 'B', 'E', 'H', 'S'};
inline constexpr char pivtngs[] = {'N', ' ', 'L', 'R', 'B', 'F'};
inline constexpr char packs[] = {'N', 'U', 'L', 'C', 'R', 'B', 'Q', 'Z'};

/// The options of a call.
template <Scalar T>
struct Options {
  Int m = 6, n = 6;
  char dist = 'S', sym = 'N';
  Int mode = 4;
  Real<T> cond = 4;
  T dmax = 3;
  char rsign = 'F', grade = 'N';
  Int model = 3;
  Real<T> condl = 5;
  Int moder = 2;
  Real<T> condr = 7;
  char pivtng = 'N';
  Int kl = 5, ku = 5;
  Real<T> sparse = 0, anorm = -1;
  char pack = 'N';

  bool is(char letter, char option) const { return same_letter(letter, option); }
  bool is_hermitian() const { return is(sym, 'H'); }
  bool is_symmetric() const { return !is(sym, 'N'); }
  bool is_full() const { return kl >= m - 1 && ku >= n - 1; }
  Int lower() const { return std::min(kl, m - 1); }
  Int upper() const { return std::min(ku, n - 1); }
  bool pivots_rows() const { return is_one_of(pivtng, 'L', 'B', 'F'); }
  bool pivots_columns() const { return is_one_of(pivtng, 'R', 'B', 'F'); }
  bool is_packed() const { return is_one_of(pack, 'C', 'R'); }
  Int rows_of_a() const {
    return is_packed()                 ? n * (n + 1) / 2
           : is_one_of(pack, 'B', 'Q') ? upper() + 1
           : is(pack, 'Z')             ? 2 * lower() + upper() + 1
                                       : m;
  }
  Int columns_of_a() const { return is_packed() ? 1 : n; }

  std::string text() const {
    return std::string("dist ") + dist + ", sym " + sym + ", mode " + std::to_string(mode) + ", rsign " + rsign +
           ", grade " + grade + ", pivtng " + pivtng + ", pack " + pack + ", " + std::to_string(m) + " by " +
           std::to_string(n) + ", band " + std::to_string(kl) + ", " + std::to_string(ku) + ", sparse " +
           std::to_string(sparse) + ", anorm " + std::to_string(anorm);
  }
};

/// What a call reads and writes.
template <Scalar T>
struct Arrays {
  GuardedVector<T> d, dl, dr;
  std::vector<Int> ipivot;
  Seed seed = first_seed;
  GuardedMatrix<T> A;
  Int info = 99;

  Arrays(const Options<T>& options, Random& random)
      : d(random_vector<T>(random, std::min(options.m, options.n), 1)),
        dl(random_vector<T>(random, options.m, 1)),
        dr(random_vector<T>(random, options.n, 1)),
        A(options.rows_of_a(), options.columns_of_a(), options.rows_of_a() + (options.is_packed() ? 0 : 2)) {
    const Int pivots = !options.pivots_columns() ? options.m
                       : !options.pivots_rows()  ? options.n
                                                 : std::min(options.m, options.n);
    for (Int k = 0; k < pivots; ++k) ipivot.push_back(random.integer(1, pivots));
  }
};

template <Scalar T>
Arrays<T> latmr(const Options<T>& options, Arrays<T> arrays) {
  GuardedVector<Int> iwork(std::max(options.m, options.n));
  // A packed matrix takes any leading dimension.
  const Int lda = options.is_packed() ? 1 : arrays.A.ld();
  routine_call::latmr(options.m, options.n, options.dist, arrays.seed.data(), options.sym, arrays.d.data(),
                      options.mode, options.cond, options.dmax, options.rsign, options.grade, arrays.dl.data(),
                      options.model, options.condl, arrays.dr.data(), options.moder, options.condr, options.pivtng,
                      arrays.ipivot.data(), options.kl, options.ku, options.sparse, options.anorm, options.pack,
                      Matrix<T>{arrays.A.data(), lda}, iwork.data(), arrays.info);
  EXPECT_TRUE(iwork.guards_unchanged());
  EXPECT_TRUE(arrays.A.guards_unchanged());
  return arrays;
}

}  // namespace nuv::test
