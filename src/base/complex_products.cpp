// Complex products by the plain formula, for compilers that can't be told to leave it at that: those test each product
// and, where both of its parts are not numbers, call these functions, which would look for infinities in the factors.

namespace {
template <class Complex, class R>
Complex plain_product(R a, R b, R c, R d) {
  Complex z;
  __real__ z = a * c - b * d;
  __imag__ z = a * d + b * c;
  return z;
}
}  // namespace

extern "C" {
_Complex float __mulsc3(float a, float b, float c, float d) {
  return plain_product<_Complex float>(a, b, c, d);
}
_Complex double __muldc3(double a, double b, double c, double d) {
  return plain_product<_Complex double>(a, b, c, d);
}
}
