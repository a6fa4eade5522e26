// Least squares at any rank by singular value decompositions, 2000 by n, beside a peer's.

#include <Eigen/SVD>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

constexpr int rows = 2000;

/// A factorisation, a reduction of its factor, and the products with the right-hand sides.
template <class T>
Measure measure_of(int n, int nrhs) {
  return multiply_adds<T>(double(rows) * n * n + n * (double(n) * n) + 2.0 * rows * n * nrhs);
}

template <class T>
struct ByNuv {
  bool divides;
  int n, nrhs;
  std::vector<T> a, b, A, B, work;
  std::vector<Real<T>> s, rwork;
  std::vector<int> iwork;

  ByNuv(bool divides_, int n_, int nrhs_)
      : divides(divides_),
        n(n_),
        nrhs(nrhs_),
        a(random_numbers<T>(std::size_t(rows) * n)),
        b(random_numbers<T>(std::size_t(rows) * nrhs)),
        A(a),
        B(b),
        work(1),
        s(n),
        rwork(1),
        iwork(1) {
    call(-1);
    work.resize(std::size_t(std::real(work[0])));
    rwork.resize(divides ? std::size_t(rwork[0]) : 5 * std::size_t(n));
    iwork.resize(std::size_t(std::max(1, iwork[0])));
  }

  void call(int lwork) {
    const Real<T> rcond = -1;
    int rank = 0, info = 0;
    const Matrix<T> matrix{A.data(), rows}, sides{B.data(), rows};
    if constexpr (ComplexScalar<T>) {
      if (divides) {
        routine_call::gelsd(rows, n, nrhs, matrix, sides, s.data(), rcond, rank, work.data(), lwork, rwork.data(),
                            iwork.data(), info);
      } else {
        routine_call::gelss(rows, n, nrhs, matrix, sides, s.data(), rcond, rank, work.data(), lwork, rwork.data(),
                            info);
      }
    } else {
      if (divides) {
        routine_call::gelsd(rows, n, nrhs, matrix, sides, s.data(), rcond, rank, work.data(), lwork, iwork.data(),
                            info);
      } else {
        routine_call::gelss(rows, n, nrhs, matrix, sides, s.data(), rcond, rank, work.data(), lwork, info);
      }
    }
  }

  void operator()() {
    A = a;
    B = b;
    call(int(work.size()));
  }
};

template <class T>
void add_all(int n, int nrhs) {
  const Measure measure = measure_of<T>(n, nrhs);
  const std::string sides = "x" + std::to_string(nrhs);
  for (const bool divides : {true, false}) {
    const std::string routine = letter<T> + std::string(divides ? "gelsd" : "gelss") + sides;
    add(routine, "nuv", n, measure, [=] { return ByNuv<T>(divides, n, nrhs); });
  }
  add(letter<T> + ("gelsd" + sides), "eigen", n, measure, [=] {
    const std::vector<T> a = random_numbers<T>(std::size_t(rows) * n), b = random_numbers<T>(std::size_t(rows) * nrhs);
    EigenMatrix<T> A = Eigen::Map<const EigenMatrix<T>>(a.data(), rows, n),
                   B = Eigen::Map<const EigenMatrix<T>>(b.data(), rows, nrhs);
    return [A, B]() mutable {
      const Eigen::BDCSVD<EigenMatrix<T>> svd(A, Eigen::ComputeThinU | Eigen::ComputeThinV);
      const EigenMatrix<T> X = svd.solve(B);
      benchmark::DoNotOptimize(X.data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500}) {
    for (const int nrhs : {1, 50}) add_all<double>(n, nrhs);
  }
  add_all<std::complex<double>>(300, 50);
  return run(argc, argv);
}
