#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "residual.hpp"
#include "routines.hpp"
#include "solvers.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

/// ?sysvx or ?hesvx.
template <auto expert, Scalar T>
Solution<T> solve_indefinite(const DenseMatrix<T>& a, const DenseMatrix<T>& b) {
  const Int n = a.rows, nrhs = b.columns, lda = a.ld(), ldb = b.ld();
  Solution<T> s(n, nrhs);
  DenseMatrix<T> factors(n, n);
  std::vector<Int> pivots(static_cast<std::size_t>(n));
  ConditionWorkspace<T> space(n);
  const auto call = [&](std::vector<T>& work, Int lwork) {
    expert("N", &triangle, &n, &nrhs, a.elements.data(), &lda, factors.elements.data(), &lda, pivots.data(),
           b.elements.data(), &ldb, s.x.elements.data(), &ldb, &s.rcond, s.forward.data(), s.backward.data(),
           work.data(), &lwork, space.second.data(), &s.info, 1, 1);
    require_accepted(s.info);
  };
  std::vector<T> best(1);
  call(best, -1);
  const auto lwork = static_cast<std::size_t>(std::real(best.front()));
  std::vector<T> work(std::max(lwork, space.first.size()));
  call(work, static_cast<Int>(work.size()));
  return s;
}

// ---------------------------------------------------------------------------------------------------- mixed precision

/// What dsgesv did, by its `iter`.
std::string course_of(Int iter) {
  switch (iter) {
    case -2:
      return "numbers beyond single precision: factored in double precision";
    case -3:
      return "singular in single precision: factored in double precision";
    default:
      if (iter < 0) return "no convergence with factors in single precision: factored in double precision";
      return fmt::format("factored in single precision, {} steps of refinement", iter);
  }
}

double reciprocal_condition(const DenseMatrix<double>& factors, double norm) {
  const Int n = factors.rows, ld = factors.ld();
  ConditionWorkspace<double> space(n);
  double rcond = 0;
  Int info = 0;
  Routines<double>::gecon("1", &n, factors.elements.data(), &ld, &norm, &rcond, space.first.data(), space.second.data(),
                          &info, 1);
  require_accepted(info);
  return rcond;
}

/// Factors of A in double precision for the judgement of a solution, in place of those in single precision. These are
/// the factors of a matrix that differs from A by rounding errors of some sqrt(n) units: the more a condition number
/// comes near the reciprocal of that, the less it says about A.
void take_better_factors(const DenseMatrix<double>& a, DenseMatrix<double>& factors, std::vector<Int>& pivots,
                         Solution<double>& s, double norm) {
  const double trusted = std::sqrt(static_cast<double>(a.rows)) * std::numeric_limits<float>::epsilon();
  if (s.rcond >= trusted) return;
  const Int n = a.rows, ld = a.ld();
  factors = a;
  Routines<double>::getrf(&n, &n, factors.elements.data(), &ld, pivots.data(), &s.info);
  require_accepted(s.info);
  s.rcond = s.info == 0 ? reciprocal_condition(factors, norm) : 0;
  s.course += "; judged by factors in double precision, as it is ill-conditioned";
}

}  // namespace

template <Scalar T>
Solution<T> solve_by_lu(DenseMatrix<T> a, DenseMatrix<T> b) {
  const Int n = a.rows, nrhs = b.columns, lda = a.ld(), ldb = b.ld();
  Solution<T> s(n, nrhs);
  DenseMatrix<T> factors(n, n);
  std::vector<Int> pivots(static_cast<std::size_t>(n));
  std::vector<Real<T>> r(pivots.size()), c(pivots.size());
  ConditionWorkspace<T> space(n);
  Routines<T>::gesvx("E", "N", &n, &nrhs, a.elements.data(), &lda, factors.elements.data(), &lda, pivots.data(),
                     &s.equilibrated, r.data(), c.data(), b.elements.data(), &ldb, s.x.elements.data(), &ldb, &s.rcond,
                     s.forward.data(), s.backward.data(), space.first.data(), space.second.data(), &s.info, 1, 1, 1);
  require_accepted(s.info);
  return s;
}

template <Scalar T>
Solution<T> solve_by_cholesky(DenseMatrix<T> a, DenseMatrix<T> b) {
  const Int n = a.rows, nrhs = b.columns, lda = a.ld(), ldb = b.ld();
  Solution<T> s(n, nrhs);
  DenseMatrix<T> factors(n, n);
  std::vector<Real<T>> scale(static_cast<std::size_t>(n));
  ConditionWorkspace<T> space(n);
  Routines<T>::posvx("E", &triangle, &n, &nrhs, a.elements.data(), &lda, factors.elements.data(), &lda, &s.equilibrated,
                     scale.data(), b.elements.data(), &ldb, s.x.elements.data(), &ldb, &s.rcond, s.forward.data(),
                     s.backward.data(), space.first.data(), space.second.data(), &s.info, 1, 1, 1);
  require_accepted(s.info);
  return s;
}

template <Scalar T>
Solution<T> solve_symmetric(const DenseMatrix<T>& a, const DenseMatrix<T>& b) {
  return solve_indefinite<Routines<T>::sysvx>(a, b);
}

template <Scalar T>
Solution<T> solve_hermitian(const DenseMatrix<T>& a, const DenseMatrix<T>& b) {
  return solve_indefinite<Routines<T>::hesvx>(a, b);
}

Solution<double> solve_mixed(const DenseMatrix<double>& a, const DenseMatrix<double>& b) {
  const Int n = a.rows, nrhs = b.columns, lda = a.ld(), ldb = b.ld();
  const std::size_t size = a.elements.size();
  Solution<double> s(n, nrhs);
  DenseMatrix<double> factors = a;
  std::vector<Int> pivots(static_cast<std::size_t>(n));
  Int iter = 0;
  {
    std::vector<double> residuals(b.elements.size());
    std::vector<float> single(size + b.elements.size());
    nuv_lapack_dsgesv(&n, &nrhs, factors.elements.data(), &lda, pivots.data(), b.elements.data(), &ldb,
                      s.x.elements.data(), &ldb, residuals.data(), single.data(), &iter, &s.info);
    require_accepted(s.info);
    if (iter >= 0) std::copy_n(single.begin(), size, factors.elements.begin());
  }
  s.course = course_of(iter);
  if (s.info != 0) return s;

  const auto norm = static_cast<double>(std::min<long double>(one_norm(a), std::numeric_limits<double>::max()));
  s.rcond = reciprocal_condition(factors, norm);
  if (iter >= 0) take_better_factors(a, factors, pivots, s, norm);
  if (s.info != 0) return s;
  ConditionWorkspace<double> space(n);
  nuv_lapack_dgerfs("N", &n, &nrhs, a.elements.data(), &lda, factors.elements.data(), &lda, pivots.data(),
                    b.elements.data(), &ldb, s.x.elements.data(), &ldb, s.forward.data(), s.backward.data(),
                    space.first.data(), space.second.data(), &s.info, 1);
  require_accepted(s.info);
  if (s.rcond < std::numeric_limits<double>::epsilon() / 2) s.info = n + 1;
  return s;
}

#define NUV_INSTANTIATE(T)                                                            \
  template Solution<T> solve_by_lu(DenseMatrix<T>, DenseMatrix<T>);                   \
  template Solution<T> solve_by_cholesky(DenseMatrix<T>, DenseMatrix<T>);             \
  template Solution<T> solve_symmetric(const DenseMatrix<T>&, const DenseMatrix<T>&); \
  template Solution<T> solve_hermitian(const DenseMatrix<T>&, const DenseMatrix<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
