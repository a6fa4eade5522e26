#pragma once

// What the routines of the generalised singular value decomposition are given in common, and its check.

#include <algorithm>

#include "frame/option_matching.hpp"

namespace nuv {

/// Which of U, V and Q are wanted, by a letter each.
struct PairJobs {
  char u, v, q;

  bool u_is_wanted() const { return !same_letter(u, 'N'); }
  bool v_is_wanted() const { return !same_letter(v, 'N'); }
  bool q_is_wanted() const { return !same_letter(q, 'N'); }
};

/// Positions of arguments; those of V and of Q stand behind that of U.
struct PairPositions {
  Int lda, ldb, ldu;
};

struct PairArguments {
  PairJobs jobs;
  Int m, p, n, lda, ldb, ldu, ldv, ldq;

  /// 0, or minus the position of the first bad argument, of which the three sizes come from the fourth place on in the
  /// order of the routine. `begin_with_identity`: whether a letter may be 'I'.
  Int check(bool begin_with_identity, const Int (&sizes)[3], const PairPositions& at) const {
    const auto is_job = [&](char job, char wanted) {
      return is_one_of(job, wanted, 'N') || (begin_with_identity && same_letter(job, 'I'));
    };
    const auto is_too_short = [](bool wanted, Int ld, Int order) { return ld < 1 || (wanted && ld < order); };
    if (!is_job(jobs.u, 'U')) return -1;
    if (!is_job(jobs.v, 'V')) return -2;
    if (!is_job(jobs.q, 'Q')) return -3;
    for (Int i = 0; i < 3; ++i) {
      if (sizes[i] < 0) return -4 - i;
    }
    if (lda < std::max(1, m)) return -at.lda;
    if (ldb < std::max(1, p)) return -at.ldb;
    if (is_too_short(jobs.u_is_wanted(), ldu, m)) return -at.ldu;
    if (is_too_short(jobs.v_is_wanted(), ldv, p)) return -(at.ldu + 2);
    if (is_too_short(jobs.q_is_wanted(), ldq, n)) return -(at.ldu + 4);
    return 0;
  }
};

}  // namespace nuv
