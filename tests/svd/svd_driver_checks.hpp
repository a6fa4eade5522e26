#pragma once

// What the drivers for singular values have to give, by whatever method. A Call is one of those that stand on
// SvdArrays.

#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/random.hpp"
#include "svd/svd_arrays.hpp"

namespace nuv::test {

struct SvdShape {
  Int m, n;
};

/// Square, just below and at the crossover, and long, on either side.
inline std::vector<SvdShape> shapes_around(Int crossover, Int k) {
  std::vector<SvdShape> list;
  for (const Int l : std::set<Int>{k, std::max(k, crossover - 1), std::max(k, crossover), 2 * k + 3}) {
    list.push_back({l, k});
    if (l != k) list.push_back({k, l});
  }
  return list;
}

/// A matrix and what its decomposition is compared with.
template <Scalar T>
struct SvdProblem {
  GuardedMatrix<T> A;
  WideMatrix<T> wide_a;
  WideVector<T> values;

  explicit SvdProblem(const GuardedMatrix<T>& matrix)
      : A(matrix), wide_a(wide(matrix)), values(wide_singular_values<T>(wide_a)) {}
};

// ------------------------------------------------------------------------------------------------------------ results

/// The vectors that were wanted are orthonormal, up to that many eps for an element of theirs, and with the values
/// those of both sides make the matrix.
template <class Call, class T = typename Call::Element>
void expect_vectors(const Call& solved, const WideMatrix<T>& A, double most_drift = svd_threshold) {
  if (solved.has_left()) {
    EXPECT_LT(orthonormality<T>(solved.left()), most_drift) << "left";
  }
  if (solved.has_right()) {
    EXPECT_LT(orthonormality<T>(solved.right().adjoint()), most_drift) << "right";
  }
  if (solved.has_left() && solved.has_right()) {
    EXPECT_LT(decomposition_residual<T>(A, solved.left(), solved.s, solved.right()), svd_threshold);
  }
}

template <class Call, class T = typename Call::Element>
void expect_decomposition(const Call& solved, const SvdProblem<T>& problem) {
  ASSERT_EQ(solved.info, 0);
  EXPECT_TRUE(std::is_sorted(solved.s.data(), solved.s.data() + solved.k, std::greater<>()));
  EXPECT_LT(singular_value_error<T>(solved.s, problem.values), svd_threshold);
  expect_vectors(solved, problem.wide_a);
  if (solved.has_left() == solved.has_right()) return;
  if (problem.values(0) == 0) return;  // all vectors are those of the zero matrix
  if (solved.has_left()) {
    EXPECT_LT(one_sided_residual<T>(problem.wide_a, solved.left(), solved.s), svd_threshold);
  } else {
    EXPECT_LT(one_sided_residual<T>(problem.wide_a.adjoint(), solved.right().adjoint(), solved.s), svd_threshold);
  }
}

// ------------------------------------------------------------------------------------------------------ all the jobs

/// Solves by all jobs in the best workspace.
template <class Call, class T = typename Call::Element>
void expect_decompositions(const GuardedMatrix<T>& A) {
  const SvdProblem<T> problem(A);
  Call::for_each_job([&](auto... jobs) {
    const Call call(jobs..., A);
    SCOPED_TRACE(call.description());
    expect_decomposition(call.solved(call.best()), problem);
  });
}

/// Solves by all jobs in all kinds of workspace.
template <class Call, class T = typename Call::Element>
void expect_decompositions_in_any_workspace(Random& random, const GuardedMatrix<T>& A) {
  const SvdProblem<T> problem(A);
  Call::for_each_job([&](auto... jobs) {
    const Call call{random.in_some_case(jobs)..., A};
    const Int best = call.best();
    for (const Int lwork : call.workspaces(best)) {
      SCOPED_TRACE(testing::Message() << call.description() << ", lwork " << lwork);
      const Call solved = call.solved(lwork);
      EXPECT_EQ(solved.work(1), T(Real<T>(best)));
      expect_decomposition(solved, problem);
    }
  });
}

// ----------------------------------------------------------------------------------------------------------- matrices

/// Visits problems of these shapes, of full rank and of less.
template <Scalar T, class Visit>
void for_each_described_problem(std::initializer_list<SvdShape> shapes, Visit visit) {
  DescribedMatrices matrices(9);
  const auto visit_one = [&](const Description& description, const SvdShape& shape) {
    SCOPED_TRACE(testing::Message() << description.name << ", " << shape.m << " by " << shape.n);
    visit(SvdProblem<T>(matrices.general<T>(description, shape.m, shape.n, shape.m)));
  };
  for (const SvdShape& shape : shapes) {
    for (const Description& description : matrices_of_full_rank) visit_one(description, shape);
    for (const Description& description : rank_deficient_matrices) visit_one(description, shape);
  }
}

template <Scalar T>
GuardedMatrix<T> scaled(const GuardedMatrix<T>& A, int exponent) {
  GuardedMatrix<T> B = A;
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) B(i, j) = std::ldexp(Real<T>(1), exponent) * A(i, j);
  }
  B.seal();
  return B;
}

template <class Call, class T = typename Call::Element>
void expect_zeros_of_zero(const SvdShape& shape) {
  GuardedMatrix<T> A(shape.m, shape.n, shape.m);
  for (Int j = 1; j <= shape.n; ++j) std::fill_n(&A(1, j), shape.m, T(0));
  A.seal();
  const SvdProblem<T> problem(A);
  Call::for_each_job([&](auto... jobs) {
    const Call call(jobs..., A), solved = call.solved(call.best());
    SCOPED_TRACE(call.description());
    for (Int i = 1; i <= solved.k; ++i) EXPECT_EQ(solved.s(i), 0);
    expect_decomposition(solved, problem);
  });
}

template <class Call, class... Jobs, class T = typename Call::Element>
void expect_nothing_done_to_empty(Jobs... jobs) {
  for (const auto [m, n] : {SvdShape{0, 0}, SvdShape{3, 0}, SvdShape{0, 3}}) {
    const Call call(jobs..., GuardedMatrix<T>(m, n, std::max(1, m)));
    EXPECT_EQ(call.best(), 1);
    const Call solved = call.solved(1);
    EXPECT_EQ(solved.info, 0);
    EXPECT_EQ(solved.work(1), T(1));
    EXPECT_TRUE(solved.U.unchanged() && solved.VT.unchanged());
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

/// The vectors of a random matrix in the least workspace, with the least leading dimensions.
template <class Call, Int rows, Int columns, char... jobs>
struct ValidSvdCall : Call {
  using T = typename Call::Element;

  ValidSvdCall() : Call(jobs..., matrix()) {
    this->lda = rows;
    if (Call::has_array(this->jobu)) this->ldu = rows;
    if (Call::has_array(this->jobvt)) this->ldvt = this->VT.rows();
    this->make_room(this->sizes().least);
  }

  static GuardedMatrix<T> matrix() {
    Random random(7);
    return random_matrix<T>(random, rows, columns, rows);
  }

  Int run() {
    Call::run();
    return this->info;
  }

  /// With too little workspace the driver tells how much it would like.
  bool unchanged() const {
    const bool is_told = this->info == -Call::lwork_position;
    return this->inputs_unchanged() && (is_told ? this->work.unchanged_outside(1, 1) : this->work.unchanged());
  }
};

}  // namespace nuv::test
