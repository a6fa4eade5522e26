#include "methods.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "error.hpp"
#include "memory.hpp"

namespace nuv::tools {
namespace {

constexpr std::string_view not_definite =
    "the matrix is not positive definite: its leading minor of order {0} is not positive";
constexpr std::string_view zero_in_u = "the matrix is singular: pivot U({0},{0}) is exactly zero";
constexpr std::string_view zero_in_d = "the matrix is singular: pivot D({0},{0}) is exactly zero";

// Beside the factors a solve keeps A for the residual, and where the driver scales the matrix a copy for that.
constexpr Method methods[] = {
    {Factorisation::Lu, Storage::Dense, "LU factorisation", "gesvx", zero_in_u, 3},
    {Factorisation::Lu, Storage::Band, "band LU factorisation", "gbsvx", zero_in_u, 0},
    {Factorisation::Cholesky, Storage::Dense, "Cholesky factorisation", "posvx", not_definite, 3},
    {Factorisation::Cholesky, Storage::Band, "band Cholesky factorisation", "pbsvx", not_definite, 0},
    {Factorisation::Symmetric, Storage::Dense, "symmetric indefinite factorisation", "sysvx", zero_in_d, 2},
    {Factorisation::Hermitian, Storage::Dense, "Hermitian indefinite factorisation", "hesvx", zero_in_d, 2},
    {Factorisation::Mixed, Storage::Dense, "LU factorisation in mixed precision", "sgesv", zero_in_u, 2.5},
};

/// Columns of a band of that width that a solve keeps: A, a copy to be scaled, and the factors.
double copies_of_band(Factorisation factorisation, Bandwidth band) {
  const double lower = band.lower, all = static_cast<double>(band.diagonals());
  return factorisation == Factorisation::Cholesky ? all + 2 * (lower + 1) : 3 * all + lower;
}

std::string diagonals_of(Bandwidth band) {
  return fmt::format("{} below the diagonal, {} above", band.lower, band.upper);
}

// LU of a band takes 2 kl (kl + ku) n operations against 2/3 n^3: with equal bandwidths b as many where b is 0.4 n. But
// they are done in narrow pieces, at a fraction of the rate of the dense products, and a tenth of that rate is made up
// for below 0.13 n. A quarter of the order for the whole band is there, and it takes less than half of the memory, too.
// A file that spells out all elements says that they are worth it.
bool pays_as_band(const StoredMatrix& file, Bandwidth band) {
  return file.layout == Layout::Coordinate && 4 * band.diagonals() <= file.rows;
}

/// The factorisation that a symmetry asks for; nothing where it doesn't.
std::optional<Factorisation> indefinite_for(const StoredMatrix& file, bool is_complex) {
  if (file.symmetry == Symmetry::Hermitian) return Factorisation::Hermitian;
  if (file.symmetry != Symmetry::Symmetric) return std::nullopt;
  // A real symmetric matrix taken as a complex one is Hermitian.
  return is_complex && !file.is_complex() ? Factorisation::Hermitian : Factorisation::Symmetric;
}

Choice choose_by_structure(const StoredMatrix& file, bool positive_definite, bool is_complex) {
  const Bandwidth band = bandwidth_of(file);
  const auto banded = pays_as_band(file, band) ? Storage::Band : Storage::Dense;
  const std::string symmetry(name_of(file.symmetry));
  if (positive_definite) {
    return {method_for(Factorisation::Cholesky, banded), band, true,
            banded == Storage::Band ? "--spd, and " + diagonals_of(band) : "--spd"};
  }
  if (banded == Storage::Band) return {method_for(Factorisation::Lu, banded), band, true, diagonals_of(band)};
  const auto factorisation = indefinite_for(file, is_complex).value_or(Factorisation::Lu);
  return {method_for(factorisation, Storage::Dense), {}, true, fmt::format("the file is {}", symmetry)};
}

}  // namespace

const Method& method_for(Factorisation factorisation, Storage storage) {
  return *std::find_if(std::begin(methods), std::end(methods),
                       [=](const Method& m) { return m.factorisation == factorisation && m.storage == storage; });
}

Choice choose_lu(const StoredMatrix& file) {
  const Bandwidth band = bandwidth_of(file);
  const auto storage = pays_as_band(file, band) ? Storage::Band : Storage::Dense;
  return {method_for(Factorisation::Lu, storage), band, true, ""};
}

void require_consistent(const MethodRequest& request, std::optional<char> precision) {
  const std::string name = request.name.value_or("");
  if (request.positive_definite && (name == "lu" || name == "indefinite" || name == "mixed")) {
    throw UsageError(fmt::format("--spd asks for a Cholesky factorisation, --method {} for another", name));
  }
  if (name == "mixed" && precision.value_or('d') != 'd') {
    throw UsageError(fmt::format("--method mixed works in precision d, not {}", *precision));
  }
}

Choice choose_method(const StoredMatrix& file, const MethodRequest& request, bool is_complex) {
  if (!request.name) return choose_by_structure(file, request.positive_definite, is_complex);
  const std::string asked = "as asked for";
  if (*request.name == "band") {
    const Bandwidth band = bandwidth_of(file);
    const auto factorisation = request.positive_definite ? Factorisation::Cholesky : Factorisation::Lu;
    return {method_for(factorisation, Storage::Band), band, true, asked + "; " + diagonals_of(band)};
  }
  if (*request.name == "indefinite") {
    const auto told = indefinite_for(file, is_complex);
    const auto factorisation = told.value_or(is_complex ? Factorisation::Hermitian : Factorisation::Symmetric);
    return {method_for(factorisation, Storage::Dense), {}, told.has_value(), asked};
  }
  if (*request.name == "mixed" && is_complex) {
    throw FileError(file.file, "--method mixed solves real systems alone, and this one is complex");
  }
  const auto factorisation = *request.name == "cholesky" ? Factorisation::Cholesky
                             : *request.name == "mixed"  ? Factorisation::Mixed
                                                         : Factorisation::Lu;
  return {method_for(factorisation, Storage::Dense), {}, true, asked};
}

void require_memory(const StoredMatrix& file, const Choice& choice, std::size_t element_size) {
  const bool is_band = choice.method.storage == Storage::Band;
  const long double order = file.rows, size = static_cast<long double>(element_size);
  const long double columns = is_band ? copies_of_band(choice.method.factorisation, choice.band)
                                      : static_cast<long double>(choice.method.copies) * order;
  const std::string what = is_band
                               ? fmt::format("a {0} by {0} matrix of {1} diagonals", file.rows, choice.band.diagonals())
                               : fmt::format("a {0} by {0} matrix", file.rows);
  if (const auto shortage = memory_shortage(what, columns * order * size, "solve")) {
    throw FileError(file.file, file.size_line, *shortage);
  }
}

}  // namespace nuv::tools
