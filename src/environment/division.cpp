#include "environment/division.hpp"

#include "environment/division.entries.inc"
