// Singular values by QR iteration, beside a peer's divide and conquer and beside the same without memory for rotations.

#include <Eigen/SVD>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/malloc_requests.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

using Answer = nuv::test::MallocRequests::Answer;

/// The multiply-adds of the reduction, whatever else there is: rates compare times.
Measure measure_of(int m, int n) {
  return multiply_adds<double>(2.0 * n * n * (m - n / 3.0));
}

void decompose(char job, Matrix<double> A, int m, int n, double* s, Matrix<double> U, Matrix<double> VT,
               std::vector<double>& work) {
  int info = 0;
  if (work.empty()) {
    double best;
    routine_call::gesvd(job, job, m, n, A, s, U, VT, &best, -1, info);
    work.resize(static_cast<std::size_t>(best));
  }
  routine_call::gesvd(job, job, m, n, A, s, U, VT, work.data(), static_cast<int>(work.size()), info);
}

void add_driver(const std::string& name, const std::string& who, char job, int m, int n, Answer answer) {
  add(name, who, n, measure_of(m, n), [=] {
    return [=, a = random_numbers<double>(std::size_t(m) * n), A = std::vector<double>(), s = std::vector<double>(n),
            U = std::vector<double>(std::size_t(m) * n), VT = std::vector<double>(std::size_t(n) * n),
            work = std::vector<double>()]() mutable {
      const auto run = [&] {
        A = a;
        decompose(job, {A.data(), m}, m, n, s.data(), {U.data(), m}, {VT.data(), n}, work);
      };
      // The first call finds the kernels and fills the pool, for which memory is needed.
      if (work.empty()) run();
      const nuv::test::MallocRequests memory(answer);
      run();
    };
  });
}

void add_peer(const std::string& name, unsigned options, int m, int n) {
  add(name, "eigen", n, measure_of(m, n), [=] {
    const std::vector<double> a = random_numbers<double>(std::size_t(m) * n);
    EigenMatrix<double> A = Eigen::Map<const EigenMatrix<double>>(a.data(), m, n);
    return [A, solver = Eigen::BDCSVD<EigenMatrix<double>>(m, n, options), options]() mutable {
      solver.compute(A, options);
      benchmark::DoNotOptimize(solver.singularValues().data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000, 2000}) {
    add_driver("dgesvdN", "nuv", 'N', n, n, Answer::granted);
    add_peer("dgesvdN", 0, n, n);
  }
  for (const int n : {500, 1000, 2000}) {
    add_driver("dgesvdS", "nuv", 'S', n, n, Answer::granted);
    add_driver("dgesvdS", "one_by_one", 'S', n, n, Answer::refused);
    add_peer("dgesvdS", Eigen::ComputeThinU | Eigen::ComputeThinV, n, n);
  }
  add_driver("dgesvdS_tall", "nuv", 'S', 20000, 200, Answer::granted);
  add_peer("dgesvdS_tall", Eigen::ComputeThinU | Eigen::ComputeThinV, 20000, 200);
  return run(argc, argv);
}
