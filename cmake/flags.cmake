# Flags that all code shares, and the ones that decide numerical results.
add_library(orv_flags INTERFACE)
target_include_directories(orv_flags INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_compile_options(orv_flags INTERFACE -Wall -Wextra -Werror -ffp-contract=off -fno-math-errno
  $<$<COMPILE_LANGUAGE:CXX>:-Wno-psabi>)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "i.86")
  target_compile_options(orv_flags INTERFACE -msse2 -mfpmath=sse -mincoming-stack-boundary=2)
endif()
if(ORV_SANITIZE)
  target_compile_options(orv_flags INTERFACE -fsanitize=${ORV_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all -fno-sanitize=float-divide-by-zero)
  target_link_options(orv_flags INTERFACE -fsanitize=${ORV_SANITIZE})
endif()

# Code that runs after the processor check only. No contraction, no reassociation: a fused step is
# written fma() where it is meant, and scalar code rounds and raises flags as it stands. GCC is kept from making
# integer constants of vectors anew in every turn of a loop (move, insert, broadcast): it loads them.
add_library(orv_kernel_flags INTERFACE)
target_link_libraries(orv_kernel_flags INTERFACE orv_flags)
target_compile_definitions(orv_kernel_flags INTERFACE ORV_INSIDE)
target_compile_options(orv_kernel_flags INTERFACE -mavx2 -mfma -frounding-math -fsignaling-nans
  $<$<CXX_COMPILER_ID:GNU>:-mtune-ctrl=^inter_unit_moves_to_vec>
  $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique -fno-exceptions -fno-rtti -fno-threadsafe-statics>)
