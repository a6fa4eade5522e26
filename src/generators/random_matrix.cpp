#include "generators/random_matrix.hpp"

#include <algorithm>
#include <utility>

#include "frame/error_report.hpp"
#include "generators/driver_steps.hpp"
#include "generators/packed_matrix.hpp"
#include "generators/random_entries.hpp"
#include "generators/storage.hpp"
#include "generators/symmetry.hpp"

namespace nuv {
namespace {

// In the order of their letters, and of the numbers by which elements know them.
enum class Grading : Int { bad = -1, none, left, right, both, similar, hermitian, symmetric };
enum class Pivoting : Int { bad = -1, none, rows, columns, both };

Pivoting pivoting_of(char pivtng) {
  if (same_letter(pivtng, ' ')) return Pivoting::none;
  if (same_letter(pivtng, 'F')) return Pivoting::both;
  return Pivoting{index_of(pivtng, "NLRB")};
}

/// Whether a grading suits an m by n matrix and keeps its symmetry. That of real symmetric matrices has two names.
template <Scalar T>
bool suits(Grading grading, Symmetry symmetry, Int m, Int n) {
  switch (grading) {
    case Grading::bad:
      return false;
    case Grading::none:
      return true;
    case Grading::left:
    case Grading::right:
    case Grading::both:
      return symmetry == Symmetry::none;
    case Grading::similar:
      return symmetry == Symmetry::none && m == n;
    case Grading::hermitian:
      return m == n && symmetry != Symmetry::symmetric;
    default:
      return m == n && (symmetry != Symmetry::hermitian || RealScalar<T>);
  }
}

bool suits(Pivoting pivoting, Symmetry symmetry, Int m, Int n) {
  switch (pivoting) {
    case Pivoting::bad:
      return false;
    case Pivoting::none:
      return true;
    case Pivoting::both:
      return m == n;
    default:
      return symmetry == Symmetry::none;
  }
}

/// Bands of one triangle are those of symmetric matrices alone.
bool suits(const Storage* storage, Symmetry symmetry, Int m, Int n, Int kl, Int ku) {
  if (storage == nullptr || !holds(*storage, symmetry, m, n, kl, ku)) return false;
  return storage->part == Part::all || storage->layout == Layout::packed || is_symmetric(symmetry);
}

/// The permutation p that exchanges k and ipivot(k), the last k first: element k of the result is element p(k).
void permute_from_last(Int count, const Int* ipivot, Int* p) {
  for (Int k = 0; k < count; ++k) p[k] = k + 1;
  for (Int k = count - 1; k >= 0; --k) std::swap(p[k], p[ipivot[k] - 1]);
}

/// Its inverse: element k goes to place p(k).
void permute_from_first(Int count, const Int* ipivot, Int* p) {
  for (Int k = 0; k < count; ++k) p[k] = k + 1;
  for (Int k = 0; k < count; ++k) std::swap(p[k], p[ipivot[k] - 1]);
}

/// The places of a band, column by column.
template <class Function>
void for_each_place(Int m, Int n, Int kl, Int ku, Function function) {
  for (Int j = 1; j <= n; ++j) {
    const Int last = j + std::min(kl, m - j);
    for (Int i = std::max(1, j - ku); i <= last; ++i) function(i, j);
  }
}

/// Gives the matrix the largest magnitude anorm. False if it is zero.
template <Scalar T>
bool scale_to(Real<T> anorm, const PackedMatrix<T>& A) {
  const Real<T> largest = A.largest_magnitude();
  if (largest == 0) return anorm == 0;
  if ((anorm > 1 && largest < 1) || (anorm < 1 && largest > 1)) {
    // The ratio itself might overflow or underflow.
    A.scale(Real<T>(1) / largest);
    A.scale(anorm);
  } else {
    A.scale(anorm / largest);
  }
  return true;
}

}  // namespace

template <Scalar T>
void latmr(Int m, Int n, char dist, Int* iseed, char sym, T* d, Int mode, Real<T> cond, T dmax, char rsign, char grade,
           T* dl, Int model, Real<T> condl, T* dr, Int moder, Real<T> condr, char pivtng, const Int* ipivot, Int kl,
           Int ku, Real<T> sparse, Real<T> anorm, char pack, T* a, Int lda, Int* iwork, Int& info) {
  info = 0;
  if (m == 0 || n == 0) return;

  const Int idist = distribution(dist), irsign = truth(rsign);
  const Symmetry symmetry = symmetry_of<T>(sym);
  const Grading grading{index_of(grade, "NLRBEHS")};
  const Pivoting pivoting = pivoting_of(pivtng);
  const Storage* const storage = storage_of(pack);
  const Int kll = std::min(kl, std::max(m, 1) - 1), kuu = std::min(ku, std::max(n, 1) - 1);

  const bool takes_dr = grading == Grading::right || grading == Grading::both;
  const bool takes_dl = grading != Grading::none && grading != Grading::right;
  const auto dl_has_zero = [&] { return std::find(dl, dl + m, T(0)) != dl + m; };
  const Int pivots = pivoting == Pivoting::rows ? m : pivoting == Pivoting::columns ? n : std::min(m, n);
  const auto are_pivots = [&] {
    return std::all_of(ipivot, ipivot + pivots, [&](Int k) { return k >= 1 && k <= pivots; });
  };

  if (m < 0 || (m != n && is_symmetric(symmetry))) info = -1;
  else if (n < 0) info = -2;
  else if (idist == 0) info = -3;
  else if (symmetry == Symmetry::unknown) info = -5;
  else if (!is_mode(mode, 6)) info = -7;
  else if (!is_condition(mode, cond)) info = -8;
  else if (irsign < 0) info = -10;
  else if (!suits<T>(grading, symmetry, m, n)) info = -11;
  else if (grading == Grading::similar && model == 0 && dl_has_zero()) info = -12;
  else if (takes_dl && !is_mode(model, 6)) info = -13;
  else if (takes_dl && !is_condition(model, condl)) info = -14;
  else if (takes_dr && !is_mode(moder, 6)) info = -16;
  else if (takes_dr && !is_condition(moder, condr)) info = -17;
  else if (!suits(pivoting, symmetry, m, n)) info = -18;
  else if (pivoting != Pivoting::none && !are_pivots()) info = -19;
  else if (kl < 0) info = -20;
  else if (ku < 0 || (is_symmetric(symmetry) && kl != ku)) info = -21;
  else if (!(sparse >= 0 && sparse <= 1)) info = -22;
  else if (!suits(storage, symmetry, m, n, kl, ku)) info = -24;
  else if (lda < (storage->layout == Layout::packed ? 1 : array_for(*storage, m, kll, kuu).rows)) info = -26;
  if (info != 0) return report_bad_argument<T>("LATMR", info);

  normalise_seed(iseed);
  info = fill_diagonal(mode, cond, dmax, irsign, idist, iseed, d, std::min(m, n));
  if (info != 0) return;
  std::transform(d, d + std::min(m, n), d, [&](T x) { return on_diagonal(symmetry, x); });
  if (takes_dl) latm1(model, condl, 0, idist, iseed, dl, m, info);
  if (info != 0) return void(info = 3);
  if (takes_dr) latm1(moder, condr, 0, idist, iseed, dr, n, info);
  if (info != 0) return void(info = 4);

  // The numbers of a full matrix are drawn in the order that it has before pivoting. Within a band that would leave
  // some places without and some with two of them.
  const bool is_full = kll == m - 1 && kuu == n - 1;
  if (pivoting != Pivoting::none) (is_full ? permute_from_first : permute_from_last)(pivots, ipivot, iwork);
  const Int igrade = static_cast<Int>(grading), ipvtng = static_cast<Int>(pivoting);
  const PackedMatrix<T> A(*storage, array_for(*storage, m, kll, kuu), symmetry, n, a, lda);
  A.clear();
  for_each_place(m, n, is_symmetric(symmetry) ? 0 : kll, kuu, [&](Int i, Int j) {
    if (is_full) {
      Int isub, jsub;
      const T x = latm3(m, n, i, j, isub, jsub, kl, ku, idist, iseed, d, igrade, dl, dr, ipvtng, iwork, sparse);
      A.put(isub, jsub, x);
    } else {
      A.put(i, j, latm2(m, n, i, j, kl, ku, idist, iseed, d, igrade, dl, dr, ipvtng, iwork, sparse));
    }
  });
  if (anorm >= 0 && !scale_to(anorm, A)) info = 5;
}

}  // namespace nuv

#include "generators/random_matrix.entries.inc"
