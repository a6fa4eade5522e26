#include "stored_matrix.hpp"

#include <algorithm>

namespace nuv::tools {

std::complex<double> mirrored(Symmetry symmetry, std::complex<double> value) {
  switch (symmetry) {
    case Symmetry::SkewSymmetric:
      return -value;
    case Symmetry::Hermitian:
      return std::conj(value);
    default:
      return value;
  }
}

std::string_view name_of(Symmetry symmetry) {
  const auto has_it = [&](const auto& entry) { return entry.second == symmetry; };
  return std::find_if(symmetry_names.begin(), symmetry_names.end(), has_it)->first;
}

}  // namespace nuv::tools
