#include "nonsymmetric/general_calls.hpp"

#include <cmath>

#include "routines.hpp"

namespace nuv::test {

// ------------------------------------------------------------------------------------------------------------ calls

template <Scalar T>
WorkSizes Geev<T>::least(const Call& c) {
  const std::int64_t n = c.n, each = ComplexScalar<T> ? 2 : c.wants_left() || c.wants_right() ? 4 : 3;
  return {std::max<std::int64_t>(1, each * n), ComplexScalar<T> ? 2 * n : 0, 0};
}

template <Scalar T>
void Geev<T>::run(Call& c) {
  const Matrix<T> A{c.A.data(), c.lda}, VL{c.VL.data(), c.ldvl}, VR{c.VR.data(), c.ldvr};
  if constexpr (ComplexScalar<T>) {
    routine_call::geev(c.jobvl, c.jobvr, c.n, A, c.w.data(), VL, VR, c.work.data(), c.lwork, c.rwork.data(), c.info);
  } else {
    routine_call::geev(c.jobvl, c.jobvr, c.n, A, c.wr.data(), c.wi.data(), VL, VR, c.work.data(), c.lwork, c.info);
  }
}

template <Scalar T>
WorkSizes Geevx<T>::least(const Call& c) {
  const std::int64_t n = c.n, each = RealScalar<T> && (c.wants_left() || c.wants_right()) ? 3 : 2;
  const bool of_vectors = is_one_of(c.sense, 'V', 'B');
  const std::int64_t work = of_vectors ? n * n + (RealScalar<T> ? 6 : 2) * n : each * n;
  return {std::max<std::int64_t>(1, work), ComplexScalar<T> ? 2 * n : 0,
          RealScalar<T> && of_vectors ? std::max<std::int64_t>(0, 2 * n - 2) : 0};
}

template <Scalar T>
void Geevx<T>::run(Call& c) {
  const Matrix<T> A{c.A.data(), c.lda}, VL{c.VL.data(), c.ldvl}, VR{c.VR.data(), c.ldvr};
  if constexpr (ComplexScalar<T>) {
    routine_call::geevx(c.balanc, c.jobvl, c.jobvr, c.sense, c.n, A, c.w.data(), VL, VR, c.ilo, c.ihi, c.scale.data(),
                        c.abnrm, c.rconde.data(), c.rcondv.data(), c.work.data(), c.lwork, c.rwork.data(), c.info);
  } else {
    routine_call::geevx(c.balanc, c.jobvl, c.jobvr, c.sense, c.n, A, c.wr.data(), c.wi.data(), VL, VR, c.ilo, c.ihi,
                        c.scale.data(), c.abnrm, c.rconde.data(), c.rcondv.data(), c.work.data(), c.lwork,
                        c.iwork.data(), c.info);
  }
}

template <Scalar T>
WorkSizes Gees<T>::least(const Call& c) {
  const std::int64_t n = c.n;
  return {std::max<std::int64_t>(1, (ComplexScalar<T> ? 2 : 3) * n), ComplexScalar<T> ? n : 0, 0};
}

template <Scalar T>
void Gees<T>::run(Call& c) {
  const Matrix<T> A{c.A.data(), c.lda}, VS{c.VS.data(), c.ldvs};
  if constexpr (ComplexScalar<T>) {
    routine_call::gees(c.jobvs, c.sort, c.select, c.n, A, c.sdim, c.w.data(), VS, c.work.data(), c.lwork,
                       c.rwork.data(), c.bwork.data(), c.info);
  } else {
    routine_call::gees(c.jobvs, c.sort, c.select, c.n, A, c.sdim, c.wr.data(), c.wi.data(), VS, c.work.data(), c.lwork,
                       c.bwork.data(), c.info);
  }
}

template <Scalar T>
WorkSizes Geesx<T>::least(const Call& c) {
  WorkSizes sizes = Gees<T>::least(c);
  if (RealScalar<T>) sizes.iwork = 1;
  return sizes;
}

template <Scalar T>
void Geesx<T>::run(Call& c) {
  const Matrix<T> A{c.A.data(), c.lda}, VS{c.VS.data(), c.ldvs};
  if constexpr (ComplexScalar<T>) {
    routine_call::geesx(c.jobvs, c.sort, c.select, c.sense, c.n, A, c.sdim, c.w.data(), VS, c.rconde, c.rcondv,
                        c.work.data(), c.lwork, c.rwork.data(), c.bwork.data(), c.info);
  } else {
    routine_call::geesx(c.jobvs, c.sort, c.select, c.sense, c.n, A, c.sdim, c.wr.data(), c.wi.data(), VS, c.rconde,
                        c.rcondv, c.work.data(), c.lwork, c.iwork.data(), c.liwork, c.bwork.data(), c.info);
  }
}

// --------------------------------------------------------------------------------------------------------- measures

namespace {

template <RealScalar R>
using Columns = WideMatrix<std::complex<R>>;

template <Scalar T>
Columns<Real<T>> as_complex(const GuardedMatrix<T>& A) {
  return wide(A).template cast<std::complex<WideReal<T>>>();
}

template <RealScalar R>
double residual(const Columns<R>& A, const Columns<R>& V, const std::vector<std::complex<WideReal<R>>>& w) {
  const Eigen::Index n = A.rows();
  if (n == 0) return 0;
  Random random(77);
  Columns<R> X(n, 3);
  for (Eigen::Index j = 0; j < X.cols(); ++j) {
    for (Eigen::Index i = 0; i < n; ++i) X(i, j) = random.integer(0, 1) == 0 ? -1 : 1;
  }
  Columns<R> WX = X;
  for (Eigen::Index i = 0; i < n; ++i) WX.row(i) *= w[std::size_t(i)];
  using C = std::complex<R>;
  const Columns<R> rest = product<C>(A, product<C>(V, X)) - product<C>(V, WX);
  const double norms = one_norm<C>(A) * one_norm<C>(V);
  const double size = one_norm<C>(rest);
  return size == 0 ? 0 : size / (norms * double(n) * double(epsilon<R>));
}

}  // namespace

template <Scalar T>
double unitarity(const GuardedMatrix<T>& Z) {
  const WideMatrix<T> wide_z = wide(Z);
  WideMatrix<T> rest = product<T>(op<T>('C', wide_z), wide_z);
  for (Eigen::Index j = 0; j < rest.cols(); ++j) rest(j, j) -= Wide<T>(1);
  const double size = one_norm<T>(rest);
  return size == 0 ? 0 : size / (Z.rows() * double(epsilon<T>));
}

template <Scalar T>
ComplexMatrix<T> eigenvectors(const EigenCall<T>& call, const GuardedMatrix<T>& V) {
  ComplexMatrix<T> all = as_complex<T>(V);
  if constexpr (RealScalar<T>) {
    const std::complex<WideReal<T>> i(0, 1);
    for (Eigen::Index j = 0; j < all.cols(); ++j) {
      if (!(call.wi(Int(j) + 1) > 0) || j + 1 == all.cols()) continue;
      all.col(j) += i * all.col(j + 1);
      all.col(j + 1) = all.col(j).conjugate();
      ++j;
    }
  }
  return all;
}

template <Scalar T>
double right_residual(const GuardedMatrix<T>& A, const EigenCall<T>& call) {
  std::vector<std::complex<WideReal<T>>> w;
  for (Int i = 1; i <= call.n; ++i) w.emplace_back(call.value(i));
  return residual<Real<T>>(as_complex<T>(A), eigenvectors(call, call.VR), w);
}

template <Scalar T>
double left_residual(const GuardedMatrix<T>& A, const EigenCall<T>& call) {
  std::vector<std::complex<WideReal<T>>> w;
  for (Int i = 1; i <= call.n; ++i) w.emplace_back(std::conj(std::complex<WideReal<T>>(call.value(i))));
  return residual<Real<T>>(as_complex<T>(A).adjoint(), eigenvectors(call, call.VL), w);
}

template <Scalar T>
testing::AssertionResult are_normalised(const EigenCall<T>& call, const GuardedMatrix<T>& V) {
  const ComplexMatrix<T> all = eigenvectors(call, V);
  const double few = 4 * double(epsilon<T>);
  for (Eigen::Index j = 0; j < all.cols(); ++j) {
    if (!(std::abs(double(all.col(j).norm()) - 1) < few * std::sqrt(double(call.n)))) {
      return testing::AssertionFailure() << "vector " << j + 1 << " has norm 1 + " << double(all.col(j).norm()) - 1;
    }
    bool is_real = false;
    const WideReal<T> largest = all.col(j).cwiseAbs().maxCoeff();
    for (const std::complex<WideReal<T>>& x : all.col(j)) {
      is_real |= x.imag() == 0 && std::abs(x) >= largest * WideReal<T>(1 - few);
    }
    if (!is_real) return testing::AssertionFailure() << "vector " << j + 1 << " has no largest component that is real";
  }
  return testing::AssertionSuccess();
}

template <Scalar T>
testing::AssertionResult are_pairs(const GeneralCall<T>& call) {
  if constexpr (RealScalar<T>) {
    for (Int i = 1; i <= call.n; ++i) {
      if (call.wi(i) == 0) continue;
      if (i == call.n || !(call.wi(i) > 0) || call.wr(i) != call.wr(i + 1) || call.wi(i + 1) != -call.wi(i)) {
        return testing::AssertionFailure() << "eigenvalue " << i << " begins no pair";
      }
      ++i;
    }
  }
  return testing::AssertionSuccess();
}

template <Scalar T>
ExactSpectrum exact_spectrum(const GuardedMatrix<T>& A) {
  return spectrum_of(as_complex<T>(A).template cast<std::complex<long double>>());
}

template <Scalar T>
double value_error(const GeneralCall<T>& call, const ExactSpectrum& exact) {
  std::vector<bool> taken(exact.values.size());
  double largest = 0;
  for (const std::complex<double>& value : call.values()) {
    std::size_t nearest = taken.size();
    for (std::size_t i = 0; i < taken.size(); ++i) {
      const bool is_nearer =
          nearest == taken.size() || std::abs(value - exact.values[i]) < std::abs(value - exact.values[nearest]);
      if (!taken[i] && is_nearer) nearest = i;
    }
    if (nearest == taken.size() || std::isnan(std::abs(value))) return HUGE_VAL;
    taken[nearest] = true;
    const double distance = std::abs(value - exact.values[nearest]);
    const double unit = exact.conditions[nearest] * exact.norm * call.n * double(epsilon<T>);
    if (distance > 0) largest = std::max(largest, distance / unit);
  }
  return largest;
}

#define NUV_INSTANTIATE(T)                                                                           \
  template struct Geev<T>;                                                                           \
  template struct Geevx<T>;                                                                          \
  template struct Gees<T>;                                                                           \
  template struct Geesx<T>;                                                                          \
  template double unitarity<T>(const GuardedMatrix<T>&);                                             \
  template ComplexMatrix<T> eigenvectors<T>(const EigenCall<T>&, const GuardedMatrix<T>&);           \
  template double right_residual<T>(const GuardedMatrix<T>&, const EigenCall<T>&);                   \
  template double left_residual<T>(const GuardedMatrix<T>&, const EigenCall<T>&);                    \
  template testing::AssertionResult are_normalised<T>(const EigenCall<T>&, const GuardedMatrix<T>&); \
  template testing::AssertionResult are_pairs<T>(const GeneralCall<T>&);                             \
  template ExactSpectrum exact_spectrum<T>(const GuardedMatrix<T>&);                                 \
  template double value_error<T>(const GeneralCall<T>&, const ExactSpectrum&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
