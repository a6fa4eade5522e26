/* What programs in C see of the calls by value: results, info, and memory that is refused. */

#include <complex.h>
#include <limits.h>
#include <math.h>
#include <nuv/nuv.h>
#include <nuv/nuv_services.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

#define EXPECT(condition)                                             \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

static int reports = 0;

int xerbla_(const char* name, const int* code, int length) {
  (void)name, (void)code, (void)length;
  return ++reports;
}

static int is_near(double x, double y) {
  return fabs(x - y) < 1e-13;
}

static void solves_and_reports(void) {
  double a[9] = {2, 4, 8, 1, 3, 7, 1, 3, 9}, b[3] = {4, 10, 24};
  int pivots[3];
  EXPECT(nuv_dgesv(3, 1, a, 3, pivots, b, 3) == 0);
  EXPECT(is_near(b[0], 1) && is_near(b[1], 1) && is_near(b[2], 1));

  float singular[4] = {1, 2, 2, 4}, c[2] = {1, 1};
  EXPECT(nuv_sgesv(2, 1, singular, 2, pivots, c, 2) == 2);
  EXPECT(nuv_dgesv(3, 1, a, 2, pivots, b, 3) == -4 && reports == 1);
  EXPECT(nuv_dsyevd('V', 'L', 3, a, 2, b) == -5 && reports == 2);
}

static void takes_options_by_value(void) {
  double a[4] = {2, 1, 1, 2}, w[2], vectors[4] = {2, 1, 1, 2};
  EXPECT(nuv_dpotrf('L', 2, a, 2) == 0 && is_near(a[3] * a[3], 1.5) && a[2] == 1);
  EXPECT(nuv_dsyevd('v', 'u', 2, vectors, 2, w) == 0 && is_near(w[0], 1) && is_near(w[1], 3));

  double x[4] = {1, 2, 3, 4}, y[4] = {1, 1, 1, 1};
  nuv_dgemm('T', 'N', 2, 2, 2, 2.0, x, 2, x, 2, -1.0, y, 2);
  EXPECT(y[0] == 9 && y[1] == 21 && y[2] == 21 && y[3] == 49);
}

static void returns_values(void) {
  const double _Complex x[2] = {1 + 2 * I, 3 - I}, y[2] = {2, I};
  const float _Complex x8[2] = {1 + 2 * I, 3 - I}, y8[2] = {2, I};
  EXPECT(nuv_zdotc(2, x, 1, y, 1) == conj(x[0]) * y[0] + conj(x[1]) * y[1]);
  EXPECT(nuv_cdotu(2, x8, 1, y8, 1) == x8[0] * y8[0] + x8[1] * y8[1]);
  EXPECT(nuv_zlange('I', 2, 1, x, 2) == cabs(x[1]));
  EXPECT(nuv_izamax(2, x, 1) == 2);
  EXPECT(nuv_disnan(NAN) == 1 && nuv_disnan(0) == 0);
  EXPECT(nuv_lsamen(3, "GETRF", "getrs") == 1);
  EXPECT(nuv_ilaenv(1, "DGETRF", " ", 500, 500, -1, -1) > 1);
}

static void sets_what_pointers_lead_to(void) {
  double a = 3, b = 4, c, s, rcond = 0, d[4] = {2, 0, 0, 1};
  nuv_drotg(&a, &b, &c, &s);
  EXPECT(is_near(a, 5) && is_near(c, 0.6) && is_near(s, 0.8));
  EXPECT(nuv_dpocon('U', 2, d, 2, 2.0, &rcond) == 0 && rcond > 0);
}

static int is_negative(const double* wr, const double* wi) {
  (void)wi;
  return *wr < 0;
}

static int is_above(const float _Complex* w) {
  return cimagf(*w) > 0;
}

static void asks_functions_of_the_caller(void) {
  double a[9] = {3, 0, 0, 1, -1, 0, 1, 1, -2}, wr[3], wi[3], z[9];
  int sdim = 9;
  EXPECT(nuv_dgees('V', 'S', is_negative, 3, a, 3, &sdim, wr, wi, z, 3) == 0 && sdim == 2);
  EXPECT(wr[0] < 0 && wr[1] < 0 && is_near(wr[2], 3) && is_near(wr[0] + wr[1], -3));

  float _Complex c[4] = {-I, 0, 1, 2 * I}, w[2], v[4];
  float rconde = 0, rcondv = 0;
  EXPECT(nuv_cgeesx('N', 'S', is_above, 'B', 2, c, 2, &sdim, w, v, 1, &rconde, &rcondv) == 0 && sdim == 1);
  EXPECT(cabsf(w[0] - 2 * I) < 1e-5F && rconde > 0 && rconde < 1 && rcondv > 1);
  EXPECT(nuv_dgees('V', 'N', NULL, 3, a, 3, &sdim, wr, wi, z, 3) == 0 && sdim == 0);
}

static int grants = 0, kept = 0;
static size_t largest_request = 0;

static void* granted_some(size_t size) {
  if (size > largest_request) largest_request = size;
  if (grants-- <= 0) return NULL;
  ++kept;
  return malloc(size);
}

static void taken_back(void* memory) {
  --kept;
  free(memory);
}

static void tells_of_refused_memory(void) {
  double none[1] = {0}, a[1] = {5}, w[1];
  i_malloc = granted_some;
  i_free = taken_back;

  /* What fits no type is asked of nobody: here, the larger of two workspaces. */
  grants = 1;
  EXPECT(nuv_dsyevd('V', 'L', 40000, none, 40000, none) == NUV_NO_MEMORY && largest_request < 1000000);
  EXPECT(nuv_dbdsdc('U', 'I', INT_MAX, none, none, none, INT_MAX, none, INT_MAX, none, NULL) == NUV_NO_MEMORY);

  /* The first of two workspaces is given back if the second is refused. */
  for (int granted = 0; granted < 2; ++granted) {
    grants = granted;
    EXPECT(nuv_dsyevd('V', 'L', 1, a, 1, w) == NUV_NO_MEMORY && a[0] == 5);
  }
  grants = 2;
  EXPECT(nuv_dsyevd('V', 'L', 1, a, 1, w) == 0 && a[0] == 1 && w[0] == 5);
  grants = 0;
  EXPECT(nuv_dlange('I', 1, 1, a, 1) == NUV_NO_MEMORY);
  EXPECT(nuv_dlarf('L', 1, 1, a, 1, 0.5, w, 1) == NUV_NO_MEMORY && w[0] == 5);
  EXPECT(kept == 0);
  i_malloc = malloc;
  i_free = free;
}

int main(void) {
  solves_and_reports();
  takes_options_by_value();
  returns_values();
  sets_what_pointers_lead_to();
  asks_functions_of_the_caller();
  tells_of_refused_memory();
  return failures != 0;
}
