#pragma once

// Random matrices in every storage form that has a norm.

#include <functional>
#include <string>
#include <vector>

#include "routines.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// A matrix in its storage. What no routine may read, between the columns, in the other triangle, beside the band, on a
/// diagonal of ones, holds `outside`, and so do imaginary parts that do not count.
template <Scalar T>
struct StoredMatrix {
  std::string name;
  WideMatrix<T> dense;
  Int work_length;
  std::function<Real<T>(char norm, Real<T>* work)> norm;
};

template <Scalar T>
class StoredMatrices {
 public:
  using R = Real<T>;
  using Entry = std::function<T(Int i, Int j)>;

  /// Entries come from `entry`, for symmetric forms those of one triangle.
  StoredMatrices(Entry entry, R outside) : entry_(std::move(entry)), outside_(outside) {}

  StoredMatrix<T> general(Int m, Int n) {
    const auto A = store(m + 2, n);
    return finish("lange", m, n, everywhere, put_in(A, 0), m,
                  [=](char norm, R* work) { return routine_call::lange(norm, m, n, view(A), work); });
  }

  StoredMatrix<T> band(Int n, Int kl, Int ku) {
    const auto AB = store(kl + ku + 2, n);
    return finish("langb", n, n, within(kl, ku), put_in_band(AB, ku), n,
                  [=](char norm, R* work) { return routine_call::langb(norm, n, kl, ku, view(AB), work); });
  }

  StoredMatrix<T> tridiagonal(Int n) {
    const auto d = vector(n), dl = vector(n - 1), du = vector(n - 1);
    const auto put = [=](Int i, Int j, T x) { i == j ? (*d)(i) = x : i > j ? (*dl)(j) = x : (*du)(i) = x; };
    return finish("langt", n, n, within(1, 1), put, 0,
                  [=](char norm, R*) { return routine_call::langt(norm, n, dl->data(), d->data(), du->data()); });
  }

  StoredMatrix<T> hessenberg(Int n) {
    const auto A = store(n + 1, n);
    return finish("lanhs", n, n, within(1, n), put_in(A, 0), n,
                  [=](char norm, R* work) { return routine_call::lanhs(norm, n, view(A), work); });
  }

  /// Symmetric, or Hermitian where the precision is complex and `hermitian` says so.
  std::vector<StoredMatrix<T>> symmetric(char uplo, Int n, Int k, bool hermitian) {
    const Used triangle = part(uplo, n, false), narrow = part(uplo, k, false);
    const auto A = store(n + 2, n), AB = store(k + 3, n);
    const auto ap = vector(n * (n + 1) / 2);
    const auto full_norm = [=](char norm, R* work) {
      if constexpr (ComplexScalar<T>) {
        if (hermitian) return routine_call::lanhe(norm, uplo, n, view(A), work);
      }
      return routine_call::lansy(norm, uplo, n, view(A), work);
    };
    const auto packed_norm = [=](char norm, R* work) {
      if constexpr (ComplexScalar<T>) {
        if (hermitian) return routine_call::lanhp(norm, uplo, n, ap->data(), work);
      }
      return routine_call::lansp(norm, uplo, n, ap->data(), work);
    };
    const auto band_norm = [=](char norm, R* work) {
      if constexpr (ComplexScalar<T>) {
        if (hermitian) return routine_call::lanhb(norm, uplo, n, k, view(AB), work);
      }
      return routine_call::lansb(norm, uplo, n, k, view(AB), work);
    };
    const std::string letters = hermitian ? "lanh" : "lans";
    return {mirrored(finish(letters + (hermitian ? "e " : "y ") + uplo, n, n, triangle,
                            for_diagonal(hermitian, put_in(A, 0)), n, full_norm),
                     hermitian),
            mirrored(finish(letters + "p " + uplo, n, n, triangle, for_diagonal(hermitian, put_packed(ap, uplo, n)), n,
                            packed_norm),
                     hermitian),
            mirrored(finish(letters + "b " + uplo, n, n, narrow,
                            for_diagonal(hermitian, put_in_band(AB, is_upper(uplo) ? k : 0)), n, band_norm),
                     hermitian)};
  }

  /// Symmetric tridiagonal for real precisions, Hermitian for complex ones.
  StoredMatrix<T> symmetric_tridiagonal(Int n) {
    const auto d = std::make_shared<GuardedVector<R>>(n);
    const auto e = vector(n - 1);
    const auto put = [=](Int i, Int j, T x) { i == j ? void((*d)(i) = std::real(x)) : void((*e)(j) = x); };
    constexpr bool hermitian = ComplexScalar<T>;
    return mirrored(finish(hermitian ? "lanht" : "lanst", n, n, within(1, 0), put, 0,
                           [=](char norm, R*) {
                             if constexpr (hermitian) {
                               return routine_call::lanht(norm, n, d->data(), e->data());
                             } else {
                               return routine_call::lanst(norm, n, d->data(), e->data());
                             }
                           }),
                    hermitian);
  }

  StoredMatrix<T> trapezoid(char uplo, char diag, Int m, Int n) {
    const auto A = store(m + 2, n);
    return with_diagonal(
        diag, finish(std::string("lantr ") + uplo + diag, m, n, part(uplo, m + n, is_unit(diag)), put_in(A, 0), m,
                     [=](char norm, R* work) { return routine_call::lantr(norm, uplo, diag, m, n, view(A), work); }));
  }

