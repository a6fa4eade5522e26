#include "eigen_solvers.hpp"

#include <complex>
#include <tuple>
#include <utility>

#include "routines.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

constexpr char triangle = 'L';

/// The work arrays of a driver for a problem of order n; at first those of a question for the best sizes.
template <Scalar T>
class DriverSpace {
 public:
  using R = Real<T>;

  explicit DriverSpace(Int n)
      : work_(1),
        second_(7 * std::size_t(n) + 1),
        integers_(5 * std::size_t(n) + 1),
        failed_(std::size_t(n) + 1),
        support_(2 * std::size_t(n) + 1) {}

  /// Makes the arrays as long as the answers ask for.
  void grow() {
    lwork_ = grow_to(work_, std::real(work_.front()));
    lsecond_ = grow_to(second_, second_.front());
    lintegers_ = grow_to(integers_, double(integers_.front()));
  }

  /// The arguments of the simple drivers.
  auto simple() {
    if constexpr (ComplexScalar<T>) return std::tuple(work_.data(), &lwork_, second_.data());
    else return std::tuple(work_.data(), &lwork_);
  }

  /// Those of the drivers that take a size with each array.
  auto sized() {
    const std::tuple integers(integers_.data(), &lintegers_);
    if constexpr (ComplexScalar<T>) {
      return std::tuple_cat(std::tuple(work_.data(), &lwork_, second_.data(), &lsecond_), integers);
    } else {
      return std::tuple_cat(std::tuple(work_.data(), &lwork_), integers);
    }
  }

  /// The same, behind the rows in which the vectors are not zero.
  auto of_representations() { return std::tuple_cat(std::tuple(support_.data()), sized()); }

  /// Those of the expert drivers, which tell the vectors that failed.
  auto expert() { return std::tuple_cat(simple(), std::tuple(integers_.data(), failed_.data())); }

 private:
  std::vector<T> work_;
  std::vector<R> second_;
  std::vector<Int> integers_, failed_, support_;
  Int lwork_ = -1, lsecond_ = -1, lintegers_ = -1;
};

/// Asks a driver for its workspace and then runs it. call(space, info) hands it its arguments.
template <Scalar T, class Call>
Int with_workspace(Int n, Call call) {
  DriverSpace<T> space(n);
  Int info = 0;
  call(space, info);
  require_accepted(info);
  space.grow();
  call(space, info);
  require_accepted(info);
  return info;
}

/// Calls a driver with arguments that come in groups.
template <class Driver, class... Groups>
void call_driver(Driver driver, Groups... groups) {
  std::apply(driver, std::tuple_cat(groups...));
}

struct DriverNames {
  std::string_view qr, divide_and_conquer, part;
};

/// Leaves the values that were found, and their vectors if there are any.
template <Scalar T>
void keep_first(Eigenpairs<T>& result, Int found) {
  result.values.resize(std::size_t(found));
  if (result.vectors.rows == 0) return;
  result.vectors.columns = found;
  result.vectors.elements.resize(std::size_t(result.vectors.rows) * std::size_t(found));
}

/// The standard problem, as its drivers take it.
template <Scalar T>
struct Standard {
  static constexpr auto qr = Routines<T>::heev;
  static constexpr auto divide_and_conquer = Routines<T>::heevd;
  static constexpr auto part = Routines<T>::heevr;
  static constexpr DriverNames names =
      ComplexScalar<T> ? DriverNames{"heev", "heevd", "heevr"} : DriverNames{"syev", "syevd", "syevr"};

  static std::tuple<> type() { return {}; }
  static std::tuple<> partner() { return {}; }
  static auto space_for_part(DriverSpace<T>& space) { return space.of_representations(); }
};

/// The generalised problem.
template <Scalar T>
struct Generalised {
  static constexpr auto qr = Routines<T>::hegv;
  static constexpr auto divide_and_conquer = Routines<T>::hegvd;
  static constexpr auto part = Routines<T>::hegvx;
  static constexpr DriverNames names =
      ComplexScalar<T> ? DriverNames{"hegv", "hegvd", "hegvx"} : DriverNames{"sygv", "sygvd", "sygvx"};

