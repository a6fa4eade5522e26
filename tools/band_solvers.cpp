#include "routines.hpp"
#include "solvers.hpp"
#include "workspace.hpp"

namespace nuv::tools {

template <Scalar T>
Solution<T> solve_by_lu(BandMatrix<T> a, DenseMatrix<T> b) {
  const Int n = a.rows, nrhs = b.columns, ldab = a.ld(), ldb = b.ld();
  Solution<T> s(n, nrhs);
  // Row exchanges fill as many diagonals above the band as it has below the main one.
  BandMatrix<T> factors(n, {a.lower, a.lower + a.upper});
  const Int ldafb = factors.ld();
  std::vector<Int> pivots(static_cast<std::size_t>(n));
  std::vector<Real<T>> r(pivots.size()), c(pivots.size());
  ConditionWorkspace<T> space(n);
  Routines<T>::gbsvx("E", "N", &n, &a.lower, &a.upper, &nrhs, a.elements.data(), &ldab, factors.elements.data(), &ldafb,
                     pivots.data(), &s.equilibrated, r.data(), c.data(), b.elements.data(), &ldb, s.x.elements.data(),
                     &ldb, &s.rcond, s.forward.data(), s.backward.data(), space.first.data(), space.second.data(),
                     &s.info, 1, 1, 1);
  require_accepted(s.info);
  return s;
}

template <Scalar T>
Solution<T> solve_by_cholesky(const BandMatrix<T>& a, DenseMatrix<T> b) {
  const Int n = a.rows, nrhs = b.columns, ldb = b.ld();
  Solution<T> s(n, nrhs);
  BandMatrix<T> lower = with_band(a, {a.lower, 0});
  BandMatrix<T> factor(n, {a.lower, 0});
  const Int ldab = lower.ld();
  std::vector<Real<T>> scale(static_cast<std::size_t>(n));
  ConditionWorkspace<T> space(n);
  Routines<T>::pbsvx("E", &triangle, &n, &a.lower, &nrhs, lower.elements.data(), &ldab, factor.elements.data(), &ldab,
                     &s.equilibrated, scale.data(), b.elements.data(), &ldb, s.x.elements.data(), &ldb, &s.rcond,
                     s.forward.data(), s.backward.data(), space.first.data(), space.second.data(), &s.info, 1, 1, 1);
  require_accepted(s.info);
  return s;
}

#define NUV_INSTANTIATE(T)                                         \
  template Solution<T> solve_by_lu(BandMatrix<T>, DenseMatrix<T>); \
  template Solution<T> solve_by_cholesky(const BandMatrix<T>&, DenseMatrix<T>);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
