#pragma once

// Arrays that end where memory does: an access behind the last element ends the program. Guards beside an array show
// what is written there, a fence what is read.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "support/guarded.hpp"

namespace nuv::test {

template <class T>
class FencedArray {
 public:
  /// A copy of a vector.
  explicit FencedArray(const GuardedVector<T>& x) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t size = std::size_t(x.size()) * sizeof(T), readable = (size + page - 1) / page * page;
    bytes_ = readable + page;
    pages_ = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
    char* const fence = static_cast<char*>(pages_) + readable;
    if (::mprotect(fence, page, PROT_NONE) != 0) throw std::system_error(errno, std::generic_category(), "mprotect");
    data_ = reinterpret_cast<T*>(fence - size);
    for (Int i = 1; i <= x.size(); ++i) data_[i - 1] = x(i);
  }
  FencedArray(const FencedArray&) = delete;
  FencedArray& operator=(const FencedArray&) = delete;
  ~FencedArray() { ::munmap(pages_, bytes_); }

  T* data() { return data_; }

  /// Whether it holds the bits of a vector of its size.
  bool same_as(const GuardedVector<T>& x) const {
    for (Int i = 1; i <= x.size(); ++i) {
      if (!same_bits(data_[i - 1], x(i))) return false;
    }
    return true;
  }

 private:
  void* pages_;
  std::size_t bytes_;
  T* data_;
};

}  // namespace nuv::test
