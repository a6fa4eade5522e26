#pragma once

// Calls of the drivers for full symmetric and Hermitian matrices.

#include "routines.hpp"
#include "symmetric/dense_problem.hpp"

namespace nuv::test {

enum class Room { least, best };

/// All arguments of a call of any of the drivers; marks are isuppz or ifail.
template <Scalar T>
struct DenseCall {
  using R = Real<T>;

  char jobz, range = 'A', uplo;
  Int n, lda, ldz;
  R vl = 0, vu = 0, abstol = 0;
  Int il = 1, iu = 0, m = 99, info = 99;
  GuardedMatrix<T> A, Z;
  GuardedVector<R> w;
  GuardedVector<Int> marks;
  GuardedVector<T> work{1};
  GuardedVector<R> rwork{1};
  GuardedVector<Int> iwork{1};
  Int lwork = 1, lrwork = 1, liwork = 1;

  DenseCall(char jobz_, char uplo_, const GuardedMatrix<T>& matrix)
      : jobz(jobz_),
        uplo(uplo_),
        n(matrix.rows()),
        lda(matrix.ld()),
        ldz(std::max(1, n) + 1),
        A(matrix),
        Z(n, n, ldz),
        w(n),
        marks(2 * std::max(1, n)) {
    fill_with_ones(Z);
  }

  DenseCall(char jobz_, char uplo_, const GuardedMatrix<T>& matrix, R vl_, R vu_) : DenseCall(jobz_, uplo_, matrix) {
    range = 'V';
    vl = vl_;
    vu = vu_;
  }

  DenseCall(char jobz_, char uplo_, const GuardedMatrix<T>& matrix, Int il_, Int iu_)
      : DenseCall(jobz_, uplo_, matrix) {
    range = 'I';
    il = il_;
    iu = iu_;
  }

  bool wants_vectors() const { return same_letter(jobz, 'V'); }

