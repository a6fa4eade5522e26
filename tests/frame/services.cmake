# Configuration file, processor choice, workspace pool.

# Stand-ins for kernel libraries, told apart by the name inside.
set(NUV_FAKE_KERNELS ${CMAKE_CURRENT_BINARY_DIR}/fake_kernels)
set(fake_kernel_targets)
foreach(name zero one two three four)
  add_library(fake_kernel_${name} MODULE fake_kernel.c)
  target_compile_definitions(fake_kernel_${name} PRIVATE NUV_FAKE_KERNEL_NAME="${name}")
  set_target_properties(fake_kernel_${name} PROPERTIES
    PREFIX "" OUTPUT_NAME ${name} LIBRARY_OUTPUT_DIRECTORY ${NUV_FAKE_KERNELS})
  list(APPEND fake_kernel_targets fake_kernel_${name})
endforeach()

add_executable(frame_probe frame_probe.cpp)
target_link_libraries(frame_probe PRIVATE nuv_frame_objects nuv_internal_headers ${CMAKE_DL_LIBS})
add_dependencies(frame_probe catalogue)

nuv_test(configuration_test SOURCES configuration_test.cpp LIBRARIES nuv_frame_objects ${CMAKE_DL_LIBS})
nuv_test(processor_test SOURCES processor_test.cpp stepped_processor.cpp LIBRARIES nuv_frame_objects ${CMAKE_DL_LIBS})
nuv_test(pool_test SOURCES pool_test.cpp pool_model.cpp LIBRARIES nuv_frame_objects ${CMAKE_DL_LIBS})
nuv_test(pool_sequence_test SOURCES pool_sequence_test.cpp pool_model.cpp LIBRARIES nuv_frame_objects ${CMAKE_DL_LIBS})
nuv_test(pool_stress_test SOURCES pool_stress_test.cpp LIBRARIES nuv_frame_objects ${CMAKE_DL_LIBS})

foreach(test configuration_test processor_test)
  add_dependencies(${test} frame_probe ${fake_kernel_targets})
  target_compile_definitions(${test} PRIVATE
    NUV_FRAME_PROBE="$<TARGET_FILE:frame_probe>"
    NUV_FAKE_KERNELS="${NUV_FAKE_KERNELS}")
endforeach()
add_dependencies(processor_test nuv_lapack)
target_compile_definitions(processor_test PRIVATE NUV_LAPACK_FILE="$<TARGET_FILE:nuv_lapack>")
