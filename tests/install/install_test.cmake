# Installs the build tree to a prefix of its own and builds a C99 program against it by both documented ways.
# Arguments: BUILD, VERSION, SOURCE, WORK, GENERATOR, COMPILER, PKG_CONFIG, LIBDIR, INCLUDEDIR.

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
set(libraries ${prefix}/${LIBDIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed with ${result}:\n${text}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})

foreach(file ${INCLUDEDIR}/vekr.h ${INCLUDEDIR}/vekr_extra.h ${INCLUDEDIR}/vekcore.h ${LIBDIR}/libvekre9.so ${LIBDIR}/libvekre9.so.${VERSION}
    ${LIBDIR}/libvekcore.so ${LIBDIR}/libvekcore.so.${VERSION} ${LIBDIR}/cmake/vekr/vekr-config.cmake
    ${LIBDIR}/pkgconfig/vekr.pc)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "${file} has not been installed")
  endif()
endforeach()

# find_package
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_C_COMPILER=${COMPILER} -DVEKR_VERSION=${VERSION})
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer)

# pkg-config, whose file must say where it lies now. The library finds its companion beside itself.
set(ENV{PKG_CONFIG_PATH} ${libraries}/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs vekr OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
if(NOT flags MATCHES "${prefix}")
  message(SEND_ERROR "pkg-config doesn't know the prefix of this installation: ${flags}")
  return()
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${COMPILER} -std=c99 -Wall -Wextra -Wpedantic -Werror ${SOURCE}/consumer.c -o ${WORK}/consumer ${flags} -lm)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libraries} ${WORK}/consumer)
run(${COMPILER} -std=c99 ${SOURCE}/consumer.c -o ${WORK}/consumer_rpath ${flags} -lm -Wl,-rpath,${libraries})
run(${WORK}/consumer_rpath)
