#include "environment/rotation.hpp"

#include "environment/rotation.entries.inc"
