# Flags of every target, each with its reason, and the two verbs by which the folders list their files.

set(CMAKE_C_STANDARD 99)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, Debug or RelWithDebInfo" FORCE)
endif()

# Both libraries lie side by side, as installed, so that $ORIGIN finds the companion in the build tree too.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

find_package(OpenMP REQUIRED COMPONENTS CXX)

add_library(vekr_flags INTERFACE)
target_compile_options(vekr_flags INTERFACE
  -ffp-contract=off      # results are the same to the last bit: no fused multiply-add that the source doesn't write
  -fno-math-errno        # lets sqrt be one instruction; nobody reads errno
  -fno-trapping-math     # lets lanes be computed that are thrown away; no exception is ever unmasked
  -msse4.1               # the floor of the processor class
  -Wall -Wextra)
if(VEKR_WERROR)
  target_compile_options(vekr_flags INTERFACE -Werror)
endif()
if(VEKR_SANITIZE)
  target_compile_options(vekr_flags INTERFACE -fsanitize=${VEKR_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(vekr_flags INTERFACE -fsanitize=${VEKR_SANITIZE})
endif()

# Inside the library: a plain C ABI that needs no C++ runtime at load time.
add_library(vekr_library_flags INTERFACE)
target_link_libraries(vekr_library_flags INTERFACE vekr_flags)
target_compile_options(vekr_library_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  "SHELL:-include \"${PROJECT_SOURCE_DIR}/frame/exact_math.h\""  # refuses -ffast-math among a packager's flags
  -fvisibility=hidden
  -Wconversion -Wno-sign-conversion -Wshadow -Wpedantic)

# vekr_sources(file...): files of the calling folder that are compiled once.
function(vekr_sources)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_property(GLOBAL APPEND PROPERTY VEKR_SOURCES ${ARGN})
endfunction()

# vekr_kernels(file...): kernel files, compiled once for each instruction set (see frame/dispatch.h).
function(vekr_kernels)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_property(GLOBAL APPEND PROPERTY VEKR_KERNELS ${ARGN})
endfunction()
