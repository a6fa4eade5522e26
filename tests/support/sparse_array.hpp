#pragma once

// Arrays far larger than memory, of which only the pages that are touched exist.

#include <sys/mman.h>

#include <cstddef>
#include <system_error>

namespace nuv::test {

template <class T>
class SparseArray {
 public:
  explicit SparseArray(std::size_t size) : bytes_(size * sizeof(T)) {
    address_ = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (address_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  }
  SparseArray(const SparseArray&) = delete;
  SparseArray& operator=(const SparseArray&) = delete;
  ~SparseArray() { ::munmap(address_, bytes_); }

  T* data() { return static_cast<T*>(address_); }

 private:
  std::size_t bytes_;
  void* address_;
};

}  // namespace nuv::test