  bool unchanged() const {
    return A.unchanged() && Z.unchanged() && w.unchanged() && marks.unchanged() && work.unchanged() &&
           rwork.unchanged() && iwork.unchanged();
  }
};

struct WorkSizes {
  std::int64_t work, rwork, iwork;
};

// Each driver has
//
//     name        by which it reports bad arguments
//     selects     whether it takes a range
//     in_place    whether the eigenvectors come in A
//     least(jobz 'V', n)   the least workspaces
//     run(call)

template <Scalar T>
struct Ev {
  static constexpr const char* name = ComplexScalar<T> ? "HEEV" : "SYEV";
  static constexpr bool selects = false, in_place = true;
  static constexpr Int lwork = 8, lrwork = 0, liwork = 0;
  static WorkSizes least(bool, std::int64_t n) {
    return {std::max<std::int64_t>(1, (ComplexScalar<T> ? 2 : 3) * n - 1), std::max<std::int64_t>(1, 3 * n - 2), 0};
  }
  static void run(DenseCall<T>& c) {
    const Matrix<T> A{c.A.data(), c.lda};
    if constexpr (ComplexScalar<T>) {
      routine_call::heev(c.jobz, c.uplo, c.n, A, c.w.data(), c.work.data(), c.lwork, c.rwork.data(), c.info);
    } else {
      routine_call::syev(c.jobz, c.uplo, c.n, A, c.w.data(), c.work.data(), c.lwork, c.info);
    }
  }
};

template <Scalar T>
struct Evd {
  static constexpr const char* name = ComplexScalar<T> ? "HEEVD" : "SYEVD";
  static constexpr bool selects = false, in_place = true;
  static constexpr Int lwork = 8, lrwork = ComplexScalar<T> ? 10 : 0, liwork = ComplexScalar<T> ? 12 : 10;
  static WorkSizes least(bool with_vectors, std::int64_t n) {
    if (n <= 1) return {1, 1, 1};
    if (!with_vectors) return {ComplexScalar<T> ? n + 1 : 2 * n + 1, n, 1};
    return {ComplexScalar<T> ? n * n + 2 * n : 2 * n * n + 6 * n + 1, 2 * n * n + 5 * n + 1, 5 * n + 3};
  }
  static void run(DenseCall<T>& c) {
    const Matrix<T> A{c.A.data(), c.lda};
    if constexpr (ComplexScalar<T>) {
      routine_call::heevd(c.jobz, c.uplo, c.n, A, c.w.data(), c.work.data(), c.lwork, c.rwork.data(), c.lrwork,
                          c.iwork.data(), c.liwork, c.info);
    } else {
      routine_call::syevd(c.jobz, c.uplo, c.n, A, c.w.data(), c.work.data(), c.lwork, c.iwork.data(), c.liwork, c.info);
    }
  }
};

template <Scalar T>
struct Evr {
  static constexpr const char* name = ComplexScalar<T> ? "HEEVR" : "SYEVR";
  static constexpr bool selects = true, in_place = false;
  static constexpr Int lwork = 18, lrwork = ComplexScalar<T> ? 20 : 0, liwork = ComplexScalar<T> ? 22 : 20;
  static WorkSizes least(bool, std::int64_t n) {
    const auto at_least_one = [](std::int64_t size) { return std::max<std::int64_t>(1, size); };
    return {at_least_one((ComplexScalar<T> ? 2 : 26) * n), at_least_one(24 * n), at_least_one(10 * n)};
  }
  static void run(DenseCall<T>& c) {
    const Matrix<T> A{c.A.data(), c.lda}, Z{c.Z.data(), c.ldz};
    if constexpr (ComplexScalar<T>) {
      routine_call::heevr(c.jobz, c.range, c.uplo, c.n, A, c.vl, c.vu, c.il, c.iu, c.abstol, c.m, c.w.data(), Z,
                          c.marks.data(), c.work.data(), c.lwork, c.rwork.data(), c.lrwork, c.iwork.data(), c.liwork,
                          c.info);
    } else {
      routine_call::syevr(c.jobz, c.range, c.uplo, c.n, A, c.vl, c.vu, c.il, c.iu, c.abstol, c.m, c.w.data(), Z,
                          c.marks.data(), c.work.data(), c.lwork, c.iwork.data(), c.liwork, c.info);
    }
  }
};

template <Scalar T>
struct Evx {
  static constexpr const char* name = ComplexScalar<T> ? "HEEVX" : "SYEVX";
  static constexpr bool selects = true, in_place = false;
  static constexpr Int lwork = 17, lrwork = 0, liwork = 0;
  static WorkSizes least(bool, std::int64_t n) { return {n <= 1 ? 1 : (ComplexScalar<T> ? 2 : 8) * n, 7 * n, 5 * n}; }
  static void run(DenseCall<T>& c) {
    const Matrix<T> A{c.A.data(), c.lda}, Z{c.Z.data(), c.ldz};
    if constexpr (ComplexScalar<T>) {
      routine_call::heevx(c.jobz, c.range, c.uplo, c.n, A, c.vl, c.vu, c.il, c.iu, c.abstol, c.m, c.w.data(), Z,
                          c.work.data(), c.lwork, c.rwork.data(), c.iwork.data(), c.marks.data(), c.info);
    } else {
      routine_call::syevx(c.jobz, c.range, c.uplo, c.n, A, c.vl, c.vu, c.il, c.iu, c.abstol, c.m, c.w.data(), Z,
                          c.work.data(), c.lwork, c.iwork.data(), c.marks.data(), c.info);
    }
  }
};

/// Calls visit(driver) with each of them.
template <Scalar T, class Visit>
void for_each_driver(Visit visit) {
  visit(Ev<T>());
  visit(Evd<T>());
  visit(Evr<T>());
  visit(Evx<T>());
}

/// Gives a call its workspaces.
template <Scalar T>
void make_room(DenseCall<T>& call, const WorkSizes& sizes) {
  call.lwork = Int(sizes.work);
  call.lrwork = Int(sizes.rwork);
  call.liwork = Int(sizes.iwork);
  call.work = GuardedVector<T>(call.lwork);
  call.rwork = GuardedVector<Real<T>>(call.lrwork);
  call.iwork = GuardedVector<Int>(call.liwork);
}

/// What a driver answers when it is asked for its workspaces; nothing else is touched.
template <class Driver, Scalar T>
WorkSizes asked_for(const DenseCall<T>& call) {
  DenseCall<T> question = call;
  make_room(question, {1, 1, 1});
  question.lwork = question.lrwork = question.liwork = -1;
  Driver::run(question);
  EXPECT_EQ(question.info, 0);
  EXPECT_TRUE(question.A.same_as(call.A) && question.Z.unchanged() && question.w.unchanged());
  const WorkSizes least = Driver::least(call.wants_vectors(), call.n);
  return {Int(std::real(question.work(1))), Driver::lrwork != 0 ? Int(question.rwork(1)) : least.rwork,
          Driver::liwork != 0 ? question.iwork(1) : least.iwork};
}

/// Runs a call in its least or its best workspaces.
template <class Driver, Scalar T>
DenseCall<T> solve(DenseCall<T> call, Room room = Room::best) {
  make_room(call, room == Room::least ? Driver::least(call.wants_vectors(), call.n) : asked_for<Driver>(call));
  Driver::run(call);
  EXPECT_TRUE(call.A.guards_unchanged() && call.Z.guards_unchanged() && call.w.guards_unchanged() &&
              call.marks.guards_unchanged());
  EXPECT_TRUE(call.work.guards_unchanged() && call.rwork.guards_unchanged() && call.iwork.guards_unchanged());
  if (!Driver::selects) call.m = call.n;
  return call;
}

/// The eigenvectors that a driver gave.
template <class Driver, Scalar T>
const GuardedMatrix<T>& vectors(const DenseCall<T>& call) {
  return Driver::in_place ? call.A : call.Z;
}

}  // namespace nuv::test
