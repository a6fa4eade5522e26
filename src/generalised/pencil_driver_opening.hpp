#pragma once

// What all drivers for pencils of general matrices begin with: their arguments and their workspace.

#include <algorithm>

#include "frame/error_report.hpp"
#include "generalised/pencil_spine.hpp"

namespace nuv {

/// 0, or the position of the first of the two letters for vectors that is bad, 1 or 2.
template <Scalar T>
Int bad_job(const PencilProblem<T>& p) {
  return !is_one_of(p.job_left, 'N', 'V') ? 1 : !is_one_of(p.job_right, 'N', 'V') ? 2 : 0;
}

/// 0, or minus the position of the first bad argument from n to the right vectors.
///
/// position_of_n   where n stands
/// more            how many arguments stand between B and the eigenvalues
template <Scalar T>
Int check_sizes(const PencilProblem<T>& p, Int position_of_n, Int more = 0) {
  const Int least = std::max(1, p.n), position_of_left = behind_values<T>(position_of_n + 9 + more);
  const auto is_short = [&](Matrix<T> V, bool wanted) { return V.ld < 1 || (wanted && V.ld < p.n); };
  if (p.n < 0) return -position_of_n;
  if (p.A.ld < least) return -(position_of_n + 2);
  if (p.B.ld < least) return -(position_of_n + 4);
  if (is_short(p.vectors.L, p.vectors.left)) return -position_of_left;
  if (is_short(p.vectors.R, p.vectors.right)) return -(position_of_left + 2);
  return 0;
}

/// The same from the first argument on, where there are none but the two letters in front of n.
template <Scalar T>
Int check_jobs_and_sizes(const PencilProblem<T>& p) {
  const Int bad = bad_job(p);
  return bad != 0 ? -bad : check_sizes(p, 3);
}

/// Elements of workspace: the least that a driver takes, and those with which it does its best.
struct WorkSize {
  std::int64_t least = 1, best = 1;
};

/// For order n and a least of so many elements where n > 0, the scales of balancing among them.
template <Scalar T>
WorkSize work_size_with_scales(Int n, std::int64_t least) {
  if (n == 0) return {};
  return {least, std::max(least, columns_of_scales<T> * std::int64_t{n} + best_spine_workspace<T>(n))};
}

/// A workspace as a driver is given it.
template <class T>
struct GivenWorkspace {
  T* data;
  Int length;    ///< -1 asks for the best one
  Int position;  ///< of the length among the arguments
  WorkSize size;

  bool is_question() const { return length == -1; }
  bool is_short() const { return length < size.least; }

  void tell_best() const {
    if constexpr (Scalar<T>) {
      data[0] = as_work_size<T>(size.best);
    } else {
      data[0] = static_cast<T>(size.best);
    }
  }
};

/// Answers a question for workspaces, or reports the first bad argument. False in either case: the driver is done.
///
/// info    in 0, or minus the position of the first bad argument in front of the workspaces; out the same with them
template <Scalar T, class... Workspaces>
bool begins(RoutineName<T> name, Int& info, const Workspaces&... workspaces) {
  if (info == 0) {
    (workspaces.tell_best(), ...);
    if ((workspaces.is_question() || ...)) return false;
    const auto check = [&](const auto& workspace) {
      if (info == 0 && workspace.is_short()) info = -workspace.position;
    };
    (check(workspaces), ...);
  }
  if (info != 0) report_bad_argument(name, info);
  return info == 0;
}

}  // namespace nuv
