// Reduction to bidiagonal form and its kernel calls alone; singular vectors of bidiagonal matrices by QR iteration; and
// transposition.

#include "blas.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/malloc_requests.hpp"

namespace nuv::bench {
namespace {

using Answer = nuv::test::MallocRequests::Answer;

constexpr int panel_width = 32;  // of reductions, and the columns that are left to the unblocked code

/// A call of each kernel: the loader needs memory for the first one.
void bind_kernels() {
  double d[] = {1, 2, 3}, e[] = {1, 1}, vt[9] = {}, u[9] = {}, work[8];
  int info = 0;
  routine_call::bdsqr('U', 3, 3, 3, 0, d, e, Matrix<double>{vt, 3}, Matrix<double>{u, 3}, Matrix<double>{u, 3}, work,
                      info);
}

Measure reduction_work(int n) {
  return multiply_adds<double>(4.0 / 3 * n * double(n) * n);
}

void add_reduction(int n) {
  add("dgebrd", "nuv", n, reduction_work(n), [=] {
    return [=, a = random_numbers<double>(std::size_t(n) * n), A = std::vector<double>(std::size_t(n) * n),
            d = std::vector<double>(n), e = std::vector<double>(n), tauq = std::vector<double>(n),
            taup = std::vector<double>(n), work = std::vector<double>(std::size_t(2) * n * panel_width)]() mutable {
      A = a;
      int info = 0;
      routine_call::gebrd(n, n, Matrix<double>{A.data(), n}, d.data(), e.data(), tauq.data(), taup.data(), work.data(),
                          static_cast<int>(work.size()), info);
    };
  });
}

/// The products of a reduction with the rest of the matrix and the updates, of the same shapes in the same places.
void call_kernels(int n, Matrix<double> A, Matrix<double> X, Matrix<double> Y) {
  constexpr int nb = panel_width;
  int i = 1;
  const auto multiply = [&](int k) {
    const int order = n - k;
    blas::gemv('T', order + 1, order, 1.0, block(A, k, k + 1), column(A, k, k), 0.0, column(Y, 1, 1));
    blas::gemv('N', order, order, 1.0, block(A, k + 1, k + 1), row(A, k, k + 1), 0.0, column(X, 1, 1));
  };
  for (; i <= n - nb; i += nb) {
    for (int k = i; k < i + nb; ++k) multiply(k);
    const int next = i + nb, order = n - next + 1;
    blas::gemm('N', 'T', order, order, nb, -1.0, block(A, next, i), Y, 1.0, block(A, next, next));
    blas::gemm('N', 'N', order, order, nb, -1.0, X, block(A, i, next), 1.0, block(A, next, next));
  }
  for (; i < n; ++i) {
    multiply(i);
    blas::ger(n - i, n - i, -1.0, column(X, 1, 1), column(Y, 1, 1), block(A, i + 1, i + 1));
    blas::ger(n - i, n - i, -1.0, column(X, 1, 1), column(Y, 1, 1), block(A, i + 1, i + 1));
  }
}

void add_kernel_calls(int n) {
  add("dgebrd", "kernels", n, reduction_work(n), [=] {
    std::vector<double> small = random_numbers<double>(std::size_t(n) * n);
    for (double& x : small) x *= 1e-3;  // so that what is no reduction doesn't grow
    return [=, a = small, A = std::vector<double>(std::size_t(n) * n),
            X = std::vector<double>(std::size_t(n) * panel_width),
            Y = std::vector<double>(std::size_t(n) * panel_width)]() mutable {
      A = a;
      call_kernels(n, {A.data(), n}, {X.data(), n}, {Y.data(), n});
    };
  });
}

/// Left and right vectors. Without memory for a table each sweep goes to them at once.
void add_iteration(const std::string& who, int n, Answer answer) {
  const double rotations = 2 * 0.85 * n * n;  // of both kinds: about 1.7 sweeps for each value, over half of the rows
  add("dbdsqr_vectors", who, n, multiply_adds<double>(3.0 * n * rotations), [=] {
    std::vector<double> identity(std::size_t(n) * n);
    for (int i = 0; i < n; ++i) identity[std::size_t(i) * (n + 1)] = 1;
    return [=, d0 = random_numbers<double>(n), e0 = random_numbers<double>(n), d = std::vector<double>(n),
            e = std::vector<double>(n), work = std::vector<double>(4 * std::size_t(n)), vt = identity,
            u = identity]() mutable {
      d = d0;
      e = e0;
      vt = u = identity;
      int info = 0;
      const nuv::test::MallocRequests memory(answer);
      routine_call::bdsqr('U', n, n, n, 0, d.data(), e.data(), Matrix<double>{vt.data(), n},
                          Matrix<double>{u.data(), n}, Matrix<double>{u.data(), n}, work.data(), info);
    };
  });
}

void add_transposition(int n) {
  add("dlatsp", "nuv", n, bytes_read_and_written(2.0 * n * n * sizeof(double)), [=] {
    return [=, a = random_numbers<double>(std::size_t(n) * n)]() mutable {
      routine_call::latsp('T', n, n, Matrix<double>{a.data(), n}, Matrix<double>{a.data(), n});
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  bind_kernels();
  for (const int n : {100, 200, 500, 1000, 2000}) {
    add_reduction(n);
    add_kernel_calls(n);
    add_iteration("nuv", n, Answer::granted);
    add_iteration("nuv_without_memory", n, Answer::refused);
    add_transposition(n);
  }
  return run(argc, argv);
}
