// Pairs of matrices: reduction to a standard problem, and the drivers beside those for one matrix.

#include <Eigen/Eigenvalues>

#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

using Numbers = std::vector<double>;

std::size_t square(int n) {
  return std::size_t(n) * std::size_t(n);
}

Numbers random_symmetric(int n) {
  Numbers a = random_numbers<double>(square(n));
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < j; ++i) a[std::size_t(j) * n + i] = a[std::size_t(i) * n + j];
  }
  return a;
}

/// With a diagonal that outweighs all else.
Numbers random_definite(int n) {
  Numbers b = random_symmetric(n);
  for (int i = 0; i < n; ++i) b[std::size_t(i) * (n + 1)] += 2 * n;
  return b;
}

Numbers factor_of(int n, char uplo) {
  Numbers b = random_definite(n);
  int info = 0;
  layer::potrf(uplo, n, {b.data(), n}, info);
  return b;
}

void add_reduction(int n, int itype, char uplo) {
  add(std::string("dsygst ") + char('0' + itype) + uplo, "nuv", n, multiply_adds<double>(double(n) * n * n / 2), [=] {
    return [=, a = random_symmetric(n), b = factor_of(n, uplo), c = Numbers()]() mutable {
      c = a;
      int info = 0;
      routine_call::sygst(itype, uplo, n, {c.data(), n}, Matrix<const double>{b.data(), n}, info);
    };
  });
}

/// Both drivers by the same count of operations, so that their rates have the ratio of their times.
Measure work_of_drivers(double n) {
  return multiply_adds<double>(14 * n * n * n / 6);
}

void add_division(int n, char jobz) {
  const std::size_t lwork = 2 * square(n) + std::size_t(40 * n) + 1, liwork = std::size_t(5 * n + 3);
  const std::string job = std::string(" ") + jobz;
  add("dsygvd" + job, "nuv", n, work_of_drivers(n), [=] {
    return [=, a = random_symmetric(n), b = random_definite(n), x = Numbers(), y = Numbers(), w = Numbers(n),
            work = Numbers(lwork), iwork = std::vector<int>(liwork)]() mutable {
      x = a;
      y = b;
      int info = 0;
      routine_call::sygvd(1, jobz, 'L', n, {x.data(), n}, {y.data(), n}, w.data(), work.data(), int(lwork),
                          iwork.data(), int(liwork), info);
    };
  });
  add("dsyevd" + job, "nuv", n, work_of_drivers(n), [=] {
    return [=, a = random_symmetric(n), x = Numbers(), w = Numbers(n), work = Numbers(lwork),
            iwork = std::vector<int>(liwork)]() mutable {
      x = a;
      int info = 0;
      routine_call::syevd(jobz, 'L', n, {x.data(), n}, w.data(), work.data(), int(lwork), iwork.data(), int(liwork),
                          info);
    };
  });
}

void add_eigen(int n) {
  add("dsygvd V", "eigen", n, work_of_drivers(n), [=] {
    const Numbers a = random_symmetric(n), b = random_definite(n);
    return [A = Eigen::MatrixXd(Eigen::Map<const Eigen::MatrixXd>(a.data(), n, n)),
            B = Eigen::MatrixXd(Eigen::Map<const Eigen::MatrixXd>(b.data(), n, n)),
            solver = Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::MatrixXd>(n)]() mutable {
      solver.compute(A, B);
      benchmark::DoNotOptimize(solver.eigenvalues().data());
    };
  });
}

/// The rotations of a half of the factor chase kb elements over half of the matrix for each of its rows.
void add_bands(int n, int ka, int kb, char vect) {
  const double rotations = double(n) * n * (2 * kb - 1) / (4 * ka);
  const Measure work = {rotations * (12.0 * ka + (vect == 'V' ? 3.0 * n : 0)), "FLOP/s", arithmetic_limit<double>};
  add("dsbgst " + std::to_string(ka) + "," + std::to_string(kb) + vect, "nuv", n, work, [=] {
    Numbers b = random_numbers<double>(std::size_t(n) * (kb + 1));
    for (int j = 0; j < n; ++j) b[std::size_t(j) * (kb + 1)] = 4 * kb;
    int info = 0;
    routine_call::pbstf('L', n, kb, {b.data(), kb + 1}, info);
    return [=, a = random_numbers<double>(std::size_t(n) * (ka + 1)), c = Numbers(), x = Numbers(square(n)),
            workspace = Numbers(2 * n)]() mutable {
      c = a;
      routine_call::sbgst(vect, 'L', n, ka, kb, {c.data(), ka + 1}, Matrix<const double>{b.data(), kb + 1},
                          {x.data(), n}, workspace.data(), info);
    };
  });
}

/// The values of a random tridiagonal matrix, and with dstein the vectors that belong to them: a hundred multiply-adds
/// for each element.
void add_bisection(int n) {
  add("dstebz A", "nuv", n, multiply_adds<double>(50.0 * n * n), [=] {
    return [=, d = random_numbers<double>(n), e = random_numbers<double>(n), w = Numbers(n), work = Numbers(4 * n),
            iblock = std::vector<int>(n), isplit = std::vector<int>(n), iwork = std::vector<int>(3 * n)]() mutable {
      int m, nsplit, info;
      routine_call::stebz('A', 'E', n, 0.0, 0.0, 0, 0, 0.0, d.data(), e.data(), m, nsplit, w.data(), iblock.data(),
                          isplit.data(), work.data(), iwork.data(), info);
    };
  });
  add("dstein", "nuv", n, multiply_adds<double>(100.0 * n * n), [=] {
    const Numbers d = random_numbers<double>(n), e = random_numbers<double>(n);
    Numbers w(n), room(5 * n);
    std::vector<int> iblock(n), isplit(n), integers(3 * n);
    int m, nsplit, info;
    routine_call::stebz('A', 'B', n, 0.0, 0.0, 0, 0, 0.0, d.data(), e.data(), m, nsplit, w.data(), iblock.data(),
                        isplit.data(), room.data(), integers.data(), info);
    return [=, z = Numbers(square(n)), work = room, iwork = integers, ifail = std::vector<int>(n)]() mutable {
      int failed;
      routine_call::stein(n, d.data(), e.data(), n, w.data(), iblock.data(), isplit.data(), {z.data(), n}, work.data(),
                          iwork.data(), ifail.data(), failed);
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000}) {
    for (const int itype : {1, 2}) {
      for (const char uplo : {'U', 'L'}) add_reduction(n, itype, uplo);
    }
    for (const char jobz : {'N', 'V'}) add_division(n, jobz);
    if (n <= 500) add_eigen(n);
    add_bisection(n);
  }
  for (const char vect : {'N', 'V'}) {
    add_bands(1000, 2, 1, vect);
    add_bands(1000, 10, 10, vect);
    add_bands(1000, 20, 10, vect);
  }
  return run(argc, argv);
}
