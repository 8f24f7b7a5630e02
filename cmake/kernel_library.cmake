# The kernel library: every source file below these directories belongs to it.
set(ORV_KERNEL_AREAS platform frame kernels streams distributions statistics fitting)
set(ORV_KERNEL_OBJECTS "")
foreach(area IN LISTS ORV_KERNEL_AREAS)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${area}/*.cpp ${PROJECT_SOURCE_DIR}/${area}/*.S)
  if(sources)
    add_library(orv_${area} OBJECT ${sources})
    target_link_libraries(orv_${area} PRIVATE orv_kernel_flags)
    list(APPEND ORV_KERNEL_OBJECTS $<TARGET_OBJECTS:orv_${area}>)
  endif()
endforeach()
file(GLOB ORV_EXPORT_FILES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/exports/*.txt)
list(FILTER ORV_EXPORT_FILES EXCLUDE REGEX "/(all|core)\\.txt$")

add_library(orv_elw_avx2 SHARED ${ORV_KERNEL_OBJECTS})
set_target_properties(orv_elw_avx2 PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 2 LINKER_LANGUAGE CXX)
target_link_libraries(orv_elw_avx2 PRIVATE orv_flags ${CMAKE_DL_LIBS})
target_include_directories(orv_elw_avx2 INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
orv_export_list(orv_elw_avx2 ${ORV_EXPORT_FILES})
if(WIN32)
  set_target_properties(orv_elw_avx2 PROPERTIES PREFIX "" OUTPUT_NAME orv_elw_avx2.2)
  target_link_options(orv_elw_avx2 PRIVATE -static)
elseif(NOT ORV_SANITIZE) # a sanitizer's runtime stays undefined in a library
  target_link_options(orv_elw_avx2 PRIVATE -Wl,-z,defs)
endif()

orv_version_resource(orv_elw_avx2 "Numerical kernels for processors with AVX2 and FMA")

# The same objects with everything visible, for tests of the inside.
add_library(orv_elw_inside INTERFACE)
target_sources(orv_elw_inside INTERFACE ${ORV_KERNEL_OBJECTS})
target_link_libraries(orv_elw_inside INTERFACE orv_flags ${CMAKE_DL_LIBS})
target_compile_definitions(orv_elw_inside INTERFACE ORV_INSIDE)
