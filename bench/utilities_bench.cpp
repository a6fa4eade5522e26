// Norms, scaling, setting and copying of matrices within and beyond the caches, against the speed of memory.

#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

constexpr int sizes[] = {10, 30, 100, 300, 1000, 4000};

template <class T>
double bytes(int n) {
  return double(n) * n * sizeof(T);
}

template <class T>
std::vector<T> square(int n) {
  return random_numbers<T>(std::size_t(n) * n);
}

template <class T>
void add_norms() {
  for (const char norm : {'M', 'O', 'I', 'F'}) {
    for (const int n : sizes) {
      add(std::string(1, letter<T>) + "lange_" + norm, "nuv", n, bytes_read(bytes<T>(n)), [=] {
        return [=, a = square<T>(n), work = std::vector<Real<T>>(n)]() mutable {
          benchmark::DoNotOptimize(routine_call::lange(norm, n, n, {a.data(), n}, work.data()));
        };
      });
    }
  }
}

template <class T>
void add_symmetric_norms() {
  for (const char uplo : {'U', 'L'}) {
    for (const int n : sizes) {
      add(std::string(1, letter<T>) + "lansy_O" + uplo, "nuv", n, bytes_read(bytes<T>(n) / 2), [=] {
        return [=, a = square<T>(n), work = std::vector<Real<T>>(n)]() mutable {
          benchmark::DoNotOptimize(routine_call::lansy('O', uplo, n, {a.data(), n}, work.data()));
        };
      });
    }
  }
}

template <class T>
void add_utilities() {
  const std::string precision(1, letter<T>);
  for (const int n : sizes) {
    add(precision + "lascl_G", "nuv", n, bytes_read_and_written(2 * bytes<T>(n)), [=] {
      return [=, a = square<T>(n), up = false]() mutable {
        Int info = 0;
        routine_call::lascl('G', 0, 0, Real<T>(up ? 3 : 2), Real<T>(up ? 2 : 3), n, n, {a.data(), n}, info);
        up = !up;
      };
    });
    // Rows first, then columns in their scale.
    add(precision + "geequ", "nuv", n, bytes_read(2 * bytes<T>(n)), [=] {
      return [=, a = square<T>(n), r = std::vector<Real<T>>(n), c = std::vector<Real<T>>(n)]() mutable {
        Int info = 0;
        Real<T> rowcnd, colcnd, amax;
        routine_call::geequ(n, n, {a.data(), n}, r.data(), c.data(), rowcnd, colcnd, amax, info);
      };
    });
    add(precision + "laset_A", "nuv", n, bytes_written(bytes<T>(n)), [=] {
      return [=, a = square<T>(n)]() mutable { routine_call::laset('A', n, n, T(1), T(2), {a.data(), n}); };
    });
    add(precision + "lacpy_A", "nuv", n, bytes_read_and_written(2 * bytes<T>(n)), [=] {
      return [=, a = square<T>(n), b = square<T>(n)]() mutable {
        routine_call::lacpy('A', n, n, {a.data(), n}, {b.data(), n});
      };
    });
  }
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  add_norms<double>();
  add_norms<float>();
  add_norms<std::complex<double>>();
  add_norms<std::complex<float>>();
  add_symmetric_norms<double>();
  add_utilities<double>();
  add_utilities<std::complex<double>>();
  return run(argc, argv);
}
