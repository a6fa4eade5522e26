// Eigenvectors of tridiagonal matrices by QL and QR iteration, of definite ones by way of singular values, and the
// sweeps of rotations that they are made of.

#include <cmath>
#include <cstdlib>

#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/malloc_requests.hpp"

namespace nuv::bench {
namespace {

using Answer = nuv::test::MallocRequests::Answer;

/// A call of each kernel: the loader needs memory for the first one.
void bind_kernels() {
  double d[] = {1, 2, 3}, e[] = {1, 1}, z[9], work[4];
  int info = 0;
  routine_call::steqr('I', 3, d, e, Matrix<double>{z, 3}, work, info);
}

/// Rotations that the iteration makes for a random matrix, about: 1.7 sweeps for each value, over half of the rows.
double rotations_of(int n) {
  return 0.85 * n * n;
}

/// The iteration with all its vectors. Without memory for a table each sweep goes to them at once.
void add_iteration(const std::string& who, int n, Answer answer) {
  add("dsteqr_vectors", who, n, multiply_adds<double>(3.0 * n * rotations_of(n)), [=] {
    return [=, d0 = random_numbers<double>(n), e0 = random_numbers<double>(n), d = std::vector<double>(n),
            e = std::vector<double>(n), work = std::vector<double>(2 * n),
            z = std::vector<double>(std::size_t(n) * n)]() mutable {
      d = d0;
      e = e0;
      int info = 0;
      const nuv::test::MallocRequests memory(answer);
      routine_call::steqr('I', n, d.data(), e.data(), Matrix<double>{z.data(), n}, work.data(), info);
    };
  });
}

void add_definite(int n) {
  add("dpteqr_vectors", "nuv", n, multiply_adds<double>(3.0 * n * rotations_of(n)), [=] {
    std::vector<double> d0 = random_numbers<double>(n);
    for (double& x : d0) x += 4;
    return [=, e0 = random_numbers<double>(n), d = std::vector<double>(n), e = std::vector<double>(n),
            work = std::vector<double>(4 * n), z = std::vector<double>(std::size_t(n) * n)]() mutable {
      d = d0;
      e = e0;
      int info = 0;
      routine_call::pteqr('I', n, d.data(), e.data(), Matrix<double>{z.data(), n}, work.data(), info);
      if (info != 0) std::abort();
    };
  });
}

void add_values(int n) {
  const Measure measure = multiply_adds<double>(3 * rotations_of(n));
  add("dsterf", "nuv", n, measure, [=] {
    return [=, d0 = random_numbers<double>(n), e0 = random_numbers<double>(n), d = std::vector<double>(n),
            e = std::vector<double>(n)]() mutable {
      d = d0;
      e = e0;
      int info = 0;
      routine_call::sterf(n, d.data(), e.data(), info);
    };
  });
}

/// n by n columns turned by k sweeps, and a product of the same operations.
void add_sweeps(int n, int k) {
  const Measure measure = multiply_adds<double>(3.0 * n * n * k);
  const auto table = [=] {
    std::vector<double> cs(std::size_t(n - 1) * 2 * k);
    const auto angles = random_numbers<double>(cs.size() / 2);
    for (std::size_t i = 0; i < angles.size(); ++i) {
      const std::size_t column = i / (n - 1), row = i % (n - 1);
      cs[2 * column * (n - 1) + row] = std::cos(3 * angles[i]);
      cs[(2 * column + 1) * (n - 1) + row] = std::sin(3 * angles[i]);
    }
    return cs;
  };
  for (const char side : {'R', 'L'}) {
    const std::string routine = std::string("dlasr3_") + (side == 'R' ? "right" : "left");
    add(routine, "nuv", n, measure, [=] {
      return [=, cs = table(), a = random_numbers<double>(std::size_t(n) * n),
              work = std::vector<double>(4 * std::size_t(k) * k + std::size_t(n) * k)]() mutable {
        int info = 0;
        layer::lasr3(side, 'V', 'F', n, n, k, Matrix<const double>{cs.data(), n - 1}, Matrix<double>{a.data(), n},
                     work.data(), int(work.size()), info);
      };
    });
    add(routine, "dgemm", n, multiply_adds<double>(double(n) * n * n), [=] {
      return [=, a = random_numbers<double>(std::size_t(n) * n), b = random_numbers<double>(std::size_t(n) * n),
              c = std::vector<double>(std::size_t(n) * n)]() mutable {
        blas::gemm('N', 'N', n, n, n, 1.0, {a.data(), n}, {b.data(), n}, 0.0, {c.data(), n});
      };
    });
  }
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  bind_kernels();
  for (const int n : {100, 200, 300, 500, 1000, 2000}) {
    add_iteration("nuv", n, Answer::granted);
    add_iteration("nuv_without_memory", n, Answer::refused);
    add_definite(n);
    add_values(n);
  }
  add_sweeps(2000, 140);
  return run(argc, argv);
}
