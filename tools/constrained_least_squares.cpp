#include "constrained_least_squares.hpp"

#include <algorithm>
#include <cmath>
#include <complex>

#include "least_squares.hpp"
#include "routines.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

/// max (|re|, |im|), by which matrices are brought to a common size.
template <Scalar T>
Real<T> largest_part(const DenseMatrix<T>& a) {
  Real<T> largest = 0;
  for (const T& element : a.elements) {
    largest = std::max({largest, std::abs(std::real(element)), std::abs(std::imag(element))});
  }
  return largest;
}

template <Scalar T>
void copy_in_units(const DenseMatrix<T>& a, DenseMatrix<T>& stack, Int first_row) {
  const Real<T> largest = largest_part(a), unit = largest == 0 ? Real<T>(1) : largest;
  for (Int j = 1; j <= a.columns; ++j) {
    std::transform(a.column(j), a.column(j) + a.rows, stack.column(j) + (first_row - 1), [&](T x) { return x / unit; });
  }
}

}  // namespace

template <Scalar T>
ConstrainedRanks constrained_ranks(const DenseMatrix<T>& a, const DenseMatrix<T>& c, double tolerance) {
  DenseMatrix<T> stack(a.rows + c.rows, a.columns);
  copy_in_units(a, stack, 1);
  copy_in_units(c, stack, a.rows + 1);
  return {rank_of(c, tolerance), rank_of(stack, tolerance)};
}

template <Scalar T>
DenseMatrix<T> constrained_least_squares(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const DenseMatrix<T>& c,
                                         const DenseMatrix<T>& d) {
  DenseMatrix<T> x(a.columns, b.columns);
  const Int lda = a.ld(), ldc = c.ld();
  // The driver destroys what it is given, and takes one right-hand side.
  for (Int j = 1; j <= b.columns; ++j) {
    DenseMatrix<T> matrix = a, constraints = c;
    std::vector<T> right(b.column(j), b.column(j) + b.rows), values(d.column(j), d.column(j) + d.rows);
    with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
      Routines<T>::gglse(&a.rows, &a.columns, &c.rows, matrix.elements.data(), &lda, constraints.elements.data(), &ldc,
                         right.data(), values.data(), x.column(j), work, lwork, info);
    });
  }
  return x;
}

#define NUV_INSTANTIATE(T)                                                                           \
  template ConstrainedRanks constrained_ranks(const DenseMatrix<T>&, const DenseMatrix<T>&, double); \
  template DenseMatrix<T> constrained_least_squares(const DenseMatrix<T>&, const DenseMatrix<T>&,    \
                                                    const DenseMatrix<T>&, const DenseMatrix<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
