#pragma once

// Calls of the driver for singular values by divide and conquer.

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "frame/option_matching.hpp"
#include "routines.hpp"
#include "support/precisions.hpp"
#include "svd/decomposition_checks.hpp"

namespace nuv::test {

inline constexpr char divided_jobs[] = {'N', 'O', 'S', 'A'};

/// Rows, or columns, from which on the factorisation comes first.
inline Int divided_crossover(Int shorter) {
  return 11 * shorter / 6;
}

struct DividedShape {
  Int m, n;
};

/// Square, just below and at the crossover, and long, on either side.
inline std::vector<DividedShape> divided_shapes(Int k) {
  std::vector<DividedShape> list;
  for (const Int l :
       std::set<Int>{k, std::max(k, divided_crossover(k) - 1), std::max(k, divided_crossover(k)), 2 * k + 3}) {
    list.push_back({l, k});
    if (l != k) list.push_back({k, l});
  }
  return list;
}

/// All arguments of a call. Vectors that are not wanted have arrays of no columns.
template <Scalar T>
struct DividedCall {
  using R = Real<T>;

  char jobz;
  Int m, n, k, lda, ldu, ldvt, info = 99;
  GuardedMatrix<T> A, U, VT;
  GuardedVector<R> s, rwork;
  GuardedVector<Int> iwork;
  GuardedVector<T> work{1};
  Int lwork = 1;

  DividedCall(char jobz_, const GuardedMatrix<T>& matrix)
      : jobz(jobz_),
        m(matrix.rows()),
        n(matrix.columns()),
        k(std::min(m, n)),
        lda(matrix.ld()),
        ldu(has_u() ? std::max(1, m) + 1 : 1),
        ldvt(has_vt() ? std::max(1, is('S') ? k : n) + 2 : 1),
        A(matrix),
        U(m,
          !has_u()  ? 0
          : is('S') ? k
                    : m,
          ldu),
        VT(!has_vt() ? 0
           : is('S') ? k
                     : n,
           has_vt() ? n : 0, ldvt),
        s(k),
        rwork(!ComplexScalar<T> ? 0
              : is('N')         ? 5 * k
                                : 5 * k * k + 5 * k),
        iwork(8 * k) {}

  bool is(char letter) const { return same_letter(jobz, letter); }
  bool has_u() const { return is('A') || is('S') || (is('O') && m < n); }
  bool has_vt() const { return is('A') || is('S') || (is('O') && m >= n); }

  void make_room(Int size) {
    lwork = size;
    work = GuardedVector<T>(std::max(1, size));
  }

  void run() {
    const Matrix<T> a{A.data(), lda}, u{U.data(), ldu}, vt{VT.data(), ldvt};
    if constexpr (ComplexScalar<T>) {
      routine_call::gesdd(jobz, m, n, a, s.data(), u, vt, work.data(), lwork, rwork.data(), iwork.data(), info);
    } else {
      routine_call::gesdd(jobz, m, n, a, s.data(), u, vt, work.data(), lwork, iwork.data(), info);
    }
  }

  /// What it asks for.
  Int best() const {
    DividedCall question = *this;
    question.make_room(1);
    question.lwork = -1;
    question.run();
    EXPECT_EQ(question.info, 0);
    EXPECT_TRUE(question.A.same_as(A) && question.U.same_as(U) && question.VT.same_as(VT) && question.s.unchanged() &&
                question.rwork.unchanged());
    return Int(std::real(question.work(1)));
  }

  DividedCall solved(Int size) const {
    DividedCall call = *this;
    call.make_room(size);
    call.run();
    EXPECT_TRUE(call.A.guards_unchanged() && call.U.guards_unchanged() && call.VT.guards_unchanged() &&
                call.s.guards_unchanged() && call.rwork.guards_unchanged() && call.work.guards_unchanged() &&
                call.iwork.guards_unchanged());
    return call;
  }

  bool has_vectors() const { return !is('N'); }

  /// The left vectors, as columns; the right ones, as rows.
  WideMatrix<T> left() const { return is('O') && m >= n ? WideMatrix<T>(wide(A).leftCols(k)) : wide(U); }
  WideMatrix<T> right() const { return is('O') && m < n ? WideMatrix<T>(wide(A).topRows(k)) : wide(VT); }

  bool unchanged() const {
    return A.unchanged() && U.unchanged() && VT.unchanged() && s.unchanged() && rwork.unchanged() && iwork.unchanged();
  }
};

/// The least workspace, and what is enough for the faster way where there are two.
struct DividedSizes {
  Int least, enough;
};

template <Scalar T>
DividedSizes divided_sizes(char jobz, Int m, Int n) {
  const Int l = std::max(m, n), k = std::min(m, n);
  const auto is = [=](char letter) { return same_letter(jobz, letter); };
  const bool by_factor = l >= divided_crossover(k);
  Int least = 0;
  if (RealScalar<T>) {
    const Int division = 3 * k * k + 4 * k;
    if (by_factor) {
      least = is('N') ? 8 * k : is('O') ? 2 * k * k + 3 * k + division : k * k + 3 * k + division;
      if (is('A')) least = std::max(least, k * k + k + l);
      return {least, least};
    }
    least = 3 * k + std::max(l, is('N') ? 7 * k : is('O') ? k * k + division : division);
    return {least, is('O') ? std::max(least, 3 * k + l * k + division) : least};
  }
  if (by_factor) {
    least = is('N') ? 3 * k : (is('O') ? 2 : 1) * k * k + 3 * k;
    if (is('A')) least = std::max(least, k * k + k + l);
    return {least, least};
  }
  least = 2 * k + std::max(l, is('O') ? k * k + k : 0);
  return {least, is('O') ? std::max(least, 2 * k + l * k + k) : least};
}

}  // namespace nuv::test
