// What a stub does when it does not yet know its target.

#include <nuv/nuv_services.h>

#include <cstdint>

#include "frame/plain_word.hpp"

namespace {

enum class Family : std::int32_t { ConfiguredKernel, Kernel, Layer };

/// The read-only record beside each stub; its layout is that of stub_pattern.S.
struct StubDescriptor {
  std::int32_t slot_offset;  ///< from this record to the stub's target word, in bytes
  Family family;
  char symbol[1];  ///< terminated; the name to ask for
};

void*& target_word(const StubDescriptor& stub) {
  const auto address = reinterpret_cast<std::intptr_t>(&stub) + stub.slot_offset;
  return *reinterpret_cast<void**>(address);
}

void* find_target(const StubDescriptor& stub) {
  if (stub.family == Family::Layer) return nuv_serv_load_thread_fun(stub.symbol);
  nuv_serv_load_dll();
  return nuv_serv_load_fun(stub.symbol);
}

}  // namespace

/// Called by the assembly of every stub on its first call, with all argument registers saved. Gives the target, which
/// is null when the thread layer lacks the name.
///
/// Takes no lock: threads that race here find the same target and store the same word.
extern "C" __attribute__((visibility("hidden"))) void* nuv_bind_stub(const StubDescriptor* stub) {
  using nuv::plain_load;
  if (stub->family == Family::ConfiguredKernel && plain_load(__nuv_cfg_file_readed_extern) == 0) nuv_cfg_file(0);
  void*& target = target_word(*stub);
  if (plain_load(target) == nullptr) nuv::plain_store(target, find_target(*stub));
  return plain_load(target);
}
