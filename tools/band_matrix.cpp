#include "band_matrix.hpp"

#include <utility>

#include "dense_matrix.hpp"

namespace nuv::tools {

Bandwidth bandwidth_of(const StoredMatrix& file) {
  Bandwidth band;
  for_each_element(file, [&](Int i, Int j, std::complex<double> value) {
    if (value == 0.0) return;
    band.lower = std::max(band.lower, i - j);
    band.upper = std::max(band.upper, j - i);
  });
  return band;
}

template <Scalar T>
BandMatrix<T> to_band(StoredMatrix file, Bandwidth band) {
  BandMatrix<T> a(file.rows, band);
  for_each_element(file, [&](Int i, Int j, std::complex<double> value) {
    if (value != 0.0) a(i, j) += narrowed<T>(value);
  });
  require_finite_sums(a.elements, file.file);
  return a;
}

template <Scalar T>
BandMatrix<T> with_band(const BandMatrix<T>& a, Bandwidth band) {
  BandMatrix<T> result(a.rows, band);
  for (Int j = 1; j <= a.columns; ++j) {
    const Int first = std::max(a.first_row(j), result.first_row(j)), last = std::min(a.last_row(j), result.last_row(j));
    std::copy_n(&a(first, j), last - first + 1, &result(first, j));
  }
  return result;
}

#define NUV_INSTANTIATE(T)                                 \
  template BandMatrix<T> to_band(StoredMatrix, Bandwidth); \
  template BandMatrix<T> with_band(const BandMatrix<T>&, Bandwidth);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
