# Flags of every target, each with its reason, and the verbs by which the folders list their files and make libraries.

set(CMAKE_C_STANDARD 99)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# A host chooses by itself, and so does a generator that builds several types in one folder.
get_property(vekr_many_types GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT vekr_many_types)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, Debug or RelWithDebInfo" FORCE)
endif()

# Both libraries lie side by side, as installed, so that $ORIGIN finds the companion in the build tree too. A host may have
# one place for all of its own.
if(NOT CMAKE_LIBRARY_OUTPUT_DIRECTORY)
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
endif()
if(NOT CMAKE_RUNTIME_OUTPUT_DIRECTORY)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endif()

find_package(OpenMP REQUIRED COMPONENTS CXX)

set(vekr_floor_flags)
if(VEKR_PROCESSOR STREQUAL x86_64)
  set(vekr_floor_flags -msse4.1)  # the floor of the processor class; 64-bit ARM has its lanes always
endif()

add_library(vekr_flags INTERFACE)
target_compile_options(vekr_flags INTERFACE
  -ffp-contract=off      # results are the same to the last bit: no fused multiply-add that the source doesn't write
  -fno-math-errno        # lets sqrt be one instruction; nobody reads errno
  -fno-trapping-math     # lets lanes be computed that are thrown away; no exception is ever unmasked
  ${vekr_floor_flags}
  -Wall -Wextra)
if(VEKR_ESTIMATES STREQUAL table)
  target_compile_definitions(vekr_flags INTERFACE VEKR_ESTIMATES_BY_TABLE)
endif()
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

# vekr_kernels(unit file...): kernel files, compiled once for each instruction set (see frame/dispatch.h). A unit is what can
# join a set by itself, named like its file or, if there are several, like the header that declares them; VEKR_KERNELS() in
# that header says its name.
function(vekr_kernels unit)
  get_property(known GLOBAL PROPERTY VEKR_KERNELS_${unit})
  if(known OR NOT ARGN)
    message(FATAL_ERROR "vekr_kernels(${unit} ...): a unit has a name of its own, and files")
  endif()
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_property(GLOBAL APPEND PROPERTY VEKR_UNITS ${unit})
  set_property(GLOBAL PROPERTY VEKR_KERNELS_${unit} ${ARGN})
endfunction()

# Shared unless somebody asks for archives; BUILD_SHARED_LIBS is the host's, if there is a host.
if(PROJECT_IS_TOP_LEVEL)
  option(BUILD_SHARED_LIBS "Shared libraries; OFF: archives" ON)
endif()
set(VEKR_LIBRARY_TYPE SHARED)
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
  set(VEKR_LIBRARY_TYPE STATIC)
endif()

# vekr_add_library(name map object...): a library of objects that shows the names which the version script lists, and
# nothing else. Linked by C, so that no C++ runtime comes in, neither here nor at the caller's.
function(vekr_add_library name map)
  if(VEKR_LIBRARY_TYPE STREQUAL SHARED)
    add_library(${name} SHARED ${ARGN})
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map}
      VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    target_link_options(${name} PRIVATE
      -Wl,--version-script=${map}  # exports the public functions and nothing else
      -Wl,--as-needed)             # drops runtimes that nothing calls
  else()
    # An archive knows no hidden names: all that one object shows to another it shows to the caller's as well. So it holds
    # a single object, in which the others have been joined and all names but the listed ones made local.
    file(STRINGS ${map} names REGEX "^ +[A-Za-z_0-9]+;$")
    list(TRANSFORM names REPLACE "^ +(.*);$" "\\1")
    list(JOIN names "\n" names)
    set(joined ${CMAKE_CURRENT_BINARY_DIR}/${name})
    file(CONFIGURE OUTPUT ${joined}.names CONTENT "${names}\n" @ONLY)
    add_custom_command(OUTPUT ${joined}.o
      COMMAND ${CMAKE_LINKER} -r --force-group-allocation -o ${joined}.o ${ARGN}
      COMMAND ${CMAKE_OBJCOPY} --keep-global-symbols=${joined}.names ${joined}.o
      DEPENDS ${ARGN} ${map} ${joined}.names COMMAND_EXPAND_LISTS VERBATIM)
    add_library(${name} STATIC ${joined}.o)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${map})
  endif()
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE C)
endfunction()
