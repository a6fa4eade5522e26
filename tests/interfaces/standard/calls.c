/* Calls standard names alone, as a C program declares them. Prints what they give. */

#include <complex.h>
#include <math.h>
#include <stdio.h>

void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*, const int*,
            const double*, const int*, const double*, double*, const int*);
void dgesv_(const int*, const int*, double*, const int*, int*, double*, const int*, int*);
void dgesdd_(const char*, const int*, const int*, double*, const int*, double*, double*, const int*, double*,
             const int*, double*, const int*, int*, int*);
float sdot_(const int*, const float*, const int*, const float*, const int*);
double dsdot_(const int*, const float*, const int*, const float*, const int*);
float sdsdot_(const int*, const float*, const float*, const int*, const float*, const int*);
float _Complex cdotc_(const int*, const float _Complex*, const int*, const float _Complex*, const int*);
double _Complex zdotu_(const int*, const double _Complex*, const int*, const double _Complex*, const int*);
double _Complex zladiv_(const double _Complex*, const double _Complex*);
float scabs1_(const float _Complex*);
float scnrm2_(const int*, const float _Complex*, const int*);
double dlamch_(const char*);
double dlange_(const char*, const int*, const int*, const double*, const int*, double*);
int izamax_(const int*, const double _Complex*, const int*);
int lsame_(const char*, const char*);
int disnan_(const double*);
int ilaenv_(const int*, const char*, const char*, const int*, const int*, const int*, const int*, size_t, size_t);
double dsecnd_(void);
float second_(void);

static const int one = 1, two = 2, none = -1;

int main(void) {
  const double a[] = {1, 3, 2, 4}, unit = 1, nothing = 0;
  double c[4];
  dgemm_("N", "T", &two, &two, &two, &unit, a, &two, a, &two, &nothing, c, &two);
  printf("dgemm %g %g %g %g\n", c[0], c[1], c[2], c[3]);

  double system[] = {2, 4, 8, 1, 3, 7, 1, 3, 9}, x[] = {4, 10, 24};
  int pivots[3], info;
  const int three = 3;
  dgesv_(&three, &one, system, &three, pivots, x, &three, &info);
  printf("dgesv %d %.12g %.12g %.12g\n", info, x[0], x[1], x[2]);

  double matrix[] = {3, 0, 0, -4}, values[2], u[4], vt[4], work[200];
  int iwork[16];
  const int room = 200;
  dgesdd_("A", &two, &two, matrix, &two, values, u, &two, vt, &two, work, &room, iwork, &info);
  printf("dgesdd %d %.12g %.12g %.12g\n", info, values[0], values[1], fabs(u[1]));

  const float r[] = {1, 2}, s[] = {3, 4}, half = 0.5F;
  printf("sdot %g %g %g\n", sdot_(&two, r, &one, s, &one), dsdot_(&two, r, &one, s, &one),
         sdsdot_(&two, &half, r, &one, s, &one));

  const float _Complex v[] = {1 + 2 * I, 3}, w[] = {I, 1 - I};
  const float _Complex conjugated = cdotc_(&two, v, &one, w, &one);
  printf("cdotc %g %g\n", crealf(conjugated), cimagf(conjugated));
  const double _Complex p[] = {1 + 2 * I, 3, -4}, q[] = {I, 1 - I, 0};
  const double _Complex plain = zdotu_(&three, p, &one, q, &one), quotient = zladiv_(&p[0], &q[0]);
  printf("zdotu %g %g\nzladiv %g %g\n", creal(plain), cimag(plain), creal(quotient), cimag(quotient));
  printf("scabs1 %g, scnrm2 %g, izamax %d\n", scabs1_(&w[1]), scnrm2_(&one, &v[1], &one), izamax_(&three, p, &one));

  const double not_a_number = NAN;
  printf("lsame %d %d, disnan %d %d\n", lsame_("n", "N"), lsame_("n", "T"), disnan_(&not_a_number), disnan_(&unit));
  printf("dlamch %d, dlange %g\n", dlamch_("P") == 0x1p-52, dlange_("M", &two, &two, a, &two, work));
  printf("ilaenv %d\n", ilaenv_(&one, "DGEQRF", " ", &room, &room, &none, &none, 6, 1) > 1);
  printf("time %d\n", dsecnd_() > 0 && second_() > 0);
  return 0;
}
