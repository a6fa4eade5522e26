# What a program links, by the same names in a tree of which nuv is a part as with find_package(nuv):
#
#   nuv::nuv          libnuv.so: the published names, the routines, and a thread layer that it brings by itself
#   nuv::sequential   the routines and the layer that works on the calling thread
#   nuv::threaded     the routines and the layer that works on several threads
#   nuv::lapack       the routines; link it only beside a thread layer

target_link_libraries(nuv_all INTERFACE nuv_lapack)
# A program that calls the routines by nuv's own names asks libnuv_lapack for each of them.
target_link_options(nuv_all INTERFACE LINKER:--no-as-needed)

# Found by their files when a program runs, so no link asks for them.
add_dependencies(nuv_sequential nuv_kpa nuv_kpb)
add_dependencies(nuv_orvo_thread nuv_kpa nuv_kpb)

add_library(nuv::nuv ALIAS nuv_all)
add_library(nuv::sequential ALIAS nuv_sequential)
add_library(nuv::threaded ALIAS nuv_orvo_thread)
add_library(nuv::lapack ALIAS nuv_lapack)
