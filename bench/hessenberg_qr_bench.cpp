// Schur forms of Hessenberg matrices beside a peer's, and the sweeps that those of large ones are made of.

#include <Eigen/Eigenvalues>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

template <class T>
constexpr bool is_complex = !std::is_same_v<T, Real<T>>;

/// A random Hessenberg matrix, and what its Schur form goes to.
template <class T>
struct HessenbergProblem {
  int n, info = 0;
  std::vector<T> h0 = random_numbers<T>(std::size_t(n) * n), h, z = h0, w = std::vector<T>(n);
  std::vector<Real<T>> wr = std::vector<Real<T>>(n), wi = wr;

  explicit HessenbergProblem(int order) : n(order) {
    for (int j = 0; j < n; ++j) {
      for (int i = j + 2; i < n; ++i) h0[std::size_t(j) * n + i] = 0;
    }
  }

  Matrix<T> H() { return {h.data(), n}; }
  Matrix<T> Z() { return {z.data(), n}; }
  void restart() {
    h = h0;
    std::fill(z.begin(), z.end(), T(0));
    for (int j = 0; j < n; ++j) z[std::size_t(j) * (n + 1)] = 1;
  }
};

/// 25 n^3 flops for a whole form with its vectors and 10 n^3 for eigenvalues, as they are counted for the real
/// iteration by single sweeps: rates compare times.
template <class T>
Measure work_of_iteration(bool whole, int n) {
  return multiply_adds<T>((whole ? 12.5 : 5) * n * double(n) * n);
}

template <class T>
std::string iteration_name(bool whole) {
  return std::string(1, letter<T>) + (whole ? "hseqr_SV" : "hseqr_EN");
}

/// By single sweeps alone.
template <class T>
void add_small_iteration(bool whole, int n) {
  add(iteration_name<T>(whole), "lahqr", n, work_of_iteration<T>(whole, n), [=] {
    return [=, problem = HessenbergProblem<T>(n)]() mutable {
      problem.restart();
      if constexpr (is_complex<T>) {
        routine_call::lahqr(whole, whole, n, 1, n, problem.H(), problem.w.data(), 1, n, problem.Z(), problem.info);
      } else {
        routine_call::lahqr(whole, whole, n, 1, n, problem.H(), problem.wr.data(), problem.wi.data(), 1, n, problem.Z(),
                            problem.info);
      }
    };
  });
}

/// By sweeps with many shifts and early deflation from order 76 on.
template <class T>
void add_iteration(bool whole, int n) {
  add(iteration_name<T>(whole), "nuv", n, work_of_iteration<T>(whole, n), [=] {
    return [=, problem = HessenbergProblem<T>(n), work = std::vector<T>(std::size_t(40) * n)]() mutable {
      problem.restart();
      const char job = whole ? 'S' : 'E', compz = whole ? 'V' : 'N';
      const auto solve = [&](auto*... w) {
        routine_call::hseqr(job, compz, n, 1, n, problem.H(), w..., problem.Z(), work.data(), int(work.size()),
                            problem.info);
      };
      if constexpr (is_complex<T>) {
        solve(problem.w.data());
      } else {
        solve(problem.wr.data(), problem.wi.data());
      }
    };
  });
}

/// The whole form without vectors, by the iteration for large matrices and by that for small ones.
void add_forms(int n) {
  const Measure measure = multiply_adds<double>(8.0 * n * double(n) * n);
  for (const bool many_shifts : {true, false}) {
    add("dhseqr_SN", many_shifts ? "nuv" : "lahqr", n, measure, [=] {
      return [=, problem = HessenbergProblem<double>(n), work = std::vector<double>(std::size_t(40) * n)]() mutable {
        problem.restart();
        if (many_shifts) {
          routine_call::hseqr('S', 'N', n, 1, n, problem.H(), problem.wr.data(), problem.wi.data(), problem.Z(),
                              work.data(), int(work.size()), problem.info);
        } else {
          routine_call::lahqr(true, false, n, 1, n, problem.H(), problem.wr.data(), problem.wi.data(), 1, n,
                              problem.Z(), problem.info);
        }
      };
    });
  }
}

template <class T>
void add_peer(bool whole, int n) {
  using Schur =
      std::conditional_t<is_complex<T>, Eigen::ComplexSchur<EigenMatrix<T>>, Eigen::RealSchur<EigenMatrix<T>>>;
  add(iteration_name<T>(whole), "Eigen", n, work_of_iteration<T>(whole, n), [=] {
    const HessenbergProblem<T> problem(n);
    return [=, H = EigenMatrix<T>(Eigen::Map<const EigenMatrix<T>>(problem.h0.data(), n, n)),
            Q = EigenMatrix<T>(EigenMatrix<T>::Identity(n, n)),
            schur = Schur(n)]() mutable { schur.computeFromHessenberg(H, Q, whole); };
  });
}

/// A sweep with so many shifts, each kind of accumulation, beside the time of one multiplication by its length in
/// flops.
template <class T>
void add_sweep(int n, int ns) {
  for (const int kacc22 : {0, 1, 2}) {
    const std::string routine = std::string(1, letter<T>) + "laqr5_" + std::to_string(ns) + "_shifts";
    // Each pair of shifts turns three columns and rows at each place, of H by half their length.
    add(routine, "kacc22_" + std::to_string(kacc22), n, multiply_adds<T>(5.0 * 2 * n * double(n) * ns / 2), [=] {
      const int kdu = 3 * ns - 3;
      const auto room = [](int m, int k) { return std::vector<T>(std::size_t(m) * k); };
      return [=, problem = HessenbergProblem<T>(n), sr = random_numbers<Real<T>>(ns), si = random_numbers<Real<T>>(ns),
              s = random_numbers<T>(ns), v = room(3, ns / 2), u = room(kdu, kdu), wv = room(n, kdu),
              wh = room(kdu, n)]() mutable {
        problem.restart();
        const auto view = [](std::vector<T>& x, int ld) { return Matrix<T>{x.data(), ld}; };
        const auto sweep = [&](auto... shifts) {
          routine_call::laqr5(1, 1, kacc22, n, 1, n, ns, shifts..., problem.H(), 1, n, problem.Z(), view(v, 3),
                              view(u, kdu), n, view(wv, n), n, view(wh, kdu));
        };
        if constexpr (is_complex<T>) {
          sweep(s.data());
        } else {
          for (int i = 0; i < ns; i += 2) {
            sr[i + 1] = sr[i];
            si[i + 1] = -si[i];
          }
          sweep(sr.data(), si.data());
        }
      };
    });
  }
}

void register_all() {
  for (const bool whole : {false, true}) {
    for (const int n : {30, 75, 150, 300}) {
      add_iteration<double>(whole, n);
      add_small_iteration<double>(whole, n);
      add_peer<double>(whole, n);
    }
    for (const int n : {30, 75, 150}) {
      add_iteration<std::complex<double>>(whole, n);
      add_small_iteration<std::complex<double>>(whole, n);
      add_peer<std::complex<double>>(whole, n);
    }
  }
  for (const int n : {100, 300, 1000}) add_forms(n);
  for (const auto& [n, ns] : {std::pair{200, 10}, {500, 16}, {1000, 64}}) {
    add_sweep<double>(n, ns);
    add_sweep<std::complex<double>>(n, ns);
  }
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  nuv::bench::register_all();
  return nuv::bench::run(argc, argv);
}
