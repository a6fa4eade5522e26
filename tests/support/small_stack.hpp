#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

#include "support/sanitized.hpp"

namespace nuv::test {

/// Makes a call in a thread of as small a stack as programs may give theirs. Sanitizers need more of it themselves.
template <class Call>
void run_in_small_stack(Call call) {
  const std::size_t size = (is_sanitized ? 16 : 1) * std::size_t{65536};
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
  const auto start = [](void* argument) -> void* {
    (*static_cast<Call*>(argument))();
    return nullptr;
  };
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, start, &call), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

}  // namespace nuv::test
