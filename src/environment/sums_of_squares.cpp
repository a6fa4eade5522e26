#include "environment/sums_of_squares.hpp"

#include "environment/sums_of_squares.entries.inc"
