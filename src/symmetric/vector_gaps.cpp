#include "symmetric/vector_gaps.hpp"

#include <algorithm>
#include <cmath>

#include "environment/machine_constants.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

template <RealScalar T>
void disna(char job, Int m, Int n, const T* d, T* sep, Int& info) {
  const bool of_eigenvectors = same_letter(job, 'E'), left = same_letter(job, 'L'), right = same_letter(job, 'R');
  const Int k = of_eigenvectors ? m : std::min(m, n);
  info = 0;
  if (!of_eigenvectors && !left && !right) info = -1;
  else if (m < 0) info = -2;
  else if (k < 0) info = -3;
  if (info != 0) return report_bad_argument<T>("DISNA", info);

  bool ascends = true, descends = true;
  for (Int i = 0; i + 1 < k; ++i) {
    ascends &= d[i] <= d[i + 1];
    descends &= d[i] >= d[i + 1];
  }
  if (!of_eigenvectors && k > 0) {
    ascends &= d[0] >= 0;
    descends &= d[k - 1] >= 0;
  }
  if (!ascends && !descends) info = -4;
  if (info != 0) return report_bad_argument<T>("DISNA", info);
  if (k == 0) return;

  for (Int i = 0; i < k; ++i) {
    const T before = i > 0 ? std::abs(d[i] - d[i - 1]) : Machine<T>::overflow;
    const T behind = i + 1 < k ? std::abs(d[i + 1] - d[i]) : Machine<T>::overflow;
    sep[i] = std::min(before, behind);
  }
  if ((left && m > n) || (right && m < n)) {
    if (ascends) sep[0] = std::min(sep[0], d[0]);
    if (descends) sep[k - 1] = std::min(sep[k - 1], d[k - 1]);
  }
  const T norm = std::max(std::abs(d[0]), std::abs(d[k - 1]));
  const T least = norm == 0 ? Machine<T>::eps : std::max(Machine<T>::eps * norm, Machine<T>::safe_min);
  for (Int i = 0; i < k; ++i) sep[i] = std::max(sep[i], least);
}

}  // namespace nuv

#include "symmetric/vector_gaps.entries.inc"
