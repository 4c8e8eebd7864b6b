# Builds the library a second time, from sources that lie elsewhere, within another project; a program of that project must
# run, and the library must have the same bytes as the one that stands alone.
# Arguments: SOURCE, FOLDERS (of the library, separated by commas), HOST, CONSUMER, WORK, GENERATOR, C_COMPILER, CXX_COMPILER,
# C_FLAGS, CXX_FLAGS, AVX512, AVX512_IN_HALVES (options of the library), LIBRARY, COMPANION.

file(REMOVE_RECURSE ${WORK})
set(copy "${WORK}/elsewhere/sources of vekr")  # a blank, which paths may have
string(REPLACE "," ";" folders "${FOLDERS}")
foreach(folder CMakeLists.txt cmake include ${folders})  # the library needs no more than these
  file(COPY ${SOURCE}/${folder} DESTINATION ${copy})
endforeach()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed with ${result}:\n${text}")
  endif()
endfunction()

set(configure ${CMAKE_COMMAND} -G ${GENERATOR} -S ${HOST} -B ${WORK}/build -DCONSUMER=${CONSUMER} -DVEKR_SOURCE=${copy}
  -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  -DCMAKE_C_FLAGS=${C_FLAGS} -DCMAKE_CXX_FLAGS=${CXX_FLAGS}
  -DVEKR_AVX512=${AVX512} -DVEKR_AVX512_IN_HALVES=${AVX512_IN_HALVES})
run(${configure})                               # a host without a build type stays without one
run(${configure} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK}/build --target consumer)
run(${WORK}/build/consumer)

run(${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/prefix)
file(GLOB_RECURSE installed ${WORK}/prefix/*)
if(installed)
  message(SEND_ERROR "installed, though the host installs nothing: ${installed}")
endif()

foreach(library ${LIBRARY} ${COMPANION})
  get_filename_component(name ${library} NAME)
  file(GLOB_RECURSE second ${WORK}/build/*/${name})
  list(LENGTH second count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "${count} files ${name} in the host's build")
  endif()
  file(SHA256 ${library} expected)
  file(SHA256 ${second} actual)
  if(NOT actual STREQUAL expected)
    message(SEND_ERROR "${library} and ${second} differ: the build isn't reproducible")
  endif()
endforeach()
