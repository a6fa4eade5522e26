#include "solvers/recording_layer.hpp"

#include <dlfcn.h>
#include <nuv/nuv_lapack.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <complex>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "base/platform.hpp"
#include "frame/option_matching.hpp"

namespace nuv::test {
namespace {

struct RecordedCall {
  std::string call, factors;
};

std::vector<RecordedCall> recorded_calls;

/// Complex factors have to be real, too, to be written as a number alone.
template <class T>
std::string text(T factor) {
  std::ostringstream stream;
  if (std::imag(factor) == 0) {
    stream << ", " << std::real(factor);
  } else {
    stream << ", " << factor;
  }
  return stream.str();
}

template <class... Factors>
void record(const char* routine, std::initializer_list<const char*> options, std::initializer_list<int> sizes,
            Factors... factors) {
  if (std::any_of(sizes.begin(), sizes.end(), [](int size) { return size == 0; })) return;
  std::string call = routine;
  if (options.size() != 0) call += ' ';
  for (const char* option : options) call += char(to_upper_ascii(static_cast<unsigned char>(*option)));
  for (const int size : sizes) call += ' ' + std::to_string(size);
  recorded_calls.push_back({call, (std::string() + ... + text(factors))});
}

/// The sequential layer's function of that name.
void* next_layer(const char* name) {
  static void* const layer = dlopen(NUV_LIBRARY_FILE("libnuv_sequential"), platform::only_if_present);
  void* const function = layer != nullptr ? dlsym(layer, name) : nullptr;
  if (function == nullptr) throw std::runtime_error(std::string("no ") + name + " behind the recording layer");
  return function;
}

}  // namespace

std::vector<std::string> take_recorded_calls() {
  std::vector<std::string> calls;
  for (const RecordedCall& recorded : std::exchange(recorded_calls, {})) calls.push_back(recorded.call);
  return calls;
}

std::vector<std::string> take_recorded_calls_with_factors() {
  std::vector<std::string> calls;
  for (const RecordedCall& recorded : std::exchange(recorded_calls, {})) {
    calls.push_back(recorded.call + recorded.factors);
  }
  return calls;
}

}  // namespace nuv::test

using nuv::test::record;

#define NEXT(function) reinterpret_cast<decltype(&function)>(nuv::test::next_layer(#function))

