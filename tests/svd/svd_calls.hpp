#pragma once

// Calls of the driver for singular values by QR iteration.

#include <algorithm>
#include <set>
#include <string>

#include "support/random.hpp"
#include "svd/svd_arrays.hpp"

namespace nuv::test {

/// Rows, or columns, from which on the factorisation comes first.
inline Int svd_crossover(Int shorter) {
  return Int(float(shorter) * 1.6f);
}

/// What a call is to take and to ask for, worked out letter by letter for a tall matrix, and for a wide one with the
/// letters exchanged.
struct SvdSizes {
  Int least, best;
  Int blocks;     ///< what is enough for the faster way where there are two; else the same as least
  Int steps = 0;  ///< what the steps ask for that have the matrix factored first, without blocks
};

template <Scalar T>
SvdSizes svd_sizes(char jobu, char jobvt, Int m, Int n) {
  const bool tall = m >= n;
  const Int l = std::max(m, n), k = std::min(m, n);
  const char left = tall ? jobu : jobvt, right = tall ? jobvt : jobu;
  const auto is = [](char job, char letter) { return same_letter(job, letter); };
  constexpr bool real = RealScalar<T>;
  const Int before = (real ? 3 : 2) * k, bdspac = real ? 5 * k : 0, e = real ? k : 0;
  const auto nb = [&](const std::string& operation, const char* opts, Int n1, Int n2, Int n3 = -1) {
    const std::string name = reported_name<T>(operation);
    return routine_call::ilaenv(1, {name.data(), Int(name.size())}, {opts, Int(1)}, n1, n2, n3, -1);
  };
  const std::string form = real ? "ORG" : "UNG";
  const char *const q_letter = tall ? "Q" : "P", *const p_letter = tall ? "P" : "Q";
  const std::string qr_name = form + (tall ? "QR" : "LQ");
  const Int ge = k + k * nb(tall ? "GEQRF" : "GELQF", " ", m, n), qn = k + k * nb(qr_name, " ", m, n, k),
            qm = k + l * nb(qr_name, " ", l, l, k), br = before + 2 * k * nb("GEBRD", " ", k, k),
            p = before + (k - 1) * nb(form + "BR", p_letter, k, k, k),
            q = before + k * nb(form + "BR", q_letter, k, k, k);

  if (l < svd_crossover(k)) {
    const Int least = std::max(before + l, bdspac);
    Int best = std::max(least, before + (m + n) * nb("GEBRD", " ", m, n));
    if (is(left, 'S') || is(left, 'O')) best = std::max(best, before + k * nb(form + "BR", q_letter, m, n, k));
    if (is(left, 'A')) best = std::max(best, before + l * nb(form + "BR", q_letter, l, l, k));
    if (!is(right, 'N')) best = std::max(best, p);
    return {least, best, least};
  }
  const Int with_p = is(right, 'N') ? 0 : p;
  if (is(left, 'N')) {
    const Int least = std::max(before + k, bdspac);
    return {least, std::max({least, ge, br, with_p}), least, std::max({bdspac, ge, br, with_p})};
  }
  const Int least = std::max(before + l, bdspac), q_size = is(left, 'A') ? qm : qn;
  const Int wrkbl = std::max({ge, q_size, br, with_p, q, bdspac});
  const Int blocks = (is(right, 'O') ? 2 : 1) * k * k;
  const Int best = is(left, 'O') ? std::max(k * k + wrkbl, k * k + m * n + e) : blocks + wrkbl;
  const Int enough = blocks + std::max({before + k, bdspac, is(left, 'A') ? k + l : Int{0}});
  return {least, std::max(best, least), enough, wrkbl};
}

/// All arguments of a call.
template <Scalar T>
struct SvdCall : SvdArrays<SvdCall<T>, T> {
  using Arrays = SvdArrays<SvdCall<T>, T>;
  using Arrays::A, Arrays::U, Arrays::VT, Arrays::k, Arrays::m, Arrays::n, Arrays::s, Arrays::work;
  using Arrays::jobu, Arrays::jobvt, Arrays::lda, Arrays::ldu, Arrays::ldvt, Arrays::lwork, Arrays::rwork, Arrays::info;

  static constexpr Int lwork_position = 13;

  SvdCall(char jobu_, char jobvt_, const GuardedMatrix<T>& matrix)
      : Arrays(jobu_, jobvt_, matrix, 5 * std::min(matrix.rows(), matrix.columns())) {}

  void run() {
    const Matrix<T> a{A.data(), lda}, u{U.data(), ldu}, vt{VT.data(), ldvt};
    if constexpr (ComplexScalar<T>) {
      routine_call::gesvd(jobu, jobvt, m, n, a, s.data(), u, vt, work.data(), lwork, rwork.data(), info);
    } else {
      routine_call::gesvd(jobu, jobvt, m, n, a, s.data(), u, vt, work.data(), lwork, info);
    }
  }

  SvdSizes sizes() const { return svd_sizes<T>(jobu, jobvt, m, n); }

  std::set<Int> workspaces(Int best) const {
    const auto [least, asked, blocks, steps] = sizes();
    const Int more = best + 2 * lda * k;
    std::set<Int> all;
    for (const Int wanted : {least, blocks - 1, blocks, (blocks + best) / 2, best, more - 1, more}) {
      all.insert(std::max(least, wanted));
    }
    return all;
  }

  /// All jobs, but for that of overwriting twice.
  template <class Visit>
  static void for_each_job(Visit visit) {
    for (const char jobu : svd_jobs) {
      for (const char jobvt : svd_jobs) {
        if (jobu != 'O' || jobvt != 'O') visit(jobu, jobvt);
      }
    }
  }
};

}  // namespace nuv::test
