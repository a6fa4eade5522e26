// Schur forms of pencils beside a peer's, and the two steps that they are made of.

#include <Eigen/Eigenvalues>

#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

template <class T>
constexpr bool is_complex = !std::is_same_v<T, Real<T>>;

/// A pencil, and what its form goes to.
template <class T>
struct Problem {
  int n, info = 0;
  std::vector<T> a0 = random_numbers<T>(std::size_t(n) * n), b0 = random_numbers<T>(2 * std::size_t(n) * n), a, b,
                 q = a0, z = a0, alpha = std::vector<T>(std::size_t(n)), alphai = alpha, beta = alpha, tau = alpha,
                 work = std::vector<T>(64 * std::size_t(n));
  std::vector<Real<T>> rwork = std::vector<Real<T>>(std::size_t(n));

  explicit Problem(int order) : n(order) {
    b0.erase(b0.begin(), b0.begin() + std::ptrdiff_t(n) * n);
    restart();
  }

  Matrix<T> A() { return {a.data(), n}; }
  Matrix<T> B() { return {b.data(), n}; }
  Matrix<T> Q() { return {q.data(), n}; }
  Matrix<T> Z() { return {z.data(), n}; }
  void restart() {
    a = a0;
    b = b0;
  }

  /// QR factorisation of B, the product of its Q with A, and with `whole` Q itself.
  void triangularise(bool whole) {
    const int lwork = int(work.size());
    layer::geqrf(n, n, B(), tau.data(), work.data(), lwork, info);
    layer::ormqr('L', is_complex<T> ? 'C' : 'T', n, n, n, B(), tau.data(), A(), work.data(), lwork, info);
    if (!whole) return;
    q = b;
    routine_call::orgqr(n, n, n, Q(), tau.data(), work.data(), lwork, info);
  }
  void reduce(char compq, char compz) { routine_call::gghrd(compq, compz, n, 1, n, A(), B(), Q(), Z(), info); }
  void iterate(char job, char compq, char compz) {
    if constexpr (is_complex<T>) {
      routine_call::hgeqz(job, compq, compz, n, 1, n, A(), B(), alpha.data(), beta.data(), Q(), Z(), work.data(),
                          int(work.size()), rwork.data(), info);
    } else {
      routine_call::hgeqz(job, compq, compz, n, 1, n, A(), B(), alpha.data(), alphai.data(), beta.data(), Q(), Z(),
                          work.data(), int(work.size()), info);
    }
  }

  /// What stands there becomes the pencil to start with.
  void keep() {
    a0 = a;
    b0 = b;
  }
};

template <class T>
std::string name_of(const char* routine, const char* options) {
  return std::string(1, letter<T>) + routine + options;
}

/// As reductions and iterations are counted in books: rates compare times.
template <class T>
Measure work_of(double cubes, int n) {
  return multiply_adds<T>(cubes * n * double(n) * n);
}

template <class T>
void add_reduction(int n) {
  add(name_of<T>("gghrd", "_VI"), "nuv", n, work_of<T>(7, n), [=] {
    Problem<T> problem(n);
    problem.triangularise(true);
    problem.keep();
    return [problem]() mutable {
      problem.restart();
      problem.reduce('V', 'I');
    };
  });
}

/// The peer is given the same Hessenberg-triangular pencil, in which it finds nothing to reduce.
template <class T>
void add_iteration(bool whole, int n) {
  const auto made = [=] {
    Problem<T> problem(n);
    problem.triangularise(false);
    problem.reduce('N', 'N');
    problem.keep();
    return problem;
  };
  const std::string name = name_of<T>("hgeqz", whole ? "_SII" : "_ENN");
  add(name, "nuv", n, work_of<T>(whole ? 33 : 15, n), [=] {
    return [problem = made(), whole]() mutable {
      problem.restart();
      problem.iterate(whole ? 'S' : 'E', whole ? 'I' : 'N', whole ? 'I' : 'N');
    };
  });
  if constexpr (!is_complex<T>) {
    if (!whole) return;
    add(name, "eigen", n, work_of<T>(33, n), [=] {
      using M = EigenMatrix<T>;
      const Problem<T> problem = made();
      return [A = M(Eigen::Map<const M>(problem.a.data(), n, n)), B = M(Eigen::Map<const M>(problem.b.data(), n, n)),
              peer = Eigen::RealQZ<M>(n)]() mutable {
        peer.compute(A, B, true);
        benchmark::DoNotOptimize(peer.matrixS().data());
      };
    });
  }
}

/// From full matrices, with Q and Z.
template <class T>
void add_form(int n) {
  const std::string name = name_of<T>("pencil", "_schur_form");
  add(name, "nuv", n, work_of<T>(42, n), [=] {
    return [problem = Problem<T>(n)]() mutable {
      problem.restart();
      problem.triangularise(true);
      problem.reduce('V', 'I');
      problem.iterate('S', 'V', 'V');
    };
  });
  if constexpr (!is_complex<T>) {
    add(name, "eigen", n, work_of<T>(42, n), [=] {
      using M = EigenMatrix<T>;
      const Problem<T> problem(n);
      return [A = M(Eigen::Map<const M>(problem.a.data(), n, n)), B = M(Eigen::Map<const M>(problem.b.data(), n, n)),
              peer = Eigen::RealQZ<M>(n)]() mutable {
        peer.compute(A, B, true);
        benchmark::DoNotOptimize(peer.matrixS().data());
      };
    });
  }
}

template <class T>
void add_all(int n) {
  add_reduction<T>(n);
  for (const bool whole : {true, false}) add_iteration<T>(whole, n);
  add_form<T>(n);
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {30, 100, 300, 500}) add_all<double>(n);
  for (const int n : {100, 300}) add_all<std::complex<double>>(n);
  return run(argc, argv);
}
