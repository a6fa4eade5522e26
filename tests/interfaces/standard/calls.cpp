// Calls standard names alone, as a C++ program declares them. Prints what they give.

#include <complex>
#include <cstdio>
#include <vector>

using Complex = std::complex<double>;

extern "C" {
void zheev_(const char*, const char*, const int*, Complex*, const int*, double*, Complex*, const int*, double*, int*);
void sgemv_(const char*, const int*, const int*, const float*, const float*, const int*, const float*, const int*,
            const float*, float*, const int*);
double dnrm2_(const int*, const double*, const int*);
void drotg_(double*, double*, double*, double*);
}

int main() {
  const int n = 2, one = 1, query = -1;
  std::vector<Complex> a{2, {0, -1}, {0, 1}, 2};  // [2 i; -i 2], with eigenvalues 1 and 3
  std::vector<double> w(n), rwork(3 * n);
  Complex size;
  int info;
  zheev_("V", "L", &n, a.data(), &n, w.data(), &size, &query, rwork.data(), &info);
  std::vector<Complex> work(static_cast<int>(size.real()));
  const int room = static_cast<int>(work.size());
  zheev_("V", "L", &n, a.data(), &n, w.data(), work.data(), &room, rwork.data(), &info);
  const Complex product = std::conj(a[0]) * a[2] + std::conj(a[1]) * a[3];  // the vectors are orthogonal
  std::printf("zheev %d %.12g %.12g %d\n", info, w[0], w[1], std::abs(product) < 1e-14);

  const float matrix[] = {1, 2, 3, 4}, x[] = {1, 1}, factor = 1, nothing = 0;
  float y[2];
  sgemv_("T", &n, &n, &factor, matrix, &n, x, &one, &nothing, y, &one);
  std::printf("sgemv %g %g\n", y[0], y[1]);

  double p = 3, q = 4, c, s;
  drotg_(&p, &q, &c, &s);
  const double sides[] = {c, s};
  std::printf("drotg %g %g %g, dnrm2 %g\n", p, c, s, dnrm2_(&n, sides, &one));
}
