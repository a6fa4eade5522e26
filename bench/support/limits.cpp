#include "support/limits.hpp"

#include <immintrin.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>

#include "base/instruction_set.hpp"

namespace nuv::bench {
namespace {

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Best rate of several runs of `work`, which does `amount`.
template <class Work>
double best_rate(double amount, Work work) {
  double best = 0;
  for (int run = 0; run < 12; ++run) {
    const double start = now();
    work();
    best = std::max(best, amount / (now() - start));
  }
  return best;
}

constexpr long rounds = 400'000;
constexpr int chains = 12;  // more than latency times units of any x86 processor, and all in registers

// The chains are kept in registers by inline assembly that claims to change them.
#define NUV_FMA_LOOP(name, target_set, vector, broadcast, step)                                                     \
  template <class R>                                                                                                \
  [[gnu::target(target_set), gnu::noinline]] void name() {                                                          \
    vector x0{}, x1{}, x2{}, x3{}, x4{}, x5{}, x6{}, x7{}, x8{}, x9{}, x10{}, x11{};                                \
    vector factor = broadcast;                                                                                      \
    for (long i = 0; i < rounds; ++i) {                                                                             \
      step(x0) step(x1) step(x2) step(x3) step(x4) step(x5) step(x6) step(x7) step(x8) step(x9) step(x10) step(x11) \
    }                                                                                                               \
  }

#define NUV_FMA_PD(x) asm volatile("vfmadd213pd %1, %1, %0" : "+v"(x) : "v"(factor));
#define NUV_FMA_PS(x) asm volatile("vfmadd213ps %1, %1, %0" : "+v"(x) : "v"(factor));
#define NUV_MULADD_PD(x) asm volatile("mulpd %1, %0\n\taddpd %1, %0" : "+x"(x) : "x"(factor));
#define NUV_MULADD_PS(x) asm volatile("mulps %1, %0\n\taddps %1, %0" : "+x"(x) : "x"(factor));

NUV_FMA_LOOP(fma_512_double, "avx512f", __m512d, _mm512_set1_pd(0.5), NUV_FMA_PD)
NUV_FMA_LOOP(fma_512_float, "avx512f", __m512, _mm512_set1_ps(0.5f), NUV_FMA_PS)
NUV_FMA_LOOP(fma_256_double, "avx2,fma", __m256d, _mm256_set1_pd(0.5), NUV_FMA_PD)
NUV_FMA_LOOP(fma_256_float, "avx2,fma", __m256, _mm256_set1_ps(0.5f), NUV_FMA_PS)
NUV_FMA_LOOP(mul_add_128_double, "sse2", __m128d, _mm_set1_pd(0.5), NUV_MULADD_PD)
NUV_FMA_LOOP(mul_add_128_float, "sse2", __m128, _mm_set1_ps(0.5f), NUV_MULADD_PS)

/// Room larger than any cache, touched once.
constexpr std::size_t memory_bytes = std::size_t{256} << 20;

struct Memory {
  std::unique_ptr<double[]> numbers{new double[memory_bytes / sizeof(double)]};
  Memory() { std::fill_n(numbers.get(), memory_bytes / sizeof(double), 1.0); }
};

double* memory() {
  static Memory room;
  return room.numbers.get();
}

[[gnu::optimize("O3", "unroll-loops")]] double sum(const double* x, std::size_t n) {
  double partial[32] = {};
  for (std::size_t i = 0; i < n; i += 32) {
    for (int j = 0; j < 32; ++j) partial[j] += x[i + j];
  }
  return *std::max_element(partial, partial + 32);
}

}  // namespace

template <class R>
double arithmetic_limit() {
  constexpr bool is_double = sizeof(R) == 8;
  const InstructionSet set = choose_instruction_set().set;
  const int bytes = set == InstructionSet::avx512 ? 64 : set == InstructionSet::avx2 ? 32 : 16;
  void (*const loop)() = set == InstructionSet::avx512 ? (is_double ? fma_512_double<R> : fma_512_float<R>)
                         : set == InstructionSet::avx2 ? (is_double ? fma_256_double<R> : fma_256_float<R>)
                                                       : (is_double ? mul_add_128_double<R> : mul_add_128_float<R>);
  static const double rate = best_rate(2.0 * chains * rounds * bytes / sizeof(R), loop);
  return rate;
}

template double arithmetic_limit<float>();
template double arithmetic_limit<double>();

double read_limit() {
  static const double rate = best_rate(memory_bytes, [] {
    volatile double keep = sum(memory(), memory_bytes / sizeof(double));
    (void)keep;
  });
  return rate;
}

double read_write_limit() {
  static const double rate = best_rate(2.0 * memory_bytes, [] {
    double* const x = memory();
    for (std::size_t i = 0; i < memory_bytes / sizeof(double); ++i) x[i] += 1.0;
    asm volatile("" ::"r"(x) : "memory");
  });
  return rate;
}

double write_limit() {
  static const double rate = std::max(best_rate(memory_bytes,
                                                [] {
                                                  double* const x = memory();
                                                  std::fill_n(x, memory_bytes / sizeof(double), 1.0);
                                                  asm volatile("" ::"r"(x) : "memory");
                                                }),
                                      best_rate(memory_bytes, [] {
                                        double* const x = memory();
                                        const __m128d ones = _mm_set1_pd(1.0);
                                        for (std::size_t i = 0; i < memory_bytes / sizeof(double); i += 2) {
                                          _mm_stream_pd(x + i, ones);
                                        }
                                        _mm_sfence();
                                      }));
  return rate;
}

}  // namespace nuv::bench
