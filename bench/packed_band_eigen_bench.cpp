// Reduction of packed and band matrices to tridiagonal form, products with Q, and the drivers on them. A peer has no
// packed or band storage for eigenproblems, and gets the full matrix.

#include <Eigen/Eigenvalues>

#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

using Vector = std::vector<double>;

constexpr std::size_t packed_size(std::size_t n) {
  return n * (n + 1) / 2;
}

Eigen::MatrixXd random_symmetric(int n) {
  const Eigen::MatrixXd a = Eigen::MatrixXd::Random(n, n);
  return a + a.transpose();
}

/// Half of the work is in products of a matrix and a vector; the rate is that of all.
Measure reduction_work(double n) {
  return multiply_adds<double>(2 * n * n * n / 3);
}

template <class Reduce>
void add_packed_reduction(const std::string& routine, const std::string& who, int n, Reduce reduce) {
  add(routine, who, n, reduction_work(n), [=] {
    return [=, a = random_numbers<double>(packed_size(n)), ap = Vector(), d = Vector(n), e = Vector(n),
            tau = Vector(n)]() mutable {
      ap = a;
      int info = 0;
      reduce(n, ap.data(), d.data(), e.data(), tau.data(), info);
    };
  });
}

void add_packed_reductions(int n) {
  for (const char uplo : {'U', 'L'}) {
    const std::string routine = std::string("dsptrd ") + uplo;
    add_packed_reduction(routine, "nuv", n, [=](auto... arguments) { layer::sptrd(uplo, arguments...); });
    add_packed_reduction(routine, "unblocked", n,
                         [=](int n_, double* ap, double* d, double* e, double* tau, int& info) {
                           routine_call::sptd2(uplo, n_, ap, d, e, tau, info);
                         });
  }
  add("dsptrd L", "eigen", n, reduction_work(n), [=] {
    return [a = random_symmetric(n), reduced = Eigen::Tridiagonalization<Eigen::MatrixXd>(n)]() mutable {
      reduced.compute(a);
      benchmark::DoNotOptimize(reduced.packedMatrix().data());
    };
  });
}

void add_product_with_q(int n) {
  add("dopmtr", "nuv", n, multiply_adds<double>(double(n) * n * n), [=] {
    Vector ap = random_numbers<double>(packed_size(n)), d(n), e(n), tau(n);
    int info = 0;
    layer::sptrd('L', n, ap.data(), d.data(), e.data(), tau.data(), info);
    return [=, c = random_numbers<double>(std::size_t(n) * n), work = Vector(n)]() mutable {
      int ignored = 0;
      routine_call::opmtr('L', 'L', 'N', n, n, ap.data(), tau.data(), {c.data(), n}, work.data(), ignored);
    };
  });
}

void add_band_reduction(char vect, int n, int kd) {
  const double rotations = double(n) * n / 2 * (kd - 1) / kd;
  const double of_band = 12 * kd * rotations, of_q = vect == 'N' ? 0 : 6 * rotations * n;
  const Measure work = {of_band + of_q, "FLOP/s", arithmetic_limit<double>};
  add(std::string("dsbtrd ") + vect + ", " + std::to_string(kd) + " diagonals", "nuv", n, work, [=] {
    return [=, a = random_numbers<double>(std::size_t(kd + 1) * n), ab = Vector(), d = Vector(n), e = Vector(n),
            q = Vector(vect == 'N' ? 1 : std::size_t(n) * n), scratch = Vector(n)]() mutable {
      ab = a;
      int info = 0;
      routine_call::sbtrd(vect, 'L', n, kd, {ab.data(), kd + 1}, d.data(), e.data(), {q.data(), n}, scratch.data(),
                          info);
    };
  });
}

/// All eigenvalues and eigenvectors of a matrix of which a part is stored in so many numbers.
template <class Solve>
void add_driver(const std::string& routine, int n, std::size_t stored, Solve solve) {
  const Measure work = multiply_adds<double>(4.0 * n * n * n);
  add(routine, "nuv", n, work, [=] {
    const std::size_t room = 1 + 6 * std::size_t(n) + 2 * std::size_t(n) * n;
    return [=, a = random_numbers<double>(stored), part = Vector(), w = Vector(n), z = Vector(std::size_t(n) * n),
            scratch = Vector(room), integers = std::vector<int>(5 * std::size_t(n) + 3)]() mutable {
      part = a;
      int info = 0;
      solve(part.data(), w.data(), Matrix{z.data(), n}, scratch, integers, info);
    };
  });
  add(routine, "eigen", n, work, [=] {
    return [a = random_symmetric(n), solver = Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(n)]() mutable {
      solver.compute(a);
      benchmark::DoNotOptimize(solver.eigenvalues().data());
    };
  });
}

void add_drivers(int n) {
  constexpr int kd = 20;
  const std::size_t band = std::size_t(kd + 1) * n;
  add_driver("dspev", n, packed_size(n), [=](double* ap, double* w, auto Z, Vector& work, auto&, int& info) {
    routine_call::spev('V', 'L', n, ap, w, Z, work.data(), info);
  });
  add_driver("dspevd", n, packed_size(n), [=](double* ap, double* w, auto Z, Vector& work, auto& integers, int& info) {
    routine_call::spevd('V', 'L', n, ap, w, Z, work.data(), int(work.size()), integers.data(), int(integers.size()),
                        info);
  });
  add_driver("dsbev", n, band, [=](double* ab, double* w, auto Z, Vector& work, auto&, int& info) {
    routine_call::sbev('V', 'L', n, kd, {ab, kd + 1}, w, Z, work.data(), info);
  });
  add_driver("dsbevd", n, band, [=](double* ab, double* w, auto Z, Vector& work, auto& integers, int& info) {
    routine_call::sbevd('V', 'L', n, kd, {ab, kd + 1}, w, Z, work.data(), int(work.size()), integers.data(),
                        int(integers.size()), info);
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000, 2000}) {
    add_packed_reductions(n);
    add_product_with_q(n);
    for (const int kd : {2, 5, 20, 100}) {
      if (kd < n) add_band_reduction('N', n, kd);
    }
    if (n <= 1000) add_band_reduction('V', n, 20);
    if (n <= 1000) add_drivers(n);
  }
  return run(argc, argv);
}
