// Bodies of an invented name, which tell their instruction set.

extern "C" {

const char* own_set_sse2() {
  return "sse2";
}
const char* own_set_avx2() {
  return "avx2";
}
const char* own_set_avx512() {
  return "avx512";
}
}
