// Eight threads that enter stubs at once in a process where nothing is bound. Each round runs in a child, so that every
// stub is cold again.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nuv/nuv_lapack.h>
#include <nuv/nuv_services.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <complex>
#include <cstdlib>
#include <string>

#include "base/platform.hpp"
#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "support/precisions.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

constexpr int thread_count = 8;
const int rounds = is_sanitized ? 150 : 200;
constexpr int longest_round = 30;  // seconds

/// The library that can't be opened in a round. The loader takes a while to say so, in which other threads go on.
struct MissingFile {
  std::string name;
  int delay = 0;  ///< microseconds
};
MissingFile missing;

// Each check calls one stub on a problem whose result is exact in any order of operations.

template <Scalar T>
bool iamax_is_right() {
  const T x[] = {T(1), T(-3), T(2)};
  return blas::iamax(3, Vector<const T>(x, 1)) == 2;
}

template <Scalar T>
bool scal_is_right() {
  T x[] = {T(1), T(-3), T(2)};
  blas::scal(2, T(2), Vector<T>(x, 2));
  return x[0] == T(2) && x[1] == T(-3) && x[2] == T(4);
}

template <Scalar T>
bool swap_is_right() {
  T x[] = {T(1), T(2)}, y[] = {T(3), T(4)};
  blas::swap(2, Vector<T>(x, 1), Vector<T>(y, 1));
  return x[0] == T(3) && x[1] == T(4) && y[0] == T(1) && y[1] == T(2);
}

template <Scalar T>
bool gemv_is_right() {
  const T a[] = {T(1), T(2), T(3), T(4)}, x[] = {T(5), T(6)};
  T y[] = {T(7), T(8)};
  blas::gemv('N', 2, 2, T(1), Matrix<const T>(a, 2), Vector<const T>(x, 1), T(-1), Vector<T>(y, 1));
  return y[0] == T(16) && y[1] == T(26);
}

template <Scalar T>
bool trmv_is_right() {
  const T a[] = {T(1), T(2), T(3), T(4)};
  T x[] = {T(5), T(6)};
  blas::trmv('U', 'N', 'N', 2, Matrix<const T>(a, 2), Vector<T>(x, 1));
  return x[0] == T(23) && x[1] == T(24);
}

template <Scalar T>
bool trsv_is_right() {
  const T a[] = {T(1), T(2), T(3), T(4)};
  T x[] = {T(23), T(24)};
  blas::trsv('U', 'N', 'N', 2, Matrix<const T>(a, 2), Vector<T>(x, 1));
  return x[0] == T(5) && x[1] == T(6);
}

template <Scalar T>
bool gemm_is_right() {
  const T a[] = {T(1), T(2), T(3), T(4)}, b[] = {T(5), T(6)};
  T c[] = {T(7), T(8)};
  blas::gemm('N', 'N', 2, 1, 2, T(1), Matrix<const T>(a, 2), Matrix<const T>(b, 2), T(-1), Matrix<T>(c, 2));
  return c[0] == T(16) && c[1] == T(26);
}

template <Scalar T>
bool trsm_is_right() {
  const T a[] = {T(1), T(2), T(3), T(4)};
  T b[] = {T(23), T(24)};
  blas::trsm('L', 'U', 'N', 'N', 2, 1, T(1), Matrix<const T>(a, 2), Matrix<T>(b, 2));
  return b[0] == T(5) && b[1] == T(6);
}

template <Scalar T>
bool getrf_is_right() {
  T a[] = {T(1), T(2), T(3), T(4)};
  Int ipiv[2] = {}, info = -1;
  layer::getrf(2, 2, Matrix<T>(a, 2), ipiv, info);
  return info == 0 && ipiv[0] == 2 && ipiv[1] == 2 && a[0] == T(2) && a[1] == T(0.5) && a[2] == T(4) && a[3] == T(1);
}

template <Scalar T>
bool gesv_is_right() {
  T a[] = {T(1), T(2), T(3), T(4)}, b[] = {T(23), T(34)};
  Int ipiv[2] = {}, info = -1;
  routine_call::gesv(2, 1, Matrix<T>(a, 2), ipiv, Matrix<T>(b, 2), info);
  return info == 0 && b[0] == T(5) && b[1] == T(6);
}

bool thread_count_is_right() {
  return nuv_serv_nuv_get_max_threads() >= 1;
}

