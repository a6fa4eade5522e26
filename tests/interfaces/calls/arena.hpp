#pragma once

// Where calls of a routine in its several forms leave their results, to be compared.

#include <nuv/nuv.h>

#include <cstddef>
#include <memory>
#include <new>
#include <nuv/nuv.hpp>
#include <string>

namespace nuv_test {

/// Refuses what C++ and C programs ask for while there is one.
class RefusedMemory {
 public:
  RefusedMemory();
  ~RefusedMemory();
};

/// An array for each argument of a routine, with the same numbers in it before each form of the call.
class Arena {
 public:
  Arena();

  /// Of the routine's name, before its first form.
  void begin(const char* routine);

  /// Prepares form number `form`; false when all forms were called.
  bool next(int form);

  /// What the form that is called now is named; null: there is none of this number.
  void form(const char* title);

  /// The array of argument `index`.
  template <class T>
  T* array(int index) {
    T* const elements = static_cast<T*>(region(index));
    for (int i = 0; i < region_bytes / int{sizeof(T)}; ++i) elements[i] = number<T>(i);
    return elements;
  }

  /// One that is not compared.
  template <class T>
  T* scratch(int index) {
    is_scratch_[index] = true;
    return array<T>(index);
  }

  char& letter(int index, char letter);
  int& zero(int index);

  template <class T>
  T& result() {
    return *static_cast<T*>(region(result_index));
  }

  /// What a routine without info has to say about its memory.
  void expect_memory(double status);
  void expect_no_memory(double status);
  void expect_bad_alloc(bool thrown);

  /// Against what the first form left.
  void compare();

  int routines() const { return routines_; }

 private:
  static constexpr int region_bytes = 16384, regions = 48, result_index = regions - 1;

  void* region(int index) { return memory_.get() + static_cast<std::ptrdiff_t>(index) * region_bytes; }

  /// Numbers of a well-conditioned matrix of few rows and sixteen places to a column; integers 1, 2, 3, ...
  template <class T>
  static T number(int i) {
    if constexpr (std::is_integral_v<T>) {
      return static_cast<T>(i + 1);
    } else {
      return i % 17 == 0 ? T(4 + i / 17) : T(0.125) / T(1 + i % 7);
    }
  }

  std::string here() const;

  std::string routine_;
  const char* title_ = nullptr;
  bool is_over_ = false, leaves_no_result_ = false;
  bool is_scratch_[regions] = {};
  std::unique_ptr<std::byte[]> memory_, first_;
  std::unique_ptr<RefusedMemory> refused_;
  int first_reports_ = 0, routines_ = 0;
};

void call_all_s(Arena& arena);
void call_all_d(Arena& arena);
void call_all_c(Arena& arena);
void call_all_z(Arena& arena);

}  // namespace nuv_test

#define NUV_EXPECT_BAD_ALLOC(call)  \
  bool thrown = false;              \
  int info = 0;                     \
  static_cast<void>(info);          \
  try {                             \
    call                            \
  } catch (const std::bad_alloc&) { \
    thrown = true;                  \
  }                                 \
  arena.expect_bad_alloc(thrown);
