#pragma once

// Calls of the driver for singular values by QR iteration.

#include <algorithm>
#include <string>

#include "frame/option_matching.hpp"
#include "routines.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "svd/decomposition_checks.hpp"

namespace nuv::test {

inline constexpr char svd_jobs[] = {'N', 'O', 'S', 'A'};

/// Rows, or columns, from which on the factorisation comes first.
inline Int svd_crossover(Int shorter) {
  return Int(float(shorter) * 1.6f);
}

/// All arguments of a call. Vectors that are not wanted have arrays of no columns.
template <Scalar T>
struct SvdCall {
  using R = Real<T>;

  char jobu, jobvt;
  Int m, n, k, lda, ldu, ldvt, info = 99;
  GuardedMatrix<T> A, U, VT;
  GuardedVector<R> s, rwork;
  GuardedVector<T> work{1};
  Int lwork = 1;

  SvdCall(char jobu_, char jobvt_, const GuardedMatrix<T>& matrix)
      : jobu(jobu_),
        jobvt(jobvt_),
        m(matrix.rows()),
        n(matrix.columns()),
        k(std::min(m, n)),
        lda(matrix.ld()),
        ldu(has_array(jobu) ? std::max(1, m) + 1 : 1),
        ldvt(has_array(jobvt) ? std::max(1, is(jobvt, 'A') ? n : k) + 2 : 1),
        A(matrix),
        U(m, count(jobu, m), ldu),
        VT(count(jobvt, n), n, ldvt),
        s(k),
        rwork(ComplexScalar<T> ? 5 * k : 0) {}

  void make_room(Int size) {
    lwork = size;
    work = GuardedVector<T>(std::max(1, size));
  }

  void run() {
    const Matrix<T> a{A.data(), lda}, u{U.data(), ldu}, vt{VT.data(), ldvt};
    if constexpr (ComplexScalar<T>) {
      routine_call::gesvd(jobu, jobvt, m, n, a, s.data(), u, vt, work.data(), lwork, rwork.data(), info);
    } else {
      routine_call::gesvd(jobu, jobvt, m, n, a, s.data(), u, vt, work.data(), lwork, info);
    }
  }

  /// What it asks for.
  Int best() const {
    SvdCall question = *this;
    question.make_room(1);
    question.lwork = -1;
    question.run();
    EXPECT_EQ(question.info, 0);
    EXPECT_TRUE(question.A.same_as(A) && question.U.same_as(U) && question.VT.same_as(VT) && question.s.unchanged() &&
                question.rwork.unchanged());
    return Int(std::real(question.work(1)));
  }

  SvdCall solved(Int size) const {
    SvdCall call = *this;
    call.make_room(size);
    call.run();
    EXPECT_TRUE(call.A.guards_unchanged() && call.U.guards_unchanged() && call.VT.guards_unchanged());
    EXPECT_TRUE(call.s.guards_unchanged() && call.rwork.guards_unchanged() && call.work.guards_unchanged());
    return call;
  }

  bool has_left() const { return !is(jobu, 'N'); }
  bool has_right() const { return !is(jobvt, 'N'); }

  /// The left vectors that were wanted, as columns.
  WideMatrix<T> left() const { return is(jobu, 'O') ? WideMatrix<T>(wide(A).leftCols(k)) : wide(U); }

  /// The right vectors that were wanted, as rows.
  WideMatrix<T> right() const { return is(jobvt, 'O') ? WideMatrix<T>(wide(A).topRows(k)) : wide(VT); }

  bool unchanged() const {
    return A.unchanged() && U.unchanged() && VT.unchanged() && s.unchanged() && rwork.unchanged() && work.unchanged();
  }

  static bool is(char job, char letter) { return same_letter(job, letter); }
  static bool has_array(char job) { return is(job, 'A') || is(job, 'S'); }

 private:
  Int count(char job, Int all) const { return is(job, 'A') ? all : is(job, 'S') ? k : 0; }
};

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

}  // namespace nuv::test
