#include "generalised/pencil_sylvester.hpp"

#include <algorithm>
#include <cmath>

#include "environment/matrix_utilities.hpp"
#include "environment/tuning.hpp"
#include "frame/error_report.hpp"
#include "generalised/pencil_equation.hpp"
#include "generalised/small_pencil_sylvester.hpp"

namespace nuv {
namespace {

/// What one way through the equation finds beside its solution.
template <Scalar T>
struct Findings {
  Real<T> scale;
  Real<T> sum = 1, sum_scale = 0;  ///< scale^2 sum: the squares of all elements of R and L, if that is asked for
  std::int64_t systems = 0;        ///< number of small systems
  Int info = 0;
};

/// tgsy2 for rows k, columns l. Gives the scale of the solution.
template <Scalar T>
Real<T> solve_part(char trans, Int job, const PencilEquation<T>& all, IndexRange k, IndexRange l, Int* iwork,
                   Findings<T>& found) {
  const Matrix A = block(all.A, k.first, k.first), B = block(all.B, l.first, l.first);
  const Matrix D = block(all.D, k.first, k.first), E = block(all.E, l.first, l.first);
  const Matrix C = block(all.C, k.first, l.first), F = block(all.F, k.first, l.first);
  Real<T> scale;
  Int info;
  const auto call = [&](auto&... of_real) {
    tgsy2(trans, job, k.count(), l.count(), A.data, A.ld, B.data, B.ld, C.data, C.ld, D.data, D.ld, E.data, E.ld,
          F.data, F.ld, scale, found.sum, found.sum_scale, of_real..., info);
  };
  if constexpr (RealScalar<T>) {
    Int systems;
    call(iwork, systems);
    found.systems += systems;
  } else {
    call();
    found.systems += std::int64_t{k.count()} * l.count();
  }
  if (info > 0) found.info = info;
  return scale;
}

/// An equation that is parted into pieces, of which tgsy2 takes one after another.
template <Scalar T>
class PiecewiseEquation {
  using R = Real<T>;

 public:
  PiecewiseEquation(const PencilEquation<T>& equation, char trans, Int* iwork)
      : equation_(equation),
        trans_(trans),
        rows_(pieces(2, equation.A, equation.m, iwork)),
        columns_(pieces(5, equation.B, equation.n, iwork + rows_.count + 1)),
        iwork_(iwork + rows_.count + columns_.count + 2) {}

  /// job  that of tgsy2
  Findings<T> solve(Int job) const {
    Findings<T> found;
    found.scale = substitute(equation_, rows_, columns_, [&](IndexRange k, IndexRange l) {
      return solve_part(trans_, job, equation_, k, l, iwork_, found);
    });
    return found;
  }

  /// Estimates Dif: a right side of known norm over the norm of its solution, which takes its place.
  ///
  /// job  1: the elements of the right side are 1 and -1; 2: each small system has one of norm 1
  Findings<T> estimate(Int job, R& dif) const {
    for (const Matrix<T> X : {equation_.C, equation_.F}) {
      laset('F', equation_.m, equation_.n, T(0), T(0), X.data, X.ld);
    }
    const Findings<T> found = solve(job);
    const std::int64_t squared = job == 1 ? 2 * std::int64_t{equation_.m} * equation_.n : found.systems;
    dif = std::sqrt(static_cast<R>(squared)) / (found.sum_scale * std::sqrt(found.sum));
    return found;
  }

 private:
  ListedPieces pieces(Int ispec, Matrix<const T> S, Int order, Int* begins) const {
    const Int width = ilaenv(ispec, RoutineName<T>("TGSYL"), {&trans_, 1}, equation_.m, equation_.n, -1, -1);
    return list_pieces(S, order, width, begins);
  }

  PencilEquation<T> equation_;
  char trans_;
  ListedPieces rows_, columns_;
  Int* iwork_;
};

/// The estimate that a job asks for, as a job of tgsy2, or 0.
Int estimate_of(Int ijob) {
  return ijob > 2 ? ijob - 2 : ijob;
}

/// Solves the equation, estimates Dif, or does one behind the other, as ijob says.
///
/// work    2 m n elements where it does both
template <Scalar T>
Findings<T> solve_or_estimate(const PencilEquation<T>& equation, char trans, Int ijob, Real<T>& dif, T* work,
                              Int* iwork) {
  const PiecewiseEquation<T> pieces(equation, trans, iwork);
  if (ijob > 2) return pieces.estimate(estimate_of(ijob), dif);
  Findings<T> found = pieces.solve(0);
  if (ijob == 0) return found;

  const Int m = equation.m, n = equation.n;
  const Matrix R{work, m}, L{work + std::ptrdiff_t{m} * n, m};
  lacpy('F', m, n, equation.C.data, equation.C.ld, R.data, R.ld);
  lacpy('F', m, n, equation.F.data, equation.F.ld, L.data, L.ld);
  const Findings<T> beside = pieces.estimate(estimate_of(ijob), dif);
  if (beside.info > 0) found.info = beside.info;
  lacpy('F', m, n, R.data, R.ld, equation.C.data, equation.C.ld);
  lacpy('F', m, n, L.data, L.ld, equation.F.data, equation.F.ld);
  return found;
}

}  // namespace

template <Scalar T>
void tgsyl(char trans, Int ijob, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc, const T* d,
           Int ldd, const T* e, Int lde, T* f, Int ldf, Real<T>& scale, Real<T>& dif, T* work, Int lwork, Int* iwork,
           Int& info) {
  const bool is_adjoint = !same_letter(trans, 'N'), is_query = lwork == -1;
  const Int job = is_adjoint ? 0 : ijob;
  info = check_pencil_equation<T>(trans, ijob, 4, m, n, lda, ldb, ldc, ldd, lde, ldf);
  const bool does_both = job == 1 || job == 2;
  const std::int64_t least_work = does_both ? std::max<std::int64_t>(1, 2 * std::int64_t{m} * n) : 1;
  if (info == 0) {
    work[0] = as_work_size<T>(least_work);
    if (lwork < least_work && !is_query) info = -20;
  }
  if (info != 0) return report_bad_argument<T>("TGSYL", info);
  if (is_query) return;
  scale = 1;
  if (m == 0 || n == 0) {
    if (job > 0) dif = 0;
    return;
  }

  const PencilEquation<T> equation{is_adjoint, m, n, {a, lda}, {b, ldb}, {c, ldc}, {d, ldd}, {e, lde}, {f, ldf}};
  const Findings<T> found = solve_or_estimate(equation, trans, job, dif, work, iwork);
  scale = found.scale;
  info = found.info;
  work[0] = as_work_size<T>(least_work);
}

}  // namespace nuv

#include "generalised/pencil_sylvester.entries.inc"
