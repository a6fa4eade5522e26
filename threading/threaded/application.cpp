#include "threading/threaded/application.hpp"

#include <dlfcn.h>
#include <link.h>
#include <sched.h>

#include <cstddef>
#include <initializer_list>

#include "frame/plain_word.hpp"

namespace nuv::threading {
namespace {

using Question = int (*)();

/// A function of the OpenMP runtime that is in the process, or null. Never loads one.
Question find_in_openmp(const char* name) {
  if (void* found = dlsym(RTLD_DEFAULT, name)) return reinterpret_cast<Question>(found);
  // A runtime that only some plug-in asked for is not in the scope of the whole process.
  for (const char* runtime : {"libgomp.so.1", "libomp.so.5"}) {
    if (void* handle = dlopen(runtime, RTLD_NOLOAD | RTLD_LAZY)) {
      return reinterpret_cast<Question>(dlsym(handle, name));
    }
  }
  return nullptr;
}

/// The question, looked up again only when a library has come into the process since. Threads that race store the same.
class OpenMpQuestion {
 public:
  explicit constexpr OpenMpQuestion(const char* name) : name_(name) {}

  Question get() {
    if (Question found = plain_load(found_)) return found;
    const unsigned long loaded = static_cast<unsigned long>(libraries_loaded());
    if (plain_load(looked_at_) == loaded) return nullptr;
    const Question found = find_in_openmp(name_);
    plain_store(found_, found);
    plain_store(looked_at_, loaded);
    return found;
  }

 private:
  const char* name_;
  Question found_ = nullptr;
  unsigned long looked_at_ = 0;
};

OpenMpQuestion omp_in_parallel("omp_in_parallel"), omp_get_max_threads("omp_get_max_threads");

}  // namespace

bool in_parallel_region() {
  const Question ask = omp_in_parallel.get();
  return ask != nullptr && ask() != 0;
}

int threads_of_openmp() {
  const Question ask = omp_get_max_threads.get();
  return ask != nullptr ? ask() : 0;
}

int processors() {
  cpu_set_t usable[8];  // a kernel for more processors than a set holds refuses one alone
  return sched_getaffinity(0, sizeof usable, usable) == 0 ? CPU_COUNT_S(sizeof usable, usable) : 1;
}

unsigned long long libraries_loaded() {
  unsigned long long loaded = 0;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* count) {
        *static_cast<unsigned long long*>(count) = info->dlpi_adds;
        return 1;  // each entry tells the same
      },
      &loaded);
  return loaded;
}

}  // namespace nuv::threading
