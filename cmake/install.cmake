# Header, libraries, CMake package and pkg-config file.

include(CMakePackageConfigHelpers)

install(FILES include/vekr.h include/vekr_extra.h vekcore/vekcore.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS vekre9 vekcore EXPORT vekr 
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT vekr NAMESPACE vekr:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vekr FILE vekr-targets.cmake)

configure_package_config_file(cmake/vekr-config.cmake.in ${PROJECT_BINARY_DIR}/vekr-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vekr)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vekr-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vekr-config.cmake ${PROJECT_BINARY_DIR}/vekr-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vekr)

# From where the file lies, so that an installed tree may be moved or installed under another prefix.
file(RELATIVE_PATH vekr_prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" vekr_prefix_from_pc "${vekr_prefix_from_pc}")
list(TRANSFORM OpenMP_CXX_LIB_NAMES PREPEND "-l" OUTPUT_VARIABLE vekr_private_libraries)
list(JOIN vekr_private_libraries " " vekr_private_libraries)
configure_file(cmake/vekr.pc.in ${PROJECT_BINARY_DIR}/vekr.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vekr.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The Python package, in a folder beside the libraries, where it finds them: PYTHONPATH=PREFIX/lib/python.
option(VEKR_INSTALL_PYTHON "Install the Python package beside the library" OFF)
if(VEKR_INSTALL_PYTHON)
  install(DIRECTORY python/vekr DESTINATION ${CMAKE_INSTALL_LIBDIR}/python
    FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
  install(FILES include/vekr.h DESTINATION ${CMAKE_INSTALL_LIBDIR}/python/vekr/_native)
endif()
