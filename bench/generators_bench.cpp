// Random numbers, random orthogonal matrices, and test matrices: how fast they are made.

#include <cstdlib>

#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// State of the random numbers.
struct Seed {
  int words[4] = {1, 2, 3, 5};
};

template <class T>
std::string name_of(const char* routine) {
  return std::string(1, letter<T>) + routine;
}

/// 1: uniform on (0, 1), 3: normal.
template <class T>
void add_numbers(int idist, int n) {
  add(name_of<T>("larnv") + std::to_string(idist), "nuv", n, bytes_written(double(sizeof(T)) * n), [=] {
    return [=, seed = Seed(), x = std::vector<T>(n)]() mutable { routine_call::larnv(idist, seed.words, n, x.data()); };
  });
}

/// Each of n reflectors changes as many rows as it has elements: n^3 multiply-adds.
template <class T>
void add_orthogonal(int n) {
  add(name_of<T>("laror"), "nuv", n, multiply_adds<T>(n * double(n) * n), [=] {
    return
        [=, seed = Seed(), a = std::vector<T>(std::size_t(n) * n), x = std::vector<T>(3 * std::size_t(n))]() mutable {
          int info = 0;
          routine_call::laror('L', 'I', n, n, {a.data(), n}, seed.words, x.data(), info);
        };
  });
}

/// Registers a generator, make(seed, d, real numbers, A, work, info), by the multiply-adds of so many n^3.
template <class T, class Make>
void add_matrix(const char* routine, int n, double cubes, Make make) {
  add(name_of<T>(routine), "nuv", n, multiply_adds<T>(cubes * n * n * n), [=] {
    return [=, seed = Seed(), d = std::vector<T>(n), real_d = std::vector<Real<T>>(n),
            a = std::vector<T>(std::size_t(n) * n), work = std::vector<T>(3 * std::size_t(n))]() mutable {
      int info = 0;
      make(seed.words, d.data(), real_d.data(), Matrix<T>{a.data(), n}, work.data(), info);
      if (info != 0) std::abort();
    };
  });
}

/// Orthogonal matrices from both sides of a diagonal.
template <class T>
void add_spectra(int n) {
  using R = Real<T>;
  for (const char sym : {'N', 'S'}) {
    add_matrix<T>(sym == 'N' ? "latmsN" : "latmsS", n, sym == 'N' ? 8.0 / 3 : 4.0 / 3,
                  [=](int* seed, T*, R* d, Matrix<T> A, T* work, int& info) {
                    routine_call::latms(n, n, 'U', seed, sym, d, 3, R(100), R(1), n - 1, n - 1, 'N', A, work, info);
                  });
  }
  add_matrix<T>("latme", n, 32.0 / 3, [=](int* seed, T* d, R* ds, Matrix<T> A, T* work, int& info) {
    routine_call::latme(n, 'S', seed, d, 3, R(100), T(1), " ", 'F', 'T', 'T', ds, 3, R(10), n - 1, n - 1, R(-1), A,
                        work, info);
  });
}

/// Element by element: so many are written.
template <class T>
void add_entries(int n) {
  using R = Real<T>;
  add(name_of<T>("latmr"), "nuv", n, bytes_written(double(sizeof(T)) * n * n), [=] {
    return [=, seed = Seed(), d = std::vector<T>(3 * std::size_t(n)), a = std::vector<T>(std::size_t(n) * n),
            pivots = std::vector<int>(n), iwork = std::vector<int>(n)]() mutable {
      int info = 0;
      routine_call::latmr(n, n, 'S', seed.words, 'N', d.data(), 3, R(100), T(1), 'F', 'N', d.data() + n, 3, R(10),
                          d.data() + 2 * n, 3, R(10), 'N', pivots.data(), n - 1, n - 1, R(0), R(-1), 'N', {a.data(), n},
                          iwork.data(), info);
      if (info != 0) std::abort();
    };
  });
}

template <class T>
void add_all() {
  for (const int n : {1000, 100000}) {
    for (const int idist : {1, 3}) add_numbers<T>(idist, n);
  }
  for (const int n : {100, 500}) {
    add_orthogonal<T>(n);
    add_spectra<T>(n);
    add_entries<T>(n);
  }
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  add_all<double>();
  add_all<std::complex<double>>();
  return run(argc, argv);
}
