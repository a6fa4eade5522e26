#include "general_eigen_solvers.hpp"

#include <algorithm>
#include <complex>
#include <tuple>
#include <utility>

#include "routines.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

/// Where drivers store eigenvalues: real and imaginary parts apart where the matrix is real.
template <Scalar T>
class StoredValues {
 public:
  explicit StoredValues(Int n) : first_(std::size_t(n)), second_(ComplexScalar<T> ? 0 : std::size_t(n)) {}

  auto arguments() {
    if constexpr (ComplexScalar<T>) return std::tuple(first_.data());
    else return std::tuple(first_.data(), second_.data());
  }

  GeneralValues<T> values() const {
    if constexpr (ComplexScalar<T>) {
      return first_;
    } else {
      GeneralValues<T> result(first_.size());
      for (std::size_t k = 0; k < result.size(); ++k) result[k] = {first_[k], second_[k]};
      return result;
    }
  }

 private:
  std::vector<T> first_;
  std::vector<Real<T>> second_;
};

/// The array behind (work, lwork): real numbers for complex members alone, or integers for some of the real ones.
template <Scalar T, class Second>
auto second_array(std::vector<Real<T>>& reals, Second second) {
  if constexpr (ComplexScalar<T>) return std::tuple(reals.data());
  else return second;
}

/// Eigenvalues and vectors as geev finds them, of the matrix as it stands.
template <Scalar T>
void find_pairs(DenseMatrix<T>& a, char job_left, char job_right, StoredValues<T>& values,
                GeneralEigenpairs<T>& result) {
  const Int n = a.rows, ld = a.ld();
  std::vector<Real<T>> reals(2 * std::size_t(n) + 1);
  result.driver = "geev";
  result.info = with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
    std::apply(
        Routines<T>::geev,
        std::tuple_cat(std::tuple(&job_left, &job_right, &n, a.elements.data(), &ld), values.arguments(),
                       std::tuple(result.left.elements.data(), &ld, result.right.elements.data(), &ld, work, lwork),
                       second_array<T>(reals, std::tuple<>()), std::tuple(info, 1, 1)));
  });
}

/// With condition numbers, for which geevx wants the vectors of either side. A scaling would change them; an exchange
/// of rows and columns does not.
template <Scalar T>
void find_conditions(DenseMatrix<T>& a, StoredValues<T>& values, GeneralEigenpairs<T>& result) {
  const Int n = a.rows, ld = a.ld();
  const char balance = 'P', job = 'V', sense = 'B';
  Int ilo, ihi;
  Real<T> norm;
  std::vector<Real<T>> scale(std::size_t(n) + 1), reals(2 * std::size_t(n) + 1);
  std::vector<Int> integers(2 * std::size_t(n) + 1);
  result.cosines.resize(std::size_t(n));
  result.separations.resize(std::size_t(n));
  result.driver = "geevx";
  result.info = with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
    std::apply(
        Routines<T>::geevx,
        std::tuple_cat(std::tuple(&balance, &job, &job, &sense, &n, a.elements.data(), &ld), values.arguments(),
                       std::tuple(result.left.elements.data(), &ld, result.right.elements.data(), &ld, &ilo, &ihi,
                                  scale.data(), &norm, result.cosines.data(), result.separations.data(), work, lwork),
                       second_array<T>(reals, std::tuple(integers.data())), std::tuple(info, 1, 1, 1, 1)));
  });
}

}  // namespace

template <Scalar T>
GeneralEigenpairs<T> general_eigenpairs(DenseMatrix<T> a, const GeneralEigenRequest& request) {
  const Int n = a.rows;
  const bool left = request.left || request.conditions, right = request.right || request.conditions;
  GeneralEigenpairs<T> result;
  if (left) result.left = DenseMatrix<T>(n, n);
  if (right) result.right = DenseMatrix<T>(n, n);
  StoredValues<T> values(n);
  if (request.conditions) find_conditions(a, values, result);
  else find_pairs(a, left ? 'V' : 'N', right ? 'V' : 'N', values, result);
  result.values = values.values();
  return result;
}

template <Scalar T>
SchurForm<T> schur_form(DenseMatrix<T> a, bool vectors) {
  const Int n = a.rows, ld = a.ld();
  const char job = vectors ? 'V' : 'N', no_order = 'N';
  Int chosen;
  std::vector<Real<T>> reals(std::size_t(n) + 1);
  SchurForm<T> result;
  if (vectors) result.z = DenseMatrix<T>(n, n);
  result.driver = "gees";
  StoredValues<T> values(n);
  result.info = with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
    std::apply(Routines<T>::gees,
               std::tuple_cat(std::tuple(&job, &no_order, nullptr, &n, a.elements.data(), &ld, &chosen),
                              values.arguments(), std::tuple(result.z.elements.data(), &ld, work, lwork),
                              second_array<T>(reals, std::tuple<>()), std::tuple(nullptr, info, 1, 1)));
  });
  result.values = values.values();
  result.t = std::move(a);
  return result;
}

template <Scalar T>
bool any_complex(const GeneralValues<T>& values) {
  return std::any_of(values.begin(), values.end(), [](auto value) { return value.imag() != 0; });
}

template <Scalar T>
DenseMatrix<std::complex<Real<T>>> complex_vectors(const GeneralValues<T>& values, const DenseMatrix<T>& vectors) {
  DenseMatrix<std::complex<Real<T>>> result(vectors.rows, vectors.columns);
  std::copy(vectors.elements.begin(), vectors.elements.end(), result.elements.begin());
  if constexpr (RealScalar<T>) {
    for (Int j = 1; j < vectors.columns; ++j) {
      if (values[std::size_t(j - 1)].imag() == 0) continue;
      for (Int i = 1; i <= vectors.rows; ++i) {
        result(i, j) = {vectors(i, j), vectors(i, j + 1)};
        result(i, j + 1) = std::conj(result(i, j));
      }
      ++j;
    }
  }
  return result;
}

#define NUV_INSTANTIATE(T)                                                                      \
  template GeneralEigenpairs<T> general_eigenpairs(DenseMatrix<T>, const GeneralEigenRequest&); \
  template SchurForm<T> schur_form(DenseMatrix<T>, bool);                                       \
  template bool any_complex<T>(const GeneralValues<T>&);                                        \
  template DenseMatrix<std::complex<Real<T>>> complex_vectors(const GeneralValues<T>&, const DenseMatrix<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
