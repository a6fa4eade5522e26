#pragma once

// Arrays of the drivers for singular values, and what a call of either driver can do.

#include <algorithm>
#include <string>

#include "frame/option_matching.hpp"
#include "routines.hpp"
#include "support/precisions.hpp"
#include "svd/decomposition_checks.hpp"

namespace nuv::test {

inline constexpr char svd_jobs[] = {'N', 'O', 'S', 'A'};

/// What calls of the drivers share. Vectors that are not wanted have arrays of no columns. A Call has what its driver
/// takes beside that, and
///
///     Call(jobs ..., A)
///     run()               makes the call
///     sizes()             its workspaces
///     workspaces(best)    lengths around all that change its way
///     for_each_job(visit) calls visit(jobs ...) for all choices of vectors
///     lwork_position      of the argument
template <class Call, Scalar T>
struct SvdArrays {
  using Element = T;
  using R = Real<T>;

  char jobu, jobvt;  ///< what is to become of the left vectors and of the right ones: 'A', 'S', 'O', 'N'
  Int m, n, k, lda, ldu, ldvt, info = 99;
  GuardedMatrix<T> A, U, VT;
  GuardedVector<R> s, rwork;
  GuardedVector<T> work{1};
  Int lwork = 1;

  SvdArrays(char jobu_, char jobvt_, const GuardedMatrix<T>& matrix, Int reals)
      : jobu(jobu_),
        jobvt(jobvt_),
        m(matrix.rows()),
        n(matrix.columns()),
        k(std::min(m, n)),
        lda(matrix.ld()),
        ldu(has_array(jobu) ? std::max(1, m) + 1 : 1),
        ldvt(has_array(jobvt) ? std::max(1, count(jobvt, n)) + 2 : 1),
        A(matrix),
        U(m, count(jobu, m), ldu),
        VT(count(jobvt, n), n, ldvt),
        s(k),
        rwork(ComplexScalar<T> ? reals : 0) {}

  void make_room(Int size) {
    lwork = size;
    work = GuardedVector<T>(std::max(1, size));
  }

  /// What it asks for.
  Int best() const {
    Call question = call();
    question.make_room(1);
    question.lwork = -1;
    question.run();
    EXPECT_EQ(question.info, 0);
    EXPECT_TRUE(question.A.same_as(A) && question.U.same_as(U) && question.VT.same_as(VT) && question.s.unchanged() &&
                question.rwork.unchanged());
    return Int(std::real(question.work(1)));
  }

  Call solved(Int size) const {
    Call copy = call();
    copy.make_room(size);
    copy.run();
    EXPECT_TRUE(copy.guards_unchanged());
    return copy;
  }

  std::string description() const { return std::to_string(m) + " by " + std::to_string(n) + ' ' + jobu + jobvt; }

  bool has_left() const { return !is(jobu, 'N'); }
  bool has_right() const { return !is(jobvt, 'N'); }

  /// The left vectors that were wanted, as columns.
  WideMatrix<T> left() const { return is(jobu, 'O') ? WideMatrix<T>(wide(A).leftCols(k)) : wide(U); }

  /// The right vectors that were wanted, as rows.
  WideMatrix<T> right() const { return is(jobvt, 'O') ? WideMatrix<T>(wide(A).topRows(k)) : wide(VT); }

  bool guards_unchanged() const {
    return A.guards_unchanged() && U.guards_unchanged() && VT.guards_unchanged() && s.guards_unchanged() &&
           rwork.guards_unchanged() && work.guards_unchanged();
  }
  /// All arrays but the workspace.
  bool inputs_unchanged() const {
    return A.unchanged() && U.unchanged() && VT.unchanged() && s.unchanged() && rwork.unchanged();
  }

  static bool is(char job, char letter) { return same_letter(job, letter); }
  static bool has_array(char job) { return is(job, 'A') || is(job, 'S'); }

 private:
  const Call& call() const { return static_cast<const Call&>(*this); }
  Int count(char job, Int all) const { return is(job, 'A') ? all : is(job, 'S') ? k : 0; }
};

}  // namespace nuv::test