#define RECORDING(p, T)                                                                                                \
  void nuv_lapack_##p##getrf(const int* m, const int* n, T* a, const int* lda, int* ipiv, int* info) {                 \
    record("getrf", {}, {*m, *n});                                                                                     \
    NEXT(nuv_lapack_##p##getrf)(m, n, a, lda, ipiv, info);                                                             \
  }                                                                                                                    \
  void nuv_lapack_##p##potrf(const char* uplo, const int* n, T* a, const int* lda, int* info, int length) {            \
    record("potrf", {uplo}, {*n});                                                                                     \
    NEXT(nuv_lapack_##p##potrf)(uplo, n, a, lda, info, length);                                                        \
  }                                                                                                                    \
  void nuv_lapack_##p##pptrf(const char* uplo, const int* n, T* ap, int* info, int length) {                           \
    record("pptrf", {uplo}, {*n});                                                                                     \
    NEXT(nuv_lapack_##p##pptrf)(uplo, n, ap, info, length);                                                            \
  }                                                                                                                    \
  void nuv_lapack_##p##pptrs(const char* uplo, const int* n, const int* nrhs, const T* ap, T* b, const int* ldb,       \
                             int* info, int length) {                                                                  \
    record("pptrs", {uplo}, {*n, *nrhs});                                                                              \
    NEXT(nuv_lapack_##p##pptrs)(uplo, n, nrhs, ap, b, ldb, info, length);                                              \
  }                                                                                                                    \
  void nuv_lapack_##p##gbtrf(const int* m, const int* n, const int* kl, const int* ku, T* ab, const int* ldab,         \
                             int* ipiv, int* info) {                                                                   \
    record("gbtrf", {}, {*m, *n});                                                                                     \
    NEXT(nuv_lapack_##p##gbtrf)(m, n, kl, ku, ab, ldab, ipiv, info);                                                   \
  }                                                                                                                    \
  void nuv_lapack_##p##gbtrs(const char* trans, const int* n, const int* kl, const int* ku, const int* nrhs,           \
                             const T* ab, const int* ldab, const int* ipiv, T* b, const int* ldb, int* info,           \
                             int length) {                                                                             \
    record("gbtrs", {trans}, {*n, *nrhs});                                                                             \
    NEXT(nuv_lapack_##p##gbtrs)(trans, n, kl, ku, nrhs, ab, ldab, ipiv, b, ldb, info, length);                         \
  }                                                                                                                    \
  void nuv_lapack_##p##pbtrs(const char* uplo, const int* n, const int* kd, const int* nrhs, const T* ab,              \
                             const int* ldab, T* b, const int* ldb, int* info, int length) {                           \
    record("pbtrs", {uplo}, {*n, *nrhs});                                                                              \
    NEXT(nuv_lapack_##p##pbtrs)(uplo, n, kd, nrhs, ab, ldab, b, ldb, info, length);                                    \
  }                                                                                                                    \
  void nuv_lapack_##p##gttrs(const char* trans, const int* n, const int* nrhs, const T* dl, const T* d, const T* du,   \
                             const T* du2, const int* ipiv, T* b, const int* ldb, int* info, int length) {             \
    record("gttrs", {trans}, {*n, *nrhs});                                                                             \
    NEXT(nuv_lapack_##p##gttrs)(trans, n, nrhs, dl, d, du, du2, ipiv, b, ldb, info, length);                           \
  }                                                                                                                    \
  void nuv_lapack_##p##geqrf(const int* m, const int* n, T* a, const int* lda, T* tau, T* work, const int* lwork,      \
                             int* info) {                                                                              \
    record("geqrf", {}, {*m, *n});                                                                                     \
    NEXT(nuv_lapack_##p##geqrf)(m, n, a, lda, tau, work, lwork, info);                                                 \
  }                                                                                                                    \
  void nuv_blas_##p##gemm(const char* transa, const char* transb, const int* m, const int* n, const int* k,            \
                          const T* alpha, const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c, \
                          const int* ldc, int length_a, int length_b) {                                                \
    record("gemm", {transa, transb}, {*m, *n, *k}, *alpha, *beta);                                                     \
    NEXT(nuv_blas_##p##gemm)                                                                                           \
    (transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, length_a, length_b);                                \
  }                                                                                                                    \
  void nuv_blas_##p##syrk(const char* uplo, const char* trans, const int* n, const int* k, const T* alpha, const T* a, \
                          const int* lda, const T* beta, T* c, const int* ldc, int l1, int l2) {                       \
    record("syrk", {uplo, trans}, {*n, *k});                                                                           \
    NEXT(nuv_blas_##p##syrk)(uplo, trans, n, k, alpha, a, lda, beta, c, ldc, l1, l2);                                  \
  }                                                                                                                    \
  void nuv_blas_##p##symm(const char* side, const char* uplo, const int* m, const int* n, const T* alpha, const T* a,  \
                          const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc, int l1,     \
                          int l2) {                                                                                    \
    record("symm", {side, uplo}, {*m, *n}, *alpha, *beta);                                                             \
    NEXT(nuv_blas_##p##symm)(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc, l1, l2);                           \
  }                                                                                                                    \
  void nuv_lapack_##p##laeh2(const int* m, const int* n, const int* kd, const T* tau, const T* v, const int* ldv,      \
                             T* z, const int* ldz, T* work) {                                                          \
    record("laeh2", {}, {*m, *n, *kd});                                                                                \
    NEXT(nuv_lapack_##p##laeh2)(m, n, kd, tau, v, ldv, z, ldz, work);                                                  \
  }                                                                                                                    \
  void nuv_blas_##p##syr2k(const char* uplo, const char* trans, const int* n, const int* k, const T* alpha,            \
                           const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c,                \
                           const int* ldc, int l1, int l2) {                                                           \
    record("syr2k", {uplo, trans}, {*n, *k});                                                                          \
    NEXT(nuv_blas_##p##syr2k)(uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc, l1, l2);                         \
  }                                                                                                                    \
  void nuv_blas_##p##trmm(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,      \
                          const int* n, const T* alpha, const T* a, const int* lda, T* b, const int* ldb, int l1,      \
                          int l2, int l3, int l4) {                                                                    \
    record("trmm", {side, uplo, transa, diag}, {*m, *n}, *alpha);                                                      \
    NEXT(nuv_blas_##p##trmm)(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, l1, l2, l3, l4);                   \
  }                                                                                                                    \
  void nuv_blas_##p##trsm(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,      \
                          const int* n, const T* alpha, const T* a, const int* lda, T* b, const int* ldb, int l1,      \
                          int l2, int l3, int l4) {                                                                    \
    record("trsm", {side, uplo, transa, diag}, {*m, *n});                                                              \
    NEXT(nuv_blas_##p##trsm)(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, l1, l2, l3, l4);                   \
  }

#define RECORDING_REAL(p, T)                                                                                           \
  void nuv_lapack_##p##pttrs(const int* n, const int* nrhs, const T* d, const T* e, T* b, const int* ldb, int* info) { \
    record("pttrs", {}, {*n, *nrhs});                                                                                  \
    NEXT(nuv_lapack_##p##pttrs)(n, nrhs, d, e, b, ldb, info);                                                          \
  }                                                                                                                    \
  void nuv_lapack_##p##sptrd(const char* uplo, const int* n, T* ap, T* d, T* e, T* tau, int* info, int length) {       \
    record("sptrd", {uplo}, {*n});                                                                                     \
    NEXT(nuv_lapack_##p##sptrd)(uplo, n, ap, d, e, tau, info, length);                                                 \
  }                                                                                                                    \
  void nuv_lapack_##p##lasr3(const char* side, const char* pivot, const char* direct, const int* m, const int* n,      \
                             const int* k, const T* cs, const int* ldcs, T* a, const int* lda, T* work,                \
                             const int* lwork, int* info, int l1, int l2, int l3) {                                    \
    record("lasr3", {side, pivot, direct}, {*m, *n, *k});                                                              \
    NEXT(nuv_lapack_##p##lasr3)(side, pivot, direct, m, n, k, cs, ldcs, a, lda, work, lwork, info, l1, l2, l3);        \
  }                                                                                                                    \
  void nuv_lapack_##p##laed0(const int* icompq, const int* qsiz, const int* n, T* d, T* e, T* q, const int* ldq,       \
                             T* qstore, const int* ldqs, T* work, int* iwork, int* info) {                             \
    record("laed0", {}, {*icompq, *qsiz, *n});                                                                         \
    NEXT(nuv_lapack_##p##laed0)(icompq, qsiz, n, d, e, q, ldq, qstore, ldqs, work, iwork, info);                       \
  }

#define RECORDING_HERMITIAN(p, T, R)                                                                                   \
  void nuv_lapack_##p##pttrs(const char* uplo, const int* n, const int* nrhs, const R* d, const T* e, T* b,            \
                             const int* ldb, int* info, int length) {                                                  \
    record("pttrs", {uplo}, {*n, *nrhs});                                                                              \
    NEXT(nuv_lapack_##p##pttrs)(uplo, n, nrhs, d, e, b, ldb, info, length);                                            \
  }                                                                                                                    \
  void nuv_lapack_##p##hptrd(const char* uplo, const int* n, T* ap, R* d, R* e, T* tau, int* info, int length) {       \
    record("hptrd", {uplo}, {*n});                                                                                     \
    NEXT(nuv_lapack_##p##hptrd)(uplo, n, ap, d, e, tau, info, length);                                                 \
  }                                                                                                                    \
  void nuv_blas_##p##hemm(const char* side, const char* uplo, const int* m, const int* n, const T* alpha, const T* a,  \
                          const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc, int l1,     \
                          int l2) {                                                                                    \
    record("hemm", {side, uplo}, {*m, *n}, *alpha, *beta);                                                             \
    NEXT(nuv_blas_##p##hemm)(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc, l1, l2);                           \
  }                                                                                                                    \
  void nuv_blas_##p##her2k(const char* uplo, const char* trans, const int* n, const int* k, const T* alpha,            \
                           const T* a, const int* lda, const T* b, const int* ldb, const R* beta, T* c,                \
                           const int* ldc, int l1, int l2) {                                                           \
    record("her2k", {uplo, trans}, {*n, *k});                                                                          \
    NEXT(nuv_blas_##p##her2k)(uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc, l1, l2);                         \
  }                                                                                                                    \
  void nuv_blas_##p##herk(const char* uplo, const char* trans, const int* n, const int* k, const R* alpha, const T* a, \
                          const int* lda, const R* beta, T* c, const int* ldc, int l1, int l2) {                       \
    record("herk", {uplo, trans}, {*n, *k});                                                                           \
    NEXT(nuv_blas_##p##herk)(uplo, trans, n, k, alpha, a, lda, beta, c, ldc, l1, l2);                                  \
  }                                                                                                                    \
  void nuv_lapack_##p##laed0(const int* qsiz, const int* n, R* d, R* e, T* q, const int* ldq, T* qstore,               \
                             const int* ldqs, R* rwork, int* iwork, int* info) {                                       \
    record("laed0", {}, {*qsiz, *n});                                                                                  \
    NEXT(nuv_lapack_##p##laed0)(qsiz, n, d, e, q, ldq, qstore, ldqs, rwork, iwork, info);                              \
  }

/// The factorisations with diagonal pivoting. A panel without memory is a question for how much it wants.
#define RECORDING_INDEFINITE(p, T, full, packed, full_panel, packed_panel)                                          \
  void nuv_lapack_##p##full_panel(const char* uplo, const int* n, const int* nb, int* kb, T* a, const int* lda,     \
                                  int* ipiv, T* w, const int* ldw, int* info, int length) {                         \
    record(#full_panel, {uplo}, {*n, *nb});                                                                         \
    NEXT(nuv_lapack_##p##full_panel)(uplo, n, nb, kb, a, lda, ipiv, w, ldw, info, length);                          \
  }                                                                                                                 \
  void nuv_lapack_##p##packed_panel(const char* uplo, const int* n, const int* nb, int* kb, T* ap, int* ipiv, T* w, \
                                    const int* ldw, int* info, int length) {                                        \
    if (w == nullptr) {                                                                                             \
      record("wants of " #packed_panel, {uplo}, {*n});                                                              \
    } else {                                                                                                        \
      record(#packed_panel, {uplo}, {*n, *nb});                                                                     \
    }                                                                                                               \
    NEXT(nuv_lapack_##p##packed_panel)(uplo, n, nb, kb, ap, ipiv, w, ldw, info, length);                            \
  }                                                                                                                 \
  void nuv_lapack_##p##full##trs(const char* uplo, const int* n, const int* nrhs, const T* a, const int* lda,       \
                                 const int* ipiv, T* b, const int* ldb, int* info, int length) {                    \
    record(#full "trs", {uplo}, {*n, *nrhs});                                                                       \
    NEXT(nuv_lapack_##p##full##trs)(uplo, n, nrhs, a, lda, ipiv, b, ldb, info, length);                             \
  }                                                                                                                 \
  void nuv_lapack_##p##packed##trs(const char* uplo, const int* n, const int* nrhs, const T* ap, const int* ipiv,   \
                                   T* b, const int* ldb, int* info, int length) {                                   \
    record(#packed "trs", {uplo}, {*n, *nrhs});                                                                     \
    NEXT(nuv_lapack_##p##packed##trs)(uplo, n, nrhs, ap, ipiv, b, ldb, info, length);                               \
  }

/// Reductions of a full matrix to tridiagonal form.
#define RECORDING_REDUCTION(p, T, R, full)                                                                            \
  void nuv_lapack_##p##full##trd(const char* uplo, const int* n, T* a, const int* lda, R* d, R* e, T* tau, T* work,   \
                                 const int* lwork, int* info, int length) {                                           \
    record("sytrd", {uplo}, {*n});                                                                                    \
    NEXT(nuv_lapack_##p##full##trd)(uplo, n, a, lda, d, e, tau, work, lwork, info, length);                           \
  }                                                                                                                   \
  void nuv_lapack_##p##latrd(const char* uplo, const int* n, const int* nb, T* a, const int* lda, R* e, T* tau, T* w, \
                             const int* ldw, int length) {                                                            \
    record("latrd", {uplo}, {*n, *nb});                                                                               \
    NEXT(nuv_lapack_##p##latrd)(uplo, n, nb, a, lda, e, tau, w, ldw, length);                                         \
  }

#define RECORDING_PRODUCT(name, form, T)                                                                           \
  void nuv_lapack_##name(const char* side, const char* trans, const int* m, const int* n, const int* k, T* a,      \
                         const int* lda, const T* tau, T* c, const int* ldc, T* work, const int* lwork, int* info, \
                         int l1, int l2) {                                                                         \
    record("orm" #form, {side, trans}, {*m, *n, *k});                                                              \
    NEXT(nuv_lapack_##name)(side, trans, m, n, k, a, lda, tau, c, ldc, work, lwork, info, l1, l2);                 \
  }

#define RECORDING_PRODUCTS(prefix, T)   \
  RECORDING_PRODUCT(prefix##mqr, qr, T) \
  RECORDING_PRODUCT(prefix##mlq, lq, T) \
  RECORDING_PRODUCT(prefix##mql, ql, T)

RECORDING(s, float)
RECORDING(d, double)
RECORDING(c, nuv_complex8)
RECORDING(z, nuv_complex16)
RECORDING_REAL(s, float)
RECORDING_REAL(d, double)
RECORDING_HERMITIAN(c, nuv_complex8, float)
RECORDING_HERMITIAN(z, nuv_complex16, double)
RECORDING_INDEFINITE(s, float, sy, sp, lasyf, laspf)
RECORDING_INDEFINITE(d, double, sy, sp, lasyf, laspf)
RECORDING_INDEFINITE(c, nuv_complex8, sy, sp, lasyf, laspf)
RECORDING_INDEFINITE(z, nuv_complex16, sy, sp, lasyf, laspf)
RECORDING_INDEFINITE(c, nuv_complex8, he, hp, lahef, lahpf)
RECORDING_INDEFINITE(z, nuv_complex16, he, hp, lahef, lahpf)
RECORDING_REDUCTION(s, float, float, sy)
RECORDING_REDUCTION(d, double, double, sy)
RECORDING_REDUCTION(c, nuv_complex8, float, he)
RECORDING_REDUCTION(z, nuv_complex16, double, he)
RECORDING_PRODUCTS(sor, float)
RECORDING_PRODUCTS(dor, double)
RECORDING_PRODUCTS(cun, nuv_complex8)
RECORDING_PRODUCTS(zun, nuv_complex16)

int nuv_serv_nuv_get_max_threads() {
  return NEXT(nuv_serv_nuv_get_max_threads)();
}
