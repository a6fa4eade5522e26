#include "threading/runtime.hpp"

#include <nuv/nuv_services.h>

namespace nuv::threading {

int available_threads() {
  return 1;
}

bool has_threads() {
  return false;
}

int threads_for_short_work() {
  return 1;
}

void note_wait(int) {}

void run_pieces(int, int pieces, void (*piece)(void* context, int index), void* context) {
  for (int index = 0; index < pieces; ++index) piece(context, index);
}

Team::Team(double, double) : mine_(false), is_short_(false) {}
Team::~Team() = default;

int Changes::wait_beyond(std::uint32_t) {
  return 0;
}
void Changes::announce() {
  ++count_;
}

}  // namespace nuv::threading

int nuv_serv_nuv_get_max_threads() {
  return nuv::threading::available_threads();
}

void nuv_thread_set_num_threads(int) {}

int nuv_thread_get_num_threads() {
  return 1;
}