  auto type() const { return std::tuple(&kind); }
  auto partner() { return std::tuple(b.elements.data(), &ld); }
  static auto space_for_part(DriverSpace<T>& space) { return space.expert(); }

  Int kind, ld;
  DenseMatrix<T> b;
};

/// All values, by a driver that turns the matrix into the vectors.
template <Scalar T, class Problem>
Eigenpairs<T> find_all(Problem problem, DenseMatrix<T> a, const EigenRequest& request) {
  const Int n = a.rows, ld = a.ld();
  const char job = request.vectors ? 'V' : 'N';
  const bool qr = request.method == EigenMethod::Qr;
  Eigenpairs<T> result;
  result.driver = qr ? Problem::names.qr : Problem::names.divide_and_conquer;
  result.values.resize(std::size_t(n));
  const auto matrix = std::tuple(&job, &triangle, &n, a.elements.data(), &ld);
  result.info = with_workspace<T>(n, [&](DriverSpace<T>& space, Int& info) {
    const auto arguments = std::tuple_cat(problem.type(), matrix, problem.partner(), std::tuple(result.values.data()));
    const std::tuple end(&info, 1, 1);
    if (qr) call_driver(Problem::qr, arguments, space.simple(), end);
    else call_driver(Problem::divide_and_conquer, arguments, space.sized(), end);
  });
  if (request.vectors) result.vectors = std::move(a);
  return result;
}

/// A part of the values, or all, by a driver that can choose.
template <Scalar T, class Problem>
Eigenpairs<T> find_selected(Problem problem, DenseMatrix<T> a, const EigenRequest& request) {
  using R = Real<T>;
  const Selection& selection = request.selection;
  const Int n = a.rows, ld = a.ld(), first = selection.first, last = selection.last;
  const Int most = selection.by == Selection::By::Index ? last - first + 1 : n;
  const char job = request.vectors ? 'V' : 'N', range = "AVI"[static_cast<int>(selection.by)];
  const auto above = static_cast<R>(selection.above), up_to = static_cast<R>(selection.up_to), tolerance = R(0);
  Eigenpairs<T> result;
  result.driver = Problem::names.part;
  result.values.resize(std::size_t(n));
  if (request.vectors) result.vectors = DenseMatrix<T>(n, most);
  Int found = 0;
  const auto matrix = std::tuple(&job, &range, &triangle, &n, a.elements.data(), &ld);
  const auto rest = std::tuple(&above, &up_to, &first, &last, &tolerance, &found, result.values.data(),
                               result.vectors.elements.data(), &ld);
  result.info = with_workspace<T>(n, [&](DriverSpace<T>& space, Int& info) {
    call_driver(Problem::part, problem.type(), matrix, problem.partner(), rest, problem.space_for_part(space),
                std::tuple(&info, 1, 1, 1));
  });
  keep_first(result, found);
  return result;
}

template <Scalar T, class Problem>
Eigenpairs<T> find(Problem problem, DenseMatrix<T> a, const EigenRequest& request) {
  const bool selects = request.selection.by != Selection::By::All || request.method == EigenMethod::Representations;
  if (selects) return find_selected<T>(std::move(problem), std::move(a), request);
  return find_all<T>(std::move(problem), std::move(a), request);
}

}  // namespace

template <Scalar T>
Eigenpairs<T> eigenpairs(DenseMatrix<T> a, const EigenRequest& request) {
  return find<T>(Standard<T>(), std::move(a), request);
}

template <Scalar T>
Eigenpairs<T> generalised_eigenpairs(DenseMatrix<T> a, DenseMatrix<T> b, const EigenRequest& request) {
  return find<T>(Generalised<T>{request.type, b.ld(), std::move(b)}, std::move(a), request);
}

#define NUV_INSTANTIATE(T)                                                \
  template Eigenpairs<T> eigenpairs(DenseMatrix<T>, const EigenRequest&); \
  template Eigenpairs<T> generalised_eigenpairs(DenseMatrix<T>, DenseMatrix<T>, const EigenRequest&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
