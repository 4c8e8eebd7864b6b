# The main library, from the files that the folders have listed.

get_property(sources GLOBAL PROPERTY VEKR_SOURCES)
get_property(kernels GLOBAL PROPERTY VEKR_KERNELS)

# Objects that are compiled once and linked three times: kernels for the floor, kernels for 256-bit
# registers (still without fused multiply-add: the results must be the same), and the rest.
add_library(vekre9_sse41 OBJECT ${kernels})
target_compile_definitions(vekre9_sse41 PRIVATE VEKR_ISA=sse41)
add_library(vekre9_avx2 OBJECT ${kernels})
target_compile_definitions(vekre9_avx2 PRIVATE VEKR_ISA=avx2)
target_compile_options(vekre9_avx2 PRIVATE -mavx2 -mno-fma)
add_library(vekre9_plain OBJECT ${sources})

set(vekr_objects)
foreach(part vekre9_sse41 vekre9_avx2 vekre9_plain)
  target_include_directories(${part} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(${part} PRIVATE vekr_library_flags OpenMP::OpenMP_CXX)
  list(APPEND vekr_objects $<TARGET_OBJECTS:${part}>)
endforeach()

# The C linker driver, so that no C++ runtime comes in.
add_library(vekre9 SHARED ${vekr_objects})
set_target_properties(vekre9 PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION}
  LINKER_LANGUAGE C
  BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN"
  LINK_DEPENDS ${PROJECT_SOURCE_DIR}/frame/vekr.map)
target_include_directories(vekre9 INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_options(vekre9 PRIVATE
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/frame/vekr.map  # exports the public functions and nothing else
  -Wl,--as-needed)                                           # drops runtimes that nothing calls
if(NOT VEKR_SANITIZE)
  target_link_options(vekre9 PRIVATE -Wl,-z,defs)            # an undefined name fails here, not at the caller's
endif()
target_link_libraries(vekre9 PRIVATE vekr_library_flags vekcore OpenMP::OpenMP_CXX)

# The same objects as an archive, with private names visible: for tests of what is not exported.
if(BUILD_TESTING OR VEKR_BUILD_BENCHMARKS)
  add_library(vekre9_private STATIC EXCLUDE_FROM_ALL ${vekr_objects})
  target_include_directories(vekre9_private PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(vekre9_private PUBLIC vekr_flags vekcore OpenMP::OpenMP_CXX)
endif()
