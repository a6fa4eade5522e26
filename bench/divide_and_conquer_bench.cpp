// Eigenpairs of tridiagonal matrices by divide and conquer, beside the iteration and a peer; and the secular equation
// by itself.

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>

#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

struct Tridiagonal {
  std::vector<double> d, e;  ///< both n numbers
};

/// A half and more of the eigenvalues deflate.
Tridiagonal random_tridiagonal(int n) {
  std::vector<double> numbers = random_numbers<double>(2 * std::size_t(n));
  return {{numbers.begin(), numbers.begin() + n}, {numbers.begin() + n, numbers.end()}};
}

/// What the reduction makes of a random dense matrix, a diagonal of noise and beside it roots of the rows that remain:
/// few eigenvalues deflate.
Tridiagonal reduced_random_matrix(int n) {
  Tridiagonal T = random_tridiagonal(n);
  for (int i = 0; i < n; ++i) T.e[std::size_t(i)] = std::sqrt((n - 1 - i) / 2.0);
  return T;
}

/// Merges multiply n^3 (1 + 1/4 + 1/16 + ...) / 2 times for the vectors if nothing deflates.
Measure merges(int n) {
  return multiply_adds<double>(2.0 / 3 * n * n * n);
}

/// Work for a copy of a matrix and its vectors, solve(n, d, e, z).
template <class Solve>
auto on_a_copy(int n, const Tridiagonal& T, Solve solve) {
  return [=, copy = T, z = std::vector<double>(std::size_t(n) * n)]() mutable {
    copy = T;
    solve(n, copy.d.data(), copy.e.data(), Matrix<double>{z.data(), n});
  };
}

void add_vectors(const std::string& routine, int n, Tridiagonal (*matrix)(int)) {
  add(routine, "nuv", n, merges(n), [=] {
    const int lwork = 1 + 4 * n + n * n, liwork = 3 + 5 * n;
    return on_a_copy(n, matrix(n),
                     [=, work = std::vector<double>(lwork), iwork = std::vector<int>(liwork)](
                         int n, double* d, double* e, Matrix<double> Z) mutable {
                       int info = 0;
                       routine_call::stedc('I', n, d, e, Z, work.data(), lwork, iwork.data(), liwork, info);
                     });
  });
  add(routine, "dsteqr", n, merges(n), [=] {
    return on_a_copy(n, matrix(n),
                     [work = std::vector<double>(2 * n)](int n, double* d, double* e, Matrix<double> Z) mutable {
                       int info = 0;
                       routine_call::steqr('I', n, d, e, Z, work.data(), info);
                     });
  });
  if (n > 1000) return;  // minutes
  add(routine, "eigen", n, merges(n), [=] {
    const Tridiagonal T = matrix(n);
    return [d = Eigen::VectorXd(Eigen::VectorXd::Map(T.d.data(), n)),
            e = Eigen::VectorXd(Eigen::VectorXd::Map(T.e.data(), n - 1)),
            solver = Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(n)]() mutable {
      solver.computeFromTridiagonal(d, e);
      benchmark::DoNotOptimize(solver.eigenvectors().data());
    };
  });
}

/// All roots of an equation of order n. Five sums over the poles are about what a root takes, of two multiply-adds and
/// a quotient for each.
void add_secular_equation(int n) {
  add("dlaed4", "nuv", n, multiply_adds<double>(10.0 * n * n), [=] {
    std::vector<double> d = random_numbers<double>(n), z(n, 1 / std::sqrt(double(n)));
    std::sort(d.begin(), d.end());
    return [=, delta = std::vector<double>(n)]() mutable {
      for (int i = 1; i <= n; ++i) {
        double root;
        int info = 0;
        routine_call::laed4(n, i, d.data(), z.data(), delta.data(), 1.0, root, info);
        benchmark::DoNotOptimize(root);
      }
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 200, 500, 1000, 2000}) {
    add_vectors("dstedc_random", n, random_tridiagonal);
    add_vectors("dstedc_reduced", n, reduced_random_matrix);
    add_secular_equation(n);
  }
  return run(argc, argv);
}
