#pragma once

// Functions behind stubs of invented names. Between them they take and return values in every way that the calling
// conventions know: in general registers, in vector registers, on the x87 stack, in memory of the caller's, and with
// more arguments than any registers hold.

#include <cstdint>

#include "register_image.h"

namespace nuv::test {

struct TwoDoubles {
  double first, second;
};

struct ManyWords {
  std::int64_t words[9];
};

}  // namespace nuv::test

extern "C" {

/// Sum of i times argument i.
std::int64_t weigh_integers(int, int, int, int, int, int, int, int, int, int, int, int, int, int, int, int, int, int,
                            int, int, int, int, int, int);
double weigh_doubles(double, double, double, double, double, double, double, double, double, double, double, double);

/// The arguments in turn, one digit each.
double mix(int, double, const int*, float, char, std::int64_t, double, int, double, double, double, double, double,
           double, double, int);
float half(float x);
long double reciprocal(long double x);
nuv::test::TwoDoubles swapped(double first, double second);
nuv::test::ManyWords from_one(std::int64_t first);
int file_number();

void dump_registers();

/// What dump_registers was last entered with.
const nuv::test::RegisterImage* last_register_dump();
}
