// A library that only its name in the configuration ties to the others.

extern "C" int fake_sibling_number() { return NUV_FAKE_NUMBER; }
