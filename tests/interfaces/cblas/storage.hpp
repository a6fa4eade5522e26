#pragma once

// Matrices and vectors in every storage of the C interface, in both layouts, and plain sums of products to hold results
// against. All is counted from zero; reference numbers are complex and wide whatever the precision under test.

#include <nuv/cblas.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <vector>

#include "support/guarded.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"

namespace nuv::test {

inline constexpr CBLAS_LAYOUT layouts[] = {CblasRowMajor, CblasColMajor};
inline constexpr CBLAS_TRANSPOSE all_trans[] = {CblasNoTrans, CblasTrans, CblasConjTrans};
inline constexpr CBLAS_UPLO all_uplo[] = {CblasUpper, CblasLower};
inline constexpr CBLAS_DIAG all_diag[] = {CblasNonUnit, CblasUnit};
inline constexpr CBLAS_SIDE all_sides[] = {CblasLeft, CblasRight};

using WideScalar = std::complex<long double>;

/// A matrix as mathematics has it.
class Dense {
 public:
  Dense(Int m, Int n) : m_(m), n_(n), elements_(std::size_t(m) * std::size_t(n)) {}
  Int rows() const { return m_; }
  Int columns() const { return n_; }
  WideScalar& operator()(Int i, Int j) { return elements_[std::size_t(i) + std::size_t(j) * std::size_t(m_)]; }
  const WideScalar& operator()(Int i, Int j) const { return const_cast<Dense&>(*this)(i, j); }

 private:
  Int m_, n_;
  std::vector<WideScalar> elements_;
};

Dense op(CBLAS_TRANSPOSE trans, const Dense& A);

/// A sum of matrices and products, and for each element the sum of the magnitudes of its terms.
class Sum {
 public:
  Sum(Int m, Int n) : value_(m, n), magnitude_(m, n) {}

  /// += factor A; nothing if the factor is zero, whatever A holds.
  Sum& add(WideScalar factor, const Dense& A);

  /// += factor A B
  Sum& add(WideScalar factor, const Dense& A, const Dense& B);

  /// The same where the product is alone.
  static Sum product(WideScalar factor, const Dense& A, const Dense& B);

  /// How far `computed` is from element (i, j), in units of eps and what its terms make of that.
  double error_of(Int i, Int j, WideScalar computed, double eps) const;

 private:
  Dense value_, magnitude_;
  int terms_ = 0;
};

/// Where the elements of a matrix stand.
struct Storage {
  enum Kind { full, band, packed, strided };
  enum Part { all, upper, lower };

  Kind kind;
  CBLAS_LAYOUT layout;
  Part part;
  Int m, n;
  Int ld;  ///< the increment of a vector
  Int kl, ku;

  /// Place of element (i, j), or -1 if it is not stored.
  std::ptrdiff_t index(Int i, Int j) const;
  std::size_t size() const;
};

/// Leading dimensions are greater than needed by `more`.
Storage general(CBLAS_LAYOUT layout, Int m, Int n, Int more);
Storage triangle(CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n, Int more);
Storage general_band(CBLAS_LAYOUT layout, Int m, Int n, Int kl, Int ku, Int more);
Storage triangle_band(CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n, Int k, Int more);
Storage packed_triangle(CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n);
Storage vector_of(Int n, Int inc);

/// What a triangle stands for.
enum class Meaning { as_stored, symmetric, hermitian, unit_triangle };

/// The matrix of which `stored` has the stored elements and zeros elsewhere.
Dense completed(Meaning meaning, Storage::Part part, Dense stored);

/// An array for a routine under test. What is not stored holds guards.
template <Scalar T>
class Stored {
 public:
  /// Random elements; those of a diagonal that has no part in the matrix are guards, others can be divided by.
  Stored(Random& random, const Storage& storage, Meaning meaning = Meaning::as_stored)
      : storage_(storage), meaning_(meaning), elements_(storage.size() + 2 * margin, guard<T>()) {
    const bool is_triangle = storage.part != Storage::all;
    for_each([&](Int i, Int j, T& element) {
      if (is_triangle && i == j) {
        if (meaning != Meaning::unit_triangle) element = random.divisor<T>();
      } else {
        element = random.scalar<T>() / Real<T>(is_triangle ? storage.n : 1);
      }
    });
    kept_ = elements_;
  }

  /// Holds guards alone: what is to be written without being read.
  explicit Stored(const Storage& storage)
      : storage_(storage),
        meaning_(Meaning::as_stored),
        elements_(storage.size() + 2 * margin, guard<T>()),
        kept_(elements_) {}

  T* data() { return elements_.data() + margin; }
  Int ld() const { return storage_.ld; }

  Dense dense() const {
    Dense matrix(storage_.m, storage_.n);
    const_cast<Stored&>(*this).for_each([&](Int i, Int j, T element) { matrix(i, j) = WideScalar(element); });
    return completed(meaning_, storage_.part, matrix);
  }

  bool unchanged() const { return std::memcmp(elements_.data(), kept_.data(), elements_.size() * sizeof(T)) == 0; }

  /// Expects the elements of a sum, and that nothing else was written.
  void expect(const Sum& expected) {
    double error = 0;
    for_each([&](Int i, Int j, T& element) {
      const double here = expected.error_of(i, j, WideScalar(element), epsilon<T>);
      if (!std::isnan(error) && !(here <= error)) error = here;
      element = kept_[place(i, j)];
    });
    EXPECT_LE(error, 10);
    EXPECT_TRUE(unchanged());
  }

 private:
  static constexpr std::size_t margin = 32;

  std::size_t place(Int i, Int j) const { return margin + std::size_t(storage_.index(i, j)); }

  template <class Body>
  void for_each(Body body) {
    for (Int j = 0; j < storage_.n; ++j) {
      for (Int i = 0; i < storage_.m; ++i) {
        if (storage_.index(i, j) >= 0) body(i, j, elements_[place(i, j)]);
      }
    }
  }

  Storage storage_;
  Meaning meaning_;
  std::vector<T> elements_, kept_;
};

/// The member of a routine for T.
template <Scalar T, class S, class D, class C, class Z>
constexpr auto member(S s, D d, C c, Z z) {
  if constexpr (std::same_as<T, float>) return s;
  else if constexpr (std::same_as<T, double>) return d;
  else if constexpr (std::same_as<T, std::complex<float>>) return c;
  else return z;
}

/// The members of a family for T: of NAME, or of one name for real and one for complex precisions.
#define NUV_MEMBER(T, real, complex) \
  (nuv::test::member<T>(cblas_s##real, cblas_d##real, cblas_c##complex, cblas_z##complex))

/// A scalar as the interface takes it.
inline float scalar(const float& x) {
  return x;
}
inline double scalar(const double& x) {
  return x;
}
inline const void* scalar(const std::complex<float>& x) {
  return &x;
}
inline const void* scalar(const std::complex<double>& x) {
  return &x;
}

/// Factors of a product and of what it is added to.
template <Scalar T>
struct Factors {
  T alpha, beta;
};

/// Those that have code of their own, and others.
template <Scalar T>
std::vector<Factors<T>> factors() {
  Random random(3);
  const T a = random.divisor<T>(), b = random.divisor<T>();
  return {{T(0), T(0)}, {T(0), T(1)}, {T(0), b}, {T(1), T(0)}, {a, T(1)}, {a, b}};
}

struct Increments {
  Int x, y;
};
inline constexpr Increments increments[] = {{1, 1}, {2, -1}, {-1, 3}, {-2, -2}};

}  // namespace nuv::test
