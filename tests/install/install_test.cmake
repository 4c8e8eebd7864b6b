# Installs the build tree to a prefix of its own, builds a C99 program against it by both documented ways, runs the installed
# programs and uninstalls all of it.
# Arguments: BUILD, VERSION, SOURCE, WORK, GENERATOR, COMPILER, PKG_CONFIG, LIBDIR, INCLUDEDIR, PROGRAMS (separated by commas),
# BASH, ZSH (may be missing).

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
set(libraries ${prefix}/${LIBDIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed with ${result}:\n${text}")
  endif()
endfunction()

# The build tree's own list of what has been installed from it is somebody else's: it comes back at the end.
file(GLOB manifests ${BUILD}/install_manifest*.txt)
if(manifests)
  file(COPY ${manifests} DESTINATION ${WORK}/manifests)
  file(REMOVE ${manifests})
endif()
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

# Programs run from where they lie, with a manual page that tells their options and completion that knows them.
string(REPLACE "," ";" programs "${PROGRAMS}")
foreach(program ${programs})
  run(${prefix}/bin/${program} --help)
  run(gzip -dk ${prefix}/share/man/man1/${program}.1.gz)
  file(READ ${prefix}/share/man/man1/${program}.1 page)
  foreach(expected "\n\\.SH NAME\n" "\n\\.SH SYNOPSIS\n" "\n\\.SH DESCRIPTION\n" "\n\\.SH EXIT STATUS\n" "\n\\.B \\\\-h,\\\\-\\\\-help\n")
    if(NOT page MATCHES "${expected}")
      message(SEND_ERROR "the manual page of ${program} has no ${expected}")
    endif()
  endforeach()
  file(REMOVE ${prefix}/share/man/man1/${program}.1)
  run(${BASH} ${CMAKE_CURRENT_LIST_DIR}/completion_test.sh ${prefix}/share/bash-completion/completions/${program})
  if(ZSH)
    run(${ZSH} -n ${prefix}/share/zsh/site-functions/_${program})
  endif()
endforeach()

run(${CMAKE_COMMAND} --build ${BUILD} --target uninstall)
file(GLOB_RECURSE left ${prefix}/*)
if(left)
  message(SEND_ERROR "still there after uninstalling: ${left}")
endif()
if(EXISTS ${WORK}/manifests)
  file(GLOB manifests ${WORK}/manifests/*)
  file(COPY ${manifests} DESTINATION ${BUILD})
endif()
