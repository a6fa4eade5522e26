// Singular values and vectors by divide and conquer beside a peer's.

#include <Eigen/SVD>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

template <class T>
constexpr bool is_complex = !std::is_same_v<T, Real<T>>;

struct Shape {
  int m, n;

  /// What the values and the first vectors of a square matrix take, in the main: four products.
  double multiply_adds() const { return 4.0 * m * n * std::min(m, n); }
  std::string text() const { return m == n ? "" : std::to_string(m) + "x"; }
};

template <class T>
void add_division(char jobz, Shape shape) {
  const auto [m, n] = shape;
  const int k = std::min(m, n);
  add(letter<T> + ("gesdd" + std::string(1, jobz)) + shape.text(), "nuv", n, multiply_adds<T>(shape.multiply_adds()),
      [=] {
        const std::size_t square = std::size_t(k) * k;
        return [=, a = random_numbers<T>(std::size_t(m) * n), A = std::vector<T>(), s = std::vector<Real<T>>(k),
                U = std::vector<T>(std::size_t(m) * k), VT = std::vector<T>(std::size_t(k) * n),
                work = std::vector<T>(1), rwork = std::vector<Real<T>>(is_complex<T> ? 5 * square + 5 * k : 0),
                iwork = std::vector<int>(8 * std::size_t(k))]() mutable {
          A = a;
          int info = 0;
          const auto drive = [&](int lwork) {
            const Matrix<T> matrix{A.data(), m}, left{U.data(), m}, right{VT.data(), k};
            if constexpr (is_complex<T>) {
              routine_call::gesdd(jobz, m, n, matrix, s.data(), left, right, work.data(), lwork, rwork.data(),
                                  iwork.data(), info);
            } else {
              routine_call::gesdd(jobz, m, n, matrix, s.data(), left, right, work.data(), lwork, iwork.data(), info);
            }
          };
          if (work.size() == 1) {
            drive(-1);
            work.resize(static_cast<std::size_t>(std::real(work[0])));
          }
          drive(static_cast<int>(work.size()));
        };
      });
}

template <class T>
void add_peer(char jobz, Shape shape) {
  const auto [m, n] = shape;
  add(letter<T> + ("gesdd" + std::string(1, jobz)) + shape.text(), "eigen", n, multiply_adds<T>(shape.multiply_adds()),
      [=] {
        const std::vector<T> a = random_numbers<T>(std::size_t(m) * n);
        EigenMatrix<T> A = Eigen::Map<const EigenMatrix<T>>(a.data(), m, n);
        return [A, jobz]() mutable {
          const Eigen::BDCSVD<EigenMatrix<T>> svd(A, jobz == 'N' ? 0 : Eigen::ComputeThinU | Eigen::ComputeThinV);
          benchmark::DoNotOptimize(svd.singularValues().data());
        };
      });
}

template <class T>
void add_all(char jobz, Shape shape) {
  add_division<T>(jobz, shape);
  add_peer<T>(jobz, shape);
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000, 2000}) {
    for (const char jobz : {'N', 'S'}) add_all<double>(jobz, {n, n});
  }
  add_all<double>('S', {20000, 200});
  add_all<std::complex<double>>('S', {500, 500});
  return run(argc, argv);
}
