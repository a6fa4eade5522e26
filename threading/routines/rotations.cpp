#include <nuv/nuv_services.h>

#include <algorithm>

#include "threading/runtime.hpp"
#include "x_variants.hpp"

// Sweeps of rotations leave the rows of A apart where they come from the right, and the columns where they come from
// the left: threads share those.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Rows (columns) in a slice at least. So many are turned by tiles, and so are slices of them, and the arithmetic of an
/// element does not depend on the cut. Each slice makes the tiles for itself, which its rows have to pay.
constexpr Int least_slice = 256;

/// Slices of A, and work memory for each of them.
template <class T>
class Slices {
 public:
  Slices(Int length, Int count, Int k) : length_(length), count_(count), k_(k) {
    const double bytes = (4.0 * k * k * count + double(k) * length) * sizeof(T);
    if (bytes <= UINT32_MAX) work_ = static_cast<T*>(nuv_serv_allocate(static_cast<unsigned>(bytes), 128));
  }
  Slices(const Slices&) = delete;
  Slices& operator=(const Slices&) = delete;
  ~Slices() {
    if (work_ != nullptr) nuv_serv_deallocate(work_);
  }

  bool have_memory() const { return work_ != nullptr; }

  /// Rows (columns) before a slice, and in it.
  Int before(Int slice) const { return static_cast<Int>(std::int64_t{length_} * slice / count_); }
  Int size(Int slice) const { return before(slice + 1) - before(slice); }

  T* work(Int slice) const { return work_ + std::ptrdiff_t{k_} * (std::ptrdiff_t{4} * k_ * slice + before(slice)); }

 private:
  Int length_, count_, k_;
  T* work_ = nullptr;
};

/// Turns the slices, each by the serial body turn(before, size, work), on all threads. False, with nothing done, if
/// there is no memory for that.
template <class T, class Turn>
bool share_slices(Int length, Int count, Int k, double multiply_adds, Turn turn) {
  const Slices<T> slices(length, count, k);
  if (!slices.have_memory()) return false;
  split(count, {1, 1}, multiply_adds, [&](Int from, Int until) {
    for (Int i = from; i < until; ++i) turn(slices.before(i), slices.size(i), slices.work(i));
  });
  return true;
}

}  // namespace

template <Scalar T>
void lasr3(char side, char pivot, char direct, Int m, Int n, Int k, const T* cs, Int ldcs, T* a, Int lda, T* work,
           Int lwork, Int& info) {
  const bool from_left = side == 'L';
  const Int length = from_left ? n : m;
  const double multiply_adds = 4.0 * m * n * k;
  const Int slices = std::min<Int>(available_threads(), length / least_slice);
  const auto turn = [&](Int before, Int size, T* work_of_slice) {
    const Matrix<T> slice = from_left ? block(Matrix{a, lda}, 1, before + 1) : block(Matrix{a, lda}, before + 1, 1);
    x_variant::lasr3(side, pivot, direct, from_left ? m : size, from_left ? size : n, k, {cs, ldcs}, slice,
                     work_of_slice, lwork, info);
  };
  const bool is_shared = slices > 1 && multiply_adds >= work_for_two_threads;
  if (!is_shared || !share_slices<T>(length, slices, k, multiply_adds, turn)) turn(0, length, work);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/rotations.entries.inc"
