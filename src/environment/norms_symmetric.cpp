#include "environment/norms_symmetric.hpp"

#include "environment/norms_tridiagonal.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

/// What of a diagonal entry counts: all of it, or the real part alone.
struct WholeEntry {
  template <Scalar T>
  static const T& part(const T& x) {
    return x;
  }
};
struct RealPart {
  template <RealScalar R>
  static const R& part(const std::complex<R>& x) {
    return reinterpret_cast<const R(&)[2]>(x)[0];
  }
};

/// Norm of the matrix of which `columns` gives one triangle with its diagonal.
template <class DiagonalPart, Scalar T, class Columns>
Real<T> symmetric_norm(Norm norm, bool upper, Int n, const Columns& columns, Real<T>* work) {
  using R = Real<T>;
  if (n <= 0) return 0;
  const auto off_diagonal = [&](Int j) { return without_diagonal(columns(j), j, upper); };
  const auto diagonal = [&](Int j) -> const auto& {
    return DiagonalPart::part(diagonal_entry(columns(j), upper));
  };
  R value = 0;
  switch (norm) {
    case Norm::largest:
      for (Int j = 1; j <= n; ++j) {
        const Run<T> run = off_diagonal(j);
        value = larger(largest_magnitude(run.entries, run.count), value);
        value = larger(magnitude(diagonal(j)), value);
      }
      return value;
    // A row's sum is the sum of its entries on one side of the diagonal, which earlier columns of the lower triangle
    // leave in work and later ones of the upper triangle add there, and of the column on the other side.
    case Norm::one:
    case Norm::infinity:
      if (upper) {
        sweep<Sums::of_both, T>(
            n, off_diagonal, work, [](Int) { return R(0); },
            [&](Int j, R sum) { work[j - 1] = sum + magnitude(diagonal(j)); });
        return largest_magnitude(work, n);
      }
      std::fill_n(work, n, R(0));
      sweep<Sums::of_both, T>(
          n, off_diagonal, work, [&](Int j) { return work[j - 1] + magnitude(diagonal(j)); },
          [&](Int, R sum) { value = larger(sum, value); });
      return value;
    case Norm::frobenius: {
      SquareSum<R> squares;
      for (Int j = 1; j <= n; ++j) squares.add(off_diagonal(j).count, off_diagonal(j).entries);
      squares.sumsq *= 2;
      for (Int j = 1; j <= n; ++j) squares.add(1, &diagonal(j));
      return squares.root();
    }
    case Norm::none:
      break;
  }
  return 0;
}

template <class DiagonalPart, Scalar T>
Real<T> full_norm(char norm, char uplo, Int n, Matrix<const T> A, Real<T>* work) {
  const bool upper = same_letter(uplo, 'U');
  return symmetric_norm<DiagonalPart, T>(norm_of(norm), upper, n, TrapezoidColumns<T>{upper, n, A}, work);
}

template <class DiagonalPart, Scalar T>
Real<T> packed_norm(char norm, char uplo, Int n, const T* ap, Real<T>* work) {
  const bool upper = same_letter(uplo, 'U');
  return symmetric_norm<DiagonalPart, T>(norm_of(norm), upper, n, PackedColumns<T>{upper, n, ap}, work);
}

template <class DiagonalPart, Scalar T>
Real<T> band_norm(char norm, char uplo, Int n, Int k, Matrix<const T> AB, Real<T>* work) {
  const bool upper = same_letter(uplo, 'U');
  return symmetric_norm<DiagonalPart, T>(norm_of(norm), upper, n, band_triangle<T>(upper, n, k, AB), work);
}

}  // namespace

template <Scalar T>
Real<T> lansy(char norm, char uplo, Int n, const T* a, Int lda, Real<T>* work) {
  return full_norm<WholeEntry, T>(norm, uplo, n, {a, lda}, work);
}

template <Scalar T>
Real<T> lansp(char norm, char uplo, Int n, const T* ap, Real<T>* work) {
  return packed_norm<WholeEntry, T>(norm, uplo, n, ap, work);
}

template <Scalar T>
Real<T> lansb(char norm, char uplo, Int n, Int k, const T* ab, Int ldab, Real<T>* work) {
  return band_norm<WholeEntry, T>(norm, uplo, n, k, {ab, ldab}, work);
}

template <RealScalar T>
T lanst(char norm, Int n, const T* d, const T* e) {
  return n <= 0 ? 0 : tridiagonal_norm(norm_of(norm), n, SymmetricTridiagonal{d, e});
}

template <ComplexScalar T>
Real<T> lanhe(char norm, char uplo, Int n, const T* a, Int lda, Real<T>* work) {
  return full_norm<RealPart, T>(norm, uplo, n, {a, lda}, work);
}

template <ComplexScalar T>
Real<T> lanhp(char norm, char uplo, Int n, const T* ap, Real<T>* work) {
  return packed_norm<RealPart, T>(norm, uplo, n, ap, work);
}

template <ComplexScalar T>
Real<T> lanhb(char norm, char uplo, Int n, Int k, const T* ab, Int ldab, Real<T>* work) {
  return band_norm<RealPart, T>(norm, uplo, n, k, {ab, ldab}, work);
}

template <ComplexScalar T>
Real<T> lanht(char norm, Int n, const Real<T>* d, const T* e) {
  return n <= 0 ? 0 : tridiagonal_norm(norm_of(norm), n, SymmetricTridiagonal{d, e});
}

}  // namespace nuv

#include "environment/norms_symmetric.entries.inc"
