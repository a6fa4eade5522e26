/* A kernel library that holds nothing but its name. */
const char nuv_fake_kernel_name[] = NUV_FAKE_KERNEL_NAME;
