// Complex matrices of Eigen, handed to nuv by data() and outerStride(): a block of a larger matrix is solved with in
// place.
#include <Eigen/Core>
#include <complex>
#include <cstdio>
#include <nuv/nuv.hpp>
#include <vector>

int main() {
  using Matrix = Eigen::MatrixXcd;
  const std::complex<double> i(0, 1);
  Matrix impedance(4, 4);
  impedance << 9, 0, 0, 0,  //
      0, 2.0 + i, -1, 0,    //
      0, -1, 2.0 + i, -1,   //
      0, 0, -1, 2.0 + i;    //
  Eigen::Ref<Matrix> circuit = impedance.bottomRightCorner(3, 3);
  const int n = static_cast<int>(circuit.rows()), ld = static_cast<int>(circuit.outerStride());

  Eigen::VectorXcd current(3);
  current << 1, 0, 0;
  const double size = nuv::lange(nuv::Norm::one, n, n, circuit.data(), ld);

  std::vector<int> pivots(n);
  if (nuv::gesv(n, 1, circuit.data(), ld, pivots.data(), current.data(), n) != 0) return 1;
  double rcond = 0;
  if (nuv::gecon(nuv::Norm::one, n, circuit.data(), ld, size, rcond) != 0) return 1;

  for (const std::complex<double>& x : current) std::printf("%.4f %+.4f i\n", x.real(), x.imag());
  std::printf("condition %.1f\n", 1 / rcond);
}
