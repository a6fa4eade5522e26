/* A companion of a thread layer has no code of its own: it names the layer and libnuv_lapack as its dependencies, so
 * that the loader finds in the one what the other calls. */

typedef int nothing;
