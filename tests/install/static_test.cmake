# Builds the library as archives and links a C program to them, by the CMake package and by pkg-config. The copy that is
# built has a third number in its version: what is installed must carry it, what the interface fixes must not.
# Arguments: SOURCE, FOLDERS (of the library, separated by commas), CONSUMER_PROJECT, CONSUMER, WORK, GENERATOR, C_COMPILER,
# CXX_COMPILER, C_FLAGS, CXX_FLAGS, VERSION, PKG_CONFIG, NM, LIBDIR.

file(REMOVE_RECURSE ${WORK})
set(copy ${WORK}/sources)
string(REPLACE "," ";" folders "${FOLDERS}")
foreach(folder CMakeLists.txt cmake include ${folders})
  file(COPY ${SOURCE}/${folder} DESTINATION ${copy})
endforeach()
set(version ${VERSION}.7)
file(READ ${copy}/CMakeLists.txt text)
string(REPLACE "project(vekr VERSION ${VERSION} " "project(vekr VERSION ${version} " text "${text}")
file(WRITE ${copy}/CMakeLists.txt "${text}")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text
    OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed with ${result}:\n${text}")
  endif()
  set(output "${text}" PARENT_SCOPE)
endfunction()

# Neither optimised nor with debugging information: that is done sooner, and leaves more names to hide.
set(prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${copy} -B ${WORK}/build -DCMAKE_BUILD_TYPE=None -DBUILD_SHARED_LIBS=OFF
  -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_C_FLAGS=${C_FLAGS} -DCMAKE_CXX_FLAGS=${CXX_FLAGS}
  -DCMAKE_INSTALL_LIBDIR=${LIBDIR} -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF -DVEKR_BUILD_EXAMPLES=OFF)
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${CMAKE_COMMAND} --install ${WORK}/build --prefix ${prefix})
file(GLOB_RECURSE shared ${prefix}/*.so*)
if(shared)
  message(SEND_ERROR "asked for archives and got ${shared}")
endif()

# Names that a caller could run into: those of the interface.
function(expect_names archive map)
  file(READ ${SOURCE}/${map} text)
  string(REGEX MATCHALL "[A-Za-z_0-9]+;" expected "${text}")
  list(TRANSFORM expected REPLACE ";" "")
  list(REMOVE_ITEM expected "")
  list(SORT expected)
  run(${NM} --defined-only --extern-only --format=posix ${prefix}/${LIBDIR}/${archive})
  string(REGEX MATCHALL "\n[^ \n]+ " actual "${output}")
  list(TRANSFORM actual STRIP)
  list(SORT actual)
  if(NOT actual STREQUAL expected)
    message(SEND_ERROR "${archive} shows\n${actual}\ninstead of\n${expected}")
  endif()
endfunction()
expect_names(libvekre9.a frame/vekr.map)
expect_names(libvekcore.a vekcore/vekcore.map)

run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${CONSUMER_PROJECT} -B ${WORK}/consumer -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_C_COMPILER=${C_COMPILER} -DVEKR_VERSION=${version})
run(${CMAKE_COMMAND} --build ${WORK}/consumer)
run(${WORK}/consumer/consumer)

set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(${PKG_CONFIG} --modversion vekr)
if(NOT output STREQUAL version)
  message(SEND_ERROR "pkg-config knows version ${output}, not ${version}")
endif()
run(${PKG_CONFIG} --static --cflags --libs vekr)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${C_COMPILER} -std=c99 -Wall -Wextra -Wpedantic -Werror ${CONSUMER} -o ${WORK}/consumer_pc ${flags})
run(${WORK}/consumer_pc)
