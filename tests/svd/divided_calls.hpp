#pragma once

// Calls of the driver for singular values by divide and conquer.

#include <algorithm>
#include <set>

#include "svd/svd_arrays.hpp"

namespace nuv::test {

/// Rows, or columns, from which on the factorisation comes first.
inline Int divided_crossover(Int shorter) {
  return 11 * shorter / 6;
}

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

/// All arguments of a call.
template <Scalar T>
struct DividedCall : SvdArrays<DividedCall<T>, T> {
  using Arrays = SvdArrays<DividedCall<T>, T>;
  using Arrays::A, Arrays::U, Arrays::VT, Arrays::k, Arrays::m, Arrays::n, Arrays::s, Arrays::work;
  using Arrays::is, Arrays::lda, Arrays::ldu, Arrays::ldvt, Arrays::lwork, Arrays::rwork, Arrays::info;

  static constexpr Int lwork_position = 12;

  char jobz;
  GuardedVector<Int> iwork;

  DividedCall(char jobz_, const GuardedMatrix<T>& matrix)
      : Arrays(job_of(jobz_, matrix, true), job_of(jobz_, matrix, false), matrix, reals_of(jobz_, matrix)),
        jobz(jobz_),
        iwork(8 * k) {}

  void run() {
    const Matrix<T> a{A.data(), lda}, u{U.data(), ldu}, vt{VT.data(), ldvt};
    if constexpr (ComplexScalar<T>) {
      routine_call::gesdd(jobz, m, n, a, s.data(), u, vt, work.data(), lwork, rwork.data(), iwork.data(), info);
    } else {
      routine_call::gesdd(jobz, m, n, a, s.data(), u, vt, work.data(), lwork, iwork.data(), info);
    }
  }

  DividedSizes sizes() const { return divided_sizes<T>(jobz, m, n); }

  std::set<Int> workspaces(Int best) const {
    const auto [least, enough] = sizes();
    EXPECT_GE(best, enough);
    return {least, std::max(least, enough - 1), enough, best};
  }

  template <class Visit>
  static void for_each_job(Visit visit) {
    for (const char job : svd_jobs) visit(job);
  }

  bool guards_unchanged() const { return Arrays::guards_unchanged() && iwork.guards_unchanged(); }
  bool inputs_unchanged() const { return Arrays::inputs_unchanged() && iwork.unchanged(); }

 private:
  /// The long vectors overwrite the matrix, and the short ones have an array.
  static char job_of(char jobz, const GuardedMatrix<T>& matrix, bool left) {
    if (!is(jobz, 'O')) return jobz;
    return (matrix.rows() >= matrix.columns()) == left ? 'O' : 'A';
  }

  static Int reals_of(char jobz, const GuardedMatrix<T>& matrix) {
    const Int k = std::min(matrix.rows(), matrix.columns());
    return is(jobz, 'N') ? 5 * k : 5 * k * k + 5 * k;
  }
};

}  // namespace nuv::test
