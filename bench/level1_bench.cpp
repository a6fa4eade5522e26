// Vector operations in the first-level cache, and as vectors grow until they come from memory.

#include <Eigen/Core>

#include "blas.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// From a few numbers to vectors of 64 MiB.
constexpr int lengths[] = {4, 8, 16, 32, 64, 128, 256, 512, 1024, 4096, 16384, 65536, 262144, 1048576, 8388608};

/// Registers one operation on vectors x and y of each length. `arrays` of them pass between memory and processor, a
/// vector that is written counting twice: it is read first.
template <class T, class Work>
void add_lengths(const std::string& routine, const std::string& who, int arrays, bool writes, Work work) {
  for (const int n : lengths) {
    const double bytes = double(arrays) * n * sizeof(T);
    add(std::string(1, letter<T>) + routine, who, n, writes ? bytes_read_and_written(bytes) : bytes_read(bytes), [=] {
      return [=, x = random_numbers<T>(n), y = random_numbers<T>(n)]() mutable { work(n, x.data(), y.data()); };
    });
  }
}

template <class T>
void add_nuv() {
  const T alpha = T(Real<T>(0.5));
  add_lengths<T>("axpy", "nuv", 3, true, [=](int n, T* x, T* y) {
    blas::axpy(n, alpha, Vector<const T>{x, 1}, Vector<T>{y, 1});
  });
  add_lengths<T>("copy", "nuv", 3, true, [](int n, T* x, T* y) {
    blas::copy(n, Vector<const T>{x, 1}, Vector<T>{y, 1});
  });
  // By one and by its opposite in turn, so that the numbers neither grow nor fade.
  add_lengths<T>("scal", "nuv", 2, true, [](int n, T* x, T*) { blas::scal(n, T(-1), Vector<T>{x, 1}); });
  add_lengths<T>("nrm2", "nuv", 1, false, [](int n, T* x, T*) {
    benchmark::DoNotOptimize(blas::nrm2(n, Vector<const T>{x, 1}));
  });
  add_lengths<T>("iamax", "nuv", 1, false, [](int n, T* x, T*) {
    benchmark::DoNotOptimize(blas::iamax(n, Vector<const T>{x, 1}));
  });
}

void add_peer() {
  using Line = Eigen::Map<Eigen::VectorXd>;
  add_lengths<double>("axpy", "eigen", 3, true, [](int n, double* x, double* y) { Line(y, n) += 0.5 * Line(x, n); });
  add_lengths<double>("copy", "eigen", 3, true, [](int n, double* x, double* y) { Line(y, n) = Line(x, n); });
  add_lengths<double>("scal", "eigen", 2, true, [](int n, double* x, double*) { Line(x, n) *= -1; });
  add_lengths<double>("nrm2", "eigen", 1, false,
                      [](int n, double* x, double*) { benchmark::DoNotOptimize(Line(x, n).stableNorm()); });
  add_lengths<double>("iamax", "eigen", 1, false, [](int n, double* x, double*) {
    Eigen::Index index = 0;
    Line(x, n).cwiseAbs().maxCoeff(&index);
    benchmark::DoNotOptimize(index);
  });
  add_lengths<double>("dot", "eigen", 2, false,
                      [](int n, double* x, double* y) { benchmark::DoNotOptimize(Line(x, n).dot(Line(y, n))); });
}

template <class T>
void add_real_dot() {
  add_lengths<T>("dot", "nuv", 2, false, [](int n, T* x, T* y) {
    benchmark::DoNotOptimize(blas::dot(n, Vector<const T>{x, 1}, Vector<const T>{y, 1}));
  });
}

template <class T>
void add_complex_dot() {
  add_lengths<T>("dotc", "nuv", 2, false, [](int n, T* x, T* y) {
    benchmark::DoNotOptimize(blas::dotc(n, Vector<const T>{x, 1}, Vector<const T>{y, 1}));
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  add_nuv<double>();
  add_real_dot<double>();
  add_peer();
  add_nuv<float>();
  add_real_dot<float>();
  add_nuv<std::complex<double>>();
  add_complex_dot<std::complex<double>>();
  add_nuv<std::complex<float>>();
  add_complex_dot<std::complex<float>>();
  return run(argc, argv);
}
