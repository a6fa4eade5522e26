// Counts how often the stubs of a library go the cold way. The linker leads their calls of nuv_bind_stub here.

extern "C" {

void* __real_nuv_bind_stub(const void* descriptor);

__attribute__((visibility("default"))) int NUV_BINDING_COUNT = 0;

__attribute__((visibility("hidden"))) void* __wrap_nuv_bind_stub(const void* descriptor) {
  ++NUV_BINDING_COUNT;
  return __real_nuv_bind_stub(descriptor);
}
}
