// What the entry of a routine does at its first call: it picks the body for the instruction set in use.

#include <cstdint>

#include "base/instruction_set.hpp"
#include "frame/plain_word.hpp"

namespace {

/// The read-only record beside each entry; its layout is that of isa_pattern.S. Offsets count from their own field.
struct IsaDescriptor {
  std::int32_t slot;
  std::int32_t bodies[nuv::instruction_set_count];
};

template <class Pointer>
Pointer target_of(const std::int32_t& offset) {
  return reinterpret_cast<Pointer>(reinterpret_cast<std::intptr_t>(&offset) + offset);
}

/// Index of the body to take, -1 until it is known. Threads that race here find the same.
int chosen_body = -1;

}  // namespace

/// Called by the assembly of an entry on its first call, with all argument registers saved.
extern "C" __attribute__((visibility("hidden"))) void* nuv_bind_stub(const IsaDescriptor* entry) {
  using nuv::plain_load;
  using nuv::plain_store;
  if (plain_load(chosen_body) < 0) {
    plain_store(chosen_body, static_cast<int>(nuv::choose_instruction_set().set));
  }
  void* body = target_of<void*>(entry->bodies[plain_load(chosen_body)]);
  plain_store(*target_of<void**>(entry->slot), body);
  return body;
}
