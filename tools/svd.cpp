#include "svd.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "dense_matrix.hpp"
#include "equations.hpp"
#include "error.hpp"
#include "estimate.hpp"
#include "memory.hpp"
#include "numerical_rank.hpp"
#include "output.hpp"
#include "pair_svd.hpp"
#include "precision.hpp"
#include "report.hpp"
#include "singular_residual.hpp"
#include "singular_solver.hpp"
#include "spectrum_plot.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {
namespace {

void require_consistent(const SingularOptions& options) {
  if (options.thin && options.full) throw UsageError("--thin and --full are two ways to choose: give one");
  if (options.partner_left_file && !options.partner_file) {
    throw UsageError("--with-left is for two matrices: give --with");
  }
  if (options.partner_file && options.rank_tolerance) throw UsageError("--rank is for one matrix, --with gives two");
  if ((options.thin || options.full) && !options.left_file && !options.right_file && !options.partner_left_file) {
    throw UsageError(fmt::format("--{} is for vectors: give --left or --right", options.full ? "full" : "thin"));
  }
  require_tolerance(options.rank_tolerance);
}

/// On the side where a matrix is shorter, all vectors belong to values.
SingularVectors vectors_for(const SingularOptions& options, Int rows, Int columns) {
  if (!options.left_file && !options.right_file) return SingularVectors::None;
  const bool more = (options.left_file && rows > columns) || (options.right_file && columns > rows);
  return options.full && more ? SingularVectors::Full : SingularVectors::Thin;
}

/// With vectors, the residual needs the matrix once more, and right ones are turned before they are written.
template <Scalar T>
void require_memory_for(const StoredMatrix& file, SingularVectors vectors, bool right) {
  long double bytes = bytes_to_decompose<T>(file.rows, file.columns, vectors);
  const long double itself = static_cast<long double>(file.rows) * file.columns;
  if (vectors != SingularVectors::None) bytes += sizeof(T) * itself;
  if (right) {
    const Int count = vectors == SingularVectors::Full ? file.columns : std::min(file.rows, file.columns);
    bytes += static_cast<long double>(sizeof(T)) * count * file.columns;
  }
  const std::string what = fmt::format("a {} by {} matrix", file.rows, file.columns);
  if (const auto shortage = memory_shortage(what, bytes, "decompose")) {
    throw FileError(file.file, file.size_line, *shortage);
  }
}

template <Scalar T>
void require_result(const SingularDecomposition<T>& result, const std::string& file) {
  if (result.info != 0) throw FileError(file, "the iteration for the singular values did not converge");
  if (!all_finite(result.values)) throw FileError(file, "the singular values overflow the precision");
}

template <RealScalar R>
void tell_condition(const std::vector<R>& values, bool is_told, Report& report) {
  const long double largest = values.front(), smallest = values.back();
  const long double condition = smallest == 0 ? std::numeric_limits<long double>::infinity() : largest / smallest;
  const std::string_view reason = smallest == 0 ? ": the smallest singular value is zero"
                                  : is_told     ? ", largest over smallest singular value"
                                            : ", largest over smallest singular value, which rounding errors decide on";
  report.line("condition", fmt::format("{:.3g}   in the two-norm{}", condition, reason)).fact("condition", condition);
}

/// What the values say about a rows by columns matrix.
template <Scalar T>
void tell(const std::vector<Real<T>>& values, Int rows, Int columns, std::optional<double> given, Report& report) {
  const auto count = static_cast<Int>(values.size());
  const auto rank_for = [&](double tolerance) {
    return numerical_rank(count, tolerance, [&](Int k) { return values[std::size_t(k - 1)]; });
  };
  const double usual = rank_tolerance<T>({}, rows, columns), tolerance = given.value_or(usual);
  report.line("singular values", fmt::format("{}", count))
      .fact("singular_values", count)
      .line("rank", fmt::format("{}   singular values above {:.3g} of the largest", rank_for(tolerance), tolerance))
      .fact("rank", rank_for(tolerance))
      .fact("rank_tolerance", tolerance);
  if (count > 0) tell_condition(values, rank_for(usual) == count, report);
}

/// Where results go, refused before the work where they can't be written.
struct Outputs {
  explicit Outputs(const SingularOptions& options) {
    values.emplace(options.output_file, options.format);
    if (options.left_file) left.emplace(*options.left_file, options.format);
    if (options.right_file) right.emplace(*options.right_file, options.format);
    if (options.plot_file) plot.emplace(*options.plot_file);
  }

  std::optional<Output> values, left, right, plot;
};

template <Scalar T>
void decompose_in(StoredMatrix file, const SingularOptions& options, Stopwatch& stopwatch, Outputs& outputs) {
  const Int rows = file.rows, columns = file.columns;
  const SingularVectors vectors = vectors_for(options, rows, columns);
  require_memory_for<T>(file, vectors, options.right_file.has_value());
  const bool with_vectors = vectors != SingularVectors::None;
  Report report("svd");
  report.matrix("matrix", "matrix", rows, columns, file.file);
  auto a = to_dense<T>(std::move(file));
  DenseMatrix<T> kept(0, 0);
  if (with_vectors) kept = a;

  nuv_serv_load_dll();  // loading the kernel library is no part of the work
  stopwatch.end("read");
  const auto result =
      with_estimate<T>("singular values of " + options.matrix_file,
                       with_vectors ? work_of_singular_vectors(rows, columns) : work_of_singular_values(rows, columns),
                       [&] { return decomposed(std::move(a), vectors); });
  stopwatch.end("solve");
  require_result(result, options.matrix_file);

  tell<T>(result.values, rows, columns, options.rank_tolerance, report);
  report.template routine<T>("found by", result.driver);
  if (with_vectors) {
    const SingularResiduals measures = residuals_of(kept, result);
    report.line("residual", fmt::format("{:.3g}   ||A - U S V^H|| / (||A|| n eps)", measures.residual))
        .fact("residual", measures.residual)
        .line("orthogonality",
              fmt::format("{:.3g}   larger of ||U^H U - I|| and ||V^H V - I||, over n eps", measures.orthogonality))
        .fact("orthogonality", measures.orthogonality);
    stopwatch.end("check");
  }
  if (outputs.plot) {
    plot_spectrum({result.values.begin(), result.values.end()}, {"Singular values", "descending", true}, *outputs.plot);
  }
  if (outputs.left) write_result(result.left, *outputs.left);
  if (outputs.right) write_result(adjoint(result.right_adjoint), *outputs.right);
  write_result(result.values, *outputs.values);
  stopwatch.end("write");
  report.times(stopwatch).show_beside(options.output_file, {options.left_file, options.right_file, options.plot_file});
}

}  // namespace

void find_singular_values(const SingularOptions& options) {
  require_consistent(options);
  if (options.partner_file) return find_pair_values(options);
  within_memory(options.matrix_file, "the matrix does not fit into memory", [&] {
    Stopwatch stopwatch;
    if (options.plot_file) require_plotter();
    Outputs outputs(options);
    StoredMatrix file = read_in(options.precision, options.matrix_file, options.format);
    const char precision = precision_for(options.precision, {&file});
    in_precision(precision, [&]<Scalar T>(T) { decompose_in<T>(std::move(file), options, stopwatch, outputs); });
  });
}

}  // namespace nuv::tools
