#pragma once

// A call of ?stemr with the least workspace.

#include <cctype>
#include <cmath>

#include "routines.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/tridiagonal_problem.hpp"

namespace nuv::test {

/// Which eigenvalues a call asks for.
template <RealScalar R>
struct Wanted {
  char range = 'A';
  R vl = 0, vu = 0;
  Int il = 0, iu = 0;

  static Wanted by_index(Int il, Int iu) { return {.range = 'I', .il = il, .iu = iu}; }
  static Wanted by_value(R vl, R vu) { return {.range = 'V', .vl = vl, .vu = vu}; }
};

template <Scalar T>
struct Mrrr {
  using R = Real<T>;

  char jobz;
  Wanted<R> wanted;
  Tridiagonal<R> matrix;
  Int n;
  GuardedVector<R> d, e, w;
  GuardedMatrix<T> Z;
  GuardedVector<Int> isuppz;
  GuardedVector<R> work;
  GuardedVector<Int> iwork;
  Logical tryrac = to_logical(false);
  Int m = -1, info = 99;

  /// With room for so many vectors, or for all.
  Mrrr(char jobz, const Wanted<R>& wanted, const Tridiagonal<R>& matrix, Int columns = -1)
      : jobz(jobz),
        wanted(wanted),
        matrix(matrix),
        n(matrix.order()),
        d(guarded(matrix.d)),
        e(n),
        w(n),
        Z(has_vectors() ? n : 1,
          !has_vectors() ? 1
          : columns < 0  ? n
                         : columns,
          n + 2),
        isuppz(has_vectors() ? 2 * Z.columns() : 0),
        work((has_vectors() ? 18 : 12) * n),
        iwork((has_vectors() ? 10 : 8) * n) {
    std::copy(matrix.e.begin(), matrix.e.end(), e.data());
    e.seal();
  }

  bool has_vectors() const { return std::toupper(jobz) == 'V'; }

  Mrrr& run() {
    routine_call::stemr(jobz, wanted.range, n, d.data(), e.data(), wanted.vl, wanted.vu, wanted.il, wanted.iu, m,
                        w.data(), Z, Z.columns(), isuppz.data(), tryrac, work.data(), work.size(), iwork.data(),
                        iwork.size(), info);
    return *this;
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(d.guards_unchanged() && e.guards_unchanged() && w.guards_unchanged() &&
                                    Z.guards_unchanged() && isuppz.guards_unchanged() && work.guards_unchanged() &&
                                    iwork.guards_unchanged())
           << "guards";
  }

  /// That the pairs are good ones, of the exact value `first` and those behind it.
  void expect_pairs(const std::vector<WideReal<R>>& exact, Int first, const std::string& what) {
    EXPECT_EQ(info, 0) << what;
    EXPECT_TRUE(guards_unchanged()) << what;
    if (info != 0) return;
    EXPECT_TRUE(std::is_sorted(w.data(), w.data() + m)) << what;
    EXPECT_LT(value_error(w, m, exact, first), threshold) << what;
    if (!has_vectors()) {
      EXPECT_TRUE(Z.unchanged()) << what;
      return;
    }
    EXPECT_LT(eigen_residual<T>(wide_dense<T>(matrix), Z, w, m), threshold) << what;
    EXPECT_LT(orthogonality(Z, m), threshold) << what;
    expect_supports(what);
  }

  /// That isuppz tells where each vector has its first and its last element.
  void expect_supports(const std::string& what) {
    for (Int k = 1; k <= m; ++k) {
      Int from = 1, to = n;
      while (from < to && Z(from, k) == T(0)) ++from;
      while (to > from && Z(to, k) == T(0)) --to;
      EXPECT_LE(isuppz(2 * k - 1), from) << what << ", vector " << k;
      EXPECT_GE(isuppz(2 * k), to) << what << ", vector " << k;
      EXPECT_TRUE(1 <= isuppz(2 * k - 1) && isuppz(2 * k - 1) <= isuppz(2 * k) && isuppz(2 * k) <= n)
          << what << ", vector " << k;
    }
  }

  static constexpr double threshold = 30;
};

/// That `count` pairs are found in the wanted part, which are those of the exact value `first` and the ones behind it.
template <Scalar T>
void expect_part(const Tridiagonal<Real<T>>& matrix, const std::vector<WideReal<T>>& exact,
                 const Wanted<Real<T>>& wanted, Int first, Int count, const std::string& what) {
  for (const char jobz : {'V', 'N'}) {
    Mrrr<T> call(jobz, wanted, matrix, count);
    call.run();
    EXPECT_EQ(call.m, count) << what;
    if (call.m == count) call.expect_pairs(exact, first, what + ", jobz " + jobz);
  }
}

template <RealScalar R>
std::string title(const DescribedTridiagonal<R>& described) {
  return described.name + (" of order " + std::to_string(described.matrix.order()));
}

}  // namespace nuv::test
