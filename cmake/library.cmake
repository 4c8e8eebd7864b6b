# The main library, from the files that the folders have listed.

get_property(sources GLOBAL PROPERTY VEKR_SOURCES)
get_property(units GLOBAL PROPERTY VEKR_UNITS)

# The instruction sets, the floor first, and what each lets the compiler use. To add one: its name and its flags here, its
# width in frame/isa.h, its registers in frame/lanes/, its line in frame/dispatch.h. None brings fused multiply-add: the
# results must be the same.
if(VEKR_PROCESSOR STREQUAL aarch64)
  set(VEKR_SETS neon)
else()
  set(VEKR_SETS sse41 avx2)
  if(VEKR_AVX512)
    list(APPEND VEKR_SETS avx512)
  endif()
endif()
set(vekr_flags_avx2 -mavx2 -mno-fma)
# Has fused multiply-add among its own instructions: -ffp-contract=off is what keeps it out, and fused_test looks.
set(vekr_flags_avx512 -mavx2 -mavx512f -mavx512vl -mavx512bw -mavx512dq)
if(VEKR_AVX512_IN_HALVES)
  set(vekr_flags_avx512 ${vekr_flags_avx2})
elseif(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  list(APPEND vekr_flags_avx512 -Wno-uninitialized -Wno-maybe-uninitialized)  # g++ 12 means operands that its own intrinsics leave open
endif()

# The units of kernels for each set: all of them, but for avx512.
foreach(set ${VEKR_SETS})
  set(vekr_units_${set} ${units})
endforeach()
if(VEKR_AVX512)
  # Those that join it, in the order of folders; who asks it for another one gets that of avx2.
  set(VEKR_AVX512_UNITS
    psah_planes_kernels
    lane_forms packet_forms
    cast_kernels masked_kernels normals_kernels
    sh_kernels
    nearest linear cubic remap_kernels warp_kernels
    pair_kernels wide_kernels
    nearest_kernels linear_kernels cubic_kernels
    CACHE STRING "Units of kernels (vekr_kernels() in the folders) for 512-bit registers; the others run as avx2")
  set(vekr_units_avx512 ${VEKR_AVX512_UNITS})
  foreach(unit IN LISTS VEKR_AVX512_UNITS)
    if(NOT unit IN_LIST units)
      message(FATAL_ERROR "VEKR_AVX512_UNITS: no kernels are called \"${unit}\", but these: ${units}")
    endif()
  endforeach()
  if(NOT VEKR_AVX512_UNITS)
    message(FATAL_ERROR "VEKR_AVX512_UNITS is empty: VEKR_AVX512=OFF leaves the set out")
  endif()
  target_compile_definitions(vekr_flags INTERFACE VEKR_AVX512 $<$<BOOL:${VEKR_AVX512_IN_HALVES}>:VEKR_AVX512_IN_HALVES>)
  foreach(unit IN LISTS units)
    set(joins 0)
    if(unit IN_LIST VEKR_AVX512_UNITS)
      set(joins 1)
    endif()
    target_compile_definitions(vekr_flags INTERFACE VEKR_AVX512_${unit}=${joins})
  endforeach()
endif()

# Objects that are compiled once and linked three times: the kernels for each set, and the rest, whose few lanes are the
# floor's.
list(GET VEKR_SETS 0 vekr_floor)
set(vekr_parts)
foreach(set ${VEKR_SETS})
  set(kernels)
  foreach(unit IN LISTS vekr_units_${set})
    get_property(files GLOBAL PROPERTY VEKR_KERNELS_${unit})
    list(APPEND kernels ${files})
  endforeach()
  add_library(vekre9_${set} OBJECT ${kernels})
  target_compile_definitions(vekre9_${set} PRIVATE VEKR_ISA=${set})
  target_compile_options(vekre9_${set} PRIVATE ${vekr_flags_${set}})
  list(APPEND vekr_parts vekre9_${set})
endforeach()
add_library(vekre9_plain OBJECT ${sources})
target_compile_definitions(vekre9_plain PRIVATE VEKR_ISA=${vekr_floor})
list(APPEND vekr_parts vekre9_plain)

set(vekr_objects)
foreach(part ${vekr_parts})
  target_include_directories(${part} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(${part} PRIVATE vekr_library_flags OpenMP::OpenMP_CXX)
  list(APPEND vekr_objects $<TARGET_OBJECTS:${part}>)
endforeach()

vekr_add_library(vekre9 ${PROJECT_SOURCE_DIR}/frame/vekr.map ${vekr_objects})
target_include_directories(vekre9 INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(vekre9 PUBLIC vekcore)  # whoever links the library may call vekMalloc and vekSetNumThreads too
if(VEKR_LIBRARY_TYPE STREQUAL STATIC)
  # By name and not by path, so that the caller's linker finds its own.
  target_link_libraries(vekre9 PRIVATE ${OpenMP_CXX_LIB_NAMES} m)
else()
  set_target_properties(vekre9 PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
  if(NOT VEKR_SANITIZE)
    target_link_options(vekre9 PRIVATE -Wl,-z,defs)            # an undefined name fails here, not at the caller's
  endif()
  target_link_libraries(vekre9 PRIVATE vekr_library_flags OpenMP::OpenMP_CXX)
endif()

add_library(vekr::vekre9 ALIAS vekre9)

# The same objects as an archive, with private names visible: for tests of what is not exported.
if(VEKR_BUILD_TESTS OR VEKR_BUILD_BENCHMARKS)
  add_library(vekre9_private STATIC EXCLUDE_FROM_ALL ${vekr_objects})
  target_include_directories(vekre9_private PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_compile_definitions(vekre9_private PUBLIC VEKR_ISA=${vekr_floor})  # for headers with a few lanes of the floor
  target_link_libraries(vekre9_private PUBLIC vekr_flags vekcore OpenMP::OpenMP_CXX)
endif()