/// Whether a look-up ever gives the stub itself, which would then call itself for ever. Many of them, for one to come
/// just when another thread fails to open a library.
bool look_ups_are_right() {
  for (int i = 0; i < 100; ++i) {
    nuv_serv_load_dll();
    if (nuv_serv_load_fun("nuv_blas_dcopy") == reinterpret_cast<void*>(&nuv_blas_dcopy)) return false;
  }
  return true;
}

/// The tier, 0 from the call that fails to open its library, the tier negated from later calls.
bool tier_is_right() {
  const int tier = nuv_serv_cpu_detect();
  return tier == 0 || std::abs(tier) == 4;
}

template <Scalar T>
constexpr std::array checks_of = {
    &iamax_is_right<T>,     &scal_is_right<T>, &swap_is_right<T>,   &gemv_is_right<T>,  &trmv_is_right<T>,
    &trsv_is_right<T>,      &gemm_is_right<T>, &trsm_is_right<T>,   &getrf_is_right<T>, &gesv_is_right<T>,
    &thread_count_is_right, &tier_is_right,    &look_ups_are_right,
};

constexpr std::array checks = {checks_of<float>, checks_of<double>, checks_of<std::complex<float>>,
                               checks_of<std::complex<double>>};
constexpr int check_count = checks.size() * checks[0].size();

bool is_right(int check) {
  return checks[check % checks.size()][check / checks.size()]();
}

struct Worker {
  pthread_barrier_t* start;
  int first;  ///< the check that it begins with
  int wrong;  ///< one more than the last check that gave a wrong result, 0 for none
};

void* enter_stubs(void* argument) {
  Worker& worker = *static_cast<Worker*>(argument);
  pthread_barrier_wait(worker.start);
  for (int i = 0; i < check_count; ++i) {
    const int check = (worker.first + i) % check_count;
    if (!is_right(check)) worker.wrong = check + 1;
  }
  return nullptr;
}

/// One round: the threads begin together, `stride` checks apart from each other. The child's exit status.
int run_threads(int first, int stride) {
  pthread_barrier_t start;
  pthread_barrier_init(&start, nullptr, thread_count);
  std::array<Worker, thread_count> workers;
  std::array<pthread_t, thread_count> threads;
  for (int i = 0; i < thread_count; ++i) {
    workers[i] = {&start, first + i * stride, 0};
    if (pthread_create(&threads[i], nullptr, enter_stubs, &workers[i]) != 0) return 255;
  }
  int status = 0;
  for (int i = 0; i < thread_count; ++i) {
    pthread_join(threads[i], nullptr);
    if (workers[i].wrong != 0) status = workers[i].wrong;
  }
  pthread_barrier_destroy(&start);
  return status;
}

class ColdStubs : public testing::TestWithParam<std::string> {
 protected:
  ColdStubs() {
    missing.name = GetParam();
    setenv("NUV_PROCESSOR_TIER", "4", 1);
  }
  ~ColdStubs() override { unsetenv("NUV_PROCESSOR_TIER"); }

  void expect_right_results(int stride) {
    for (int round = 0; round < rounds; ++round) {
      missing.delay = round * 2;
      const pid_t child = fork();
      ASSERT_GE(child, 0);
      if (child == 0) {
        alarm(longest_round);
        _exit(run_threads(round, stride));
      }
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      ASSERT_TRUE(WIFEXITED(status)) << "round " << round << " ended by signal " << WTERMSIG(status);
      ASSERT_EQ(WEXITSTATUS(status), 0) << "round " << round;
    }
  }
};

// The word of a stub is found and stored by all threads at once.
TEST_P(ColdStubs, AllThreadsInTheSameStub) {
  expect_right_results(0);
}

// Kernel and layer stubs, and so the bindings of both libraries, at once.
TEST_P(ColdStubs, EachThreadInAnother) {
  expect_right_results(5);
}

INSTANTIATE_TEST_SUITE_P(Missing, ColdStubs,
                         testing::Values("nothing", NUV_LIBRARY_FILE("libnuv_kpa"), NUV_LIBRARY_FILE("libnuv_kpb")),
                         [](const auto& info) { return info.param.substr(0, info.param.find('.')); });

}  // namespace
}  // namespace nuv::test

// What libnuv_lapack opens comes here first.
extern "C" void* dlopen(const char* file, int mode) noexcept {
  using nuv::test::missing;
  const bool is_missing = file != nullptr && file == missing.name;
  const auto loader = reinterpret_cast<decltype(&dlopen)>(dlsym(RTLD_NEXT, "dlopen"));
  void* handle = loader(is_missing ? "absent" : file, mode);
  if (is_missing) usleep(missing.delay);
  return handle;
}
