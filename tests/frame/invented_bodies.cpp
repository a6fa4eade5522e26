// Bodies of an invented name, which tell their instruction set.

extern "C" {

const char* own_set_sse2() {
  return "sse2";
}
#if defined(__x86_64__)
const char* own_set_ssse3() {
  return "ssse3";
}
const char* own_set_avx2() {
  return "avx2";
}
const char* own_set_avx512() {
  return "avx512";
}
#endif
}
