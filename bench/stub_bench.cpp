// What a stub costs on its hot path: a call through it beside a direct call of its target, which here has nothing to
// do. A kernel stub tests the configuration word and its target word, a layer stub the latter alone. A published name
// is one more jump before the stub.

#include <benchmark/benchmark.h>
#include <nuv/nuv_lapack.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <chrono>
#include <limits>

extern "C" {
void daxpy_(const int* n, const double* alpha, const double* x, const int* incx, double* y, const int* incy);
void dgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k, const double* alpha,
            const double* a, const int* lda, const double* b, const int* ldb, const double* beta, double* c,
            const int* ldc, int transa_length, int transb_length);
}

namespace {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::duration<double, std::nano>;

using Kernel = decltype(nuv_blas_idamax);
using LayerRoutine = decltype(nuv_serv_nuv_get_max_threads);
using Update = decltype(nuv_blas_daxpy);
using Product = decltype(nuv_blas_dgemm);

void call(Kernel* function) {
  constexpr int n = 0, incx = 1;
  constexpr double x = 0;
  benchmark::DoNotOptimize(function(&n, &x, &incx));
}

void call(LayerRoutine* function) {
  benchmark::DoNotOptimize(function());
}

void call(Update* function) {
  constexpr int n = 1, incx = 1;
  constexpr double alpha = 2, x = 1;
  static double y = 0;
  function(&n, &alpha, &x, &incx, &y, &incx);
}

void call(Product* function) {
  constexpr int n = 1;
  constexpr double alpha = 2, a = 1, beta = 0;
  static double c = 0;
  function("N", "N", &n, &n, &n, &alpha, &a, &n, &a, &n, &beta, &c, &n, 1, 1);
}

/// Mean time of one call in a block of many, in nanoseconds.
template <class Function>
double time_per_call(Function* function) {
  constexpr int calls = 100'000;
  const auto start = Clock::now();
  for (int i = 0; i < calls; ++i) {
    benchmark::DoNotOptimize(function);
    call(function);
  }
  return Nanoseconds(Clock::now() - start).count() / calls;
}

/// Times blocks of direct calls and of calls through the stub in turn and keeps the fastest of each, which is what the
/// machine does when nothing else runs on it. Their difference is the cost of the stub.
template <class Function>
void compare(benchmark::State& state, Function* stub, void* target) {
  auto* const direct = reinterpret_cast<Function*>(target);
  double direct_time = std::numeric_limits<double>::infinity();
  double stub_time = direct_time;
  for (auto _ : state) {
    direct_time = std::min(direct_time, time_per_call(direct));
    stub_time = std::min(stub_time, time_per_call(stub));
  }
  state.counters["direct_ns"] = direct_time;
  state.counters["stub_ns"] = stub_time;
  state.counters["cost_ns"] = stub_time - direct_time;
}

void kernel_stub(benchmark::State& state) {
  nuv_serv_load_dll();
  compare(state, &nuv_blas_idamax, nuv_serv_load_fun("nuv_blas_idamax"));
}

void layer_stub(benchmark::State& state) {
  const char* name = "nuv_serv_nuv_get_max_threads";
  compare(state, &nuv_serv_nuv_get_max_threads, nuv_serv_load_thread_fun(name));
}

void published_daxpy(benchmark::State& state) {
  compare(state, &daxpy_, reinterpret_cast<void*>(&nuv_blas_daxpy));
}

void published_dgemm(benchmark::State& state) {
  compare(state, &dgemm_, reinterpret_cast<void*>(&nuv_blas_dgemm));
}

BENCHMARK(kernel_stub);
BENCHMARK(layer_stub);
BENCHMARK(published_daxpy);
BENCHMARK(published_dgemm);

}  // namespace
