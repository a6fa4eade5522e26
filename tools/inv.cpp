#include "inv.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <optional>
#include <string_view>
#include <utility>

#include "dense_matrix.hpp"
#include "equations.hpp"
#include "error.hpp"
#include "estimate.hpp"
#include "lu_factors.hpp"
#include "memory.hpp"
#include "methods.hpp"
#include "output.hpp"
#include "precision.hpp"
#include "report.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {
namespace {

/// The inverse has to be stored whole, whatever the matrix is.
void require_memory_for_inverse(const StoredMatrix& file, std::size_t element_size) {
  if (const auto shortage = memory_shortage(file.rows, file.columns, element_size, 1, "invert")) {
    throw FileError(file.file, file.size_line, *shortage);
  }
}

/// Refuses what has no inverse, and one that says nothing unless it is wanted all the same.
void require_regular(const MatrixFactors& factors, const InverseOptions& options) {
  const auto words = singularity_of(factors);
  if (!words || (options.force && !factors.zero_pivot())) return;
  const std::string_view hint = factors.zero_pivot() ? "" : " (--force gives the inverse all the same)";
  throw FileError(options.matrix_file, fmt::format("the matrix is {}{}", *words, hint));
}

template <Scalar T>
void invert_in(StoredMatrix file, const InverseOptions& options, Stopwatch& stopwatch, Output& output) {
  require_memory_for_inverse(file, sizeof(T));
  Report report("inv");
  report.matrix("matrix", "matrix", file.rows, file.columns, file.file);
  auto a = to_dense<T>(std::move(file));
  nuv_serv_load_dll();  // loading the kernel library is no part of the work
  stopwatch.end("read");
  auto progress =
      std::make_optional<Progress>("inverting " + options.matrix_file, estimated_time<T>(work_of_inverse(a.rows)));
  LuFactors<DenseMatrix<T>> factors(std::move(a));
  require_regular(factors, options);
  factors.tell(report);
  const double rcond = factors.reciprocal_condition('1');
  report.routine<T>("inverted by", "getri")
      .line("condition", fmt::format("{:.3g}   reciprocal, in the one norm", rcond))
      .fact("reciprocal_condition", rcond);
  if (const auto words = singularity_of(factors)) report.warning("the matrix is " + *words);
  const auto inverse = std::move(factors).inverse();
  progress.reset();
  stopwatch.end("solve");
  if (!all_finite(inverse.elements)) throw FileError(options.matrix_file, "the inverse overflows the precision");

  write_result(inverse, output);
  stopwatch.end("write");
  report.times(stopwatch).show_beside(options.output_file);
}

}  // namespace

void invert(const InverseOptions& options) {
  within_memory(options.matrix_file, "the matrix does not fit into memory", [&] {
    Stopwatch stopwatch;
    Output output(options.output_file, options.format);
    StoredMatrix file = read_in(options.precision, options.matrix_file, options.format);
    require_square(file, "an inverse");
    const char precision = precision_for(options.precision, {&file});
    in_precision(precision, [&]<Scalar T>(T) { invert_in<T>(std::move(file), options, stopwatch, output); });
  });
}

}  // namespace nuv::tools
