#pragma once

// The thread layers, by the names of their files.

#include "base/platform.hpp"

#define NUV_THREADED_LAYER_FILE NUV_LIBRARY_FILE("libnuv_orvo_thread")
#define NUV_SEQUENTIAL_LAYER_FILE NUV_LIBRARY_FILE("libnuv_sequential")
