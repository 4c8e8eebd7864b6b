# Header, libraries, CMake package and pkg-config file; the programs with manual pages and completion; the Python package.
# Four components, which are the four packages of packages.cmake: runtime, dev, tools, python.

include(CMakePackageConfigHelpers)

install(FILES include/vekr.h include/vekr_extra.h vekcore/vekcore.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(TARGETS vekre9 vekcore EXPORT vekr
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(EXPORT vekr NAMESPACE vekr:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vekr FILE vekr-targets.cmake COMPONENT dev)

configure_package_config_file(cmake/vekr-config.cmake.in ${PROJECT_BINARY_DIR}/vekr-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vekr)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vekr-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vekr-config.cmake ${PROJECT_BINARY_DIR}/vekr-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vekr COMPONENT dev)

# From where the file lies, so that an installed tree may be moved or installed under another prefix.
file(RELATIVE_PATH vekr_prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" vekr_prefix_from_pc "${vekr_prefix_from_pc}")
list(TRANSFORM OpenMP_CXX_LIB_NAMES PREPEND "-l" OUTPUT_VARIABLE vekr_private_libraries)
list(JOIN vekr_private_libraries " " vekr_private_libraries)
configure_file(cmake/vekr.pc.in ${PROJECT_BINARY_DIR}/vekr.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vekr.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# The programs find the libraries from where they lie. Manual pages and completion are made from what the programs say of
# themselves at --help; sanitized programs are not for installing, and say it slowly.
file(RELATIVE_PATH vekr_libraries_from_programs /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set(vekr_pages)
function(vekr_install_program program folder)
  if(NOT TARGET ${program} OR VEKR_SANITIZE)
    return()
  endif()
  set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${vekr_libraries_from_programs}")
  install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  set(made ${PROJECT_BINARY_DIR}/manual)
  # Packages have no paths to libraries in their programs.
  set(manual ${PROJECT_SOURCE_DIR}/cmake/manual.sh)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  set(run ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=$<TARGET_FILE_DIR:vekre9> "VEKR_EMULATOR=${emulator}" bash ${manual})
  set(text ${PROJECT_SOURCE_DIR}/examples/${folder}/manual.txt)
  add_custom_command(OUTPUT ${made}/${program}.1.gz ${made}/bash/${program} ${made}/zsh/_${program}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${made}/bash ${made}/zsh
    COMMAND ${run} man $<TARGET_FILE:${program}> ${text} ${PROJECT_VERSION} > ${made}/${program}.1
    COMMAND gzip -9nf ${made}/${program}.1
    COMMAND ${run} bash $<TARGET_FILE:${program}> > ${made}/bash/${program}
    COMMAND ${run} zsh $<TARGET_FILE:${program}> > ${made}/zsh/_${program}
    DEPENDS ${program} ${manual} ${text} VERBATIM)
  install(FILES ${made}/${program}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${made}/bash/${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES ${made}/zsh/_${program} DESTINATION ${VEKR_INSTALL_ZSHDIR} COMPONENT tools)
  set(vekr_pages ${vekr_pages} ${made}/${program}.1.gz PARENT_SCOPE)
endfunction()
set(VEKR_INSTALL_ZSHDIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Folder of zsh's completion functions")
vekr_install_program(vekr-render render)
vekr_install_program(vekr-volume volume)
vekr_install_program(vekr-sh-light sh-light)
# A component of its own, of which no package is made: it would bring the toolkit to everybody.
if(TARGET vekr-volume-itk AND NOT VEKR_SANITIZE)
  install(TARGETS vekr-volume-itk LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/vekr COMPONENT itk)
endif()
if(vekr_pages)
  add_custom_target(vekr_manual ALL DEPENDS ${vekr_pages})
endif()

# The Python package: beside the libraries, where it finds them (PYTHONPATH=PREFIX/lib/python), or in another folder, if the
# linker finds them.
option(VEKR_INSTALL_PYTHON "Install the Python package" OFF)
set(VEKR_INSTALL_PYTHONDIR ${CMAKE_INSTALL_LIBDIR}/python CACHE STRING "Folder of the Python package")
if(VEKR_INSTALL_PYTHON)
  file(STRINGS python/vekr/__init__.py vekr_python_version REGEX "^__version__ = ")
  if(NOT vekr_python_version STREQUAL "__version__ = \"${PROJECT_VERSION}\"")
    message(FATAL_ERROR "python/vekr/__init__.py tells another version than ${PROJECT_VERSION}: ${vekr_python_version}")
  endif()
  install(DIRECTORY python/vekr DESTINATION ${VEKR_INSTALL_PYTHONDIR} COMPONENT python
    FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
  install(FILES include/vekr.h DESTINATION ${VEKR_INSTALL_PYTHONDIR}/vekr/_native COMPONENT python)
  # What pip and importlib.metadata know of it.
  set(vekr_python_metadata ${PROJECT_BINARY_DIR}/vekr-${PROJECT_VERSION}.dist-info)
  configure_file(packaging/python/METADATA.in ${vekr_python_metadata}/METADATA @ONLY)
  install(DIRECTORY ${vekr_python_metadata} DESTINATION ${VEKR_INSTALL_PYTHONDIR} COMPONENT python)
endif()

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR} -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake
    COMMENT "Removing what the last installation has put down")
  find_program(VEKR_DPKG_DEB dpkg-deb)
  if(VEKR_DPKG_DEB AND VEKR_LIBRARY_TYPE STREQUAL SHARED)
    include(cmake/packages.cmake)
  endif()
endif()