  std::vector<StoredMatrix<T>> triangles(char uplo, char diag, Int n, Int k) {
    const auto ap = vector(n * (n + 1) / 2);
    const auto AB = store(k + 3, n);
    return {with_diagonal(diag, finish(std::string("lantp ") + uplo + diag, n, n, part(uplo, n, is_unit(diag)),
                                       put_packed(ap, uplo, n), n,
                                       [=](char norm, R* work) {
                                         return routine_call::lantp(norm, uplo, diag, n, ap->data(), work);
                                       })),
            with_diagonal(diag, finish(std::string("lantb ") + uplo + diag, n, n, part(uplo, k, is_unit(diag)),
                                       put_in_band(AB, is_upper(uplo) ? k : 0), n, [=](char norm, R* work) {
                                         return routine_call::lantb(norm, uplo, diag, n, k, view(AB), work);
                                       }))};
  }

  /// One of each form, of order n; the trapezoids and the general one are m by n.
  std::vector<StoredMatrix<T>> all(Int m, Int n, Int kl, Int ku) {
    std::vector<StoredMatrix<T>> result = {general(m, n), band(n, kl, ku), tridiagonal(n), hessenberg(n),
                                           symmetric_tridiagonal(n)};
    const auto append = [&](std::vector<StoredMatrix<T>> more) {
      result.insert(result.end(), more.begin(), more.end());
    };
    for (const char uplo : {'U', 'l'}) {
      append(symmetric(uplo, n, ku, false));
      if (ComplexScalar<T>) append(symmetric(uplo, n, kl, true));
      for (const char diag : {'N', 'u'}) {
        result.push_back(trapezoid(uplo, diag, m, n));
        append(triangles(uplo, diag, n, ku));
      }
    }
    return result;
  }

 private:
  using Store = std::shared_ptr<GuardedMatrix<T>>;
  using Values = std::shared_ptr<GuardedVector<T>>;
  using Used = std::function<bool(Int i, Int j)>;
  using Put = std::function<void(Int i, Int j, T x)>;

  static bool everywhere(Int, Int) { return true; }
  static Used within(Int kl, Int ku) {
    return [=](Int i, Int j) { return i - j <= kl && j - i <= ku; };
  }
  /// k diagonals of one triangle beside the main one.
  static Used part(char uplo, Int k, bool unit) {
    return [=](Int i, Int j) {
      const Int distance = is_upper(uplo) ? j - i : i - j;
      return distance >= (unit ? 1 : 0) && distance <= k;
    };
  }

  Store store(Int rows, Int columns) {
    const auto A = std::make_shared<GuardedMatrix<T>>(rows, columns, rows);
    for (Int j = 1; j <= columns; ++j) {
      for (Int i = 1; i <= rows; ++i) (*A)(i, j) = T(outside_);
    }
    return A;
  }
  static Values vector(Int n) { return std::make_shared<GuardedVector<T>>(n); }
  static Matrix<const T> view(const Store& A) { return {A->data(), A->ld()}; }

  static Put put_in(const Store& A, Int shift) {
    return [=](Int i, Int j, T x) { (*A)(i + shift, j) = x; };
  }
  static Put put_in_band(const Store& AB, Int ku) {
    return [=](Int i, Int j, T x) { (*AB)(ku + 1 + i - j, j) = x; };
  }
  static Put put_packed(const Values& ap, char uplo, Int n) {
    return [=](Int i, Int j, T x) { (*ap)(is_upper(uplo) ? i + j * (j - 1) / 2 : i + (j - 1) * (2 * n - j) / 2) = x; };
  }
  /// Of a Hermitian matrix's diagonal the imaginary part is not to be read.
  Put for_diagonal(bool hermitian, Put put) const {
    return [=, outside = outside_](Int i, Int j, T x) {
      if constexpr (ComplexScalar<T>) {
        if (hermitian && i == j) x = T(x.real(), outside);
      }
      put(i, j, x);
    };
  }

  template <class Call>
  StoredMatrix<T> finish(std::string name, Int m, Int n, const Used& used, const Put& put, Int work_length, Call call) {
    StoredMatrix<T> result{name + " " + std::to_string(m) + " by " + std::to_string(n), WideMatrix<T>::Zero(m, n),
                           work_length, call};
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) {
        if (!used(i, j)) continue;
        const T x = entry_(i, j);
        put(i, j, x);
        result.dense(i - 1, j - 1) = wide(x);
      }
    }
    return result;
  }

  /// The matrix of which one triangle was given.
  static StoredMatrix<T> mirrored(StoredMatrix<T> A, bool hermitian) {
    for (Eigen::Index j = 0; j < A.dense.cols(); ++j) {
      if (hermitian) A.dense(j, j) = std::real(A.dense(j, j));
      for (Eigen::Index i = 0; i < j; ++i) A.dense(i, j) = A.dense(j, i) = A.dense(i, j) + A.dense(j, i);
    }
    return A;
  }

  static StoredMatrix<T> with_diagonal(char diag, StoredMatrix<T> A) {
    if (is_unit(diag)) A.dense.diagonal().setOnes();
    return A;
  }

  Entry entry_;
  R outside_;
};

}  // namespace nuv::test
