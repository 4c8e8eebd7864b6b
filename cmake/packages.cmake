# Debian packages by cpack -G DEB: libvekre9 (libraries), libvekr-dev (headers, CMake and pkg-config files), vekr-tools
# (programs), python3-vekr (the Python package, over the libraries of libvekre9). scripts/deb.sh configures for them, with
# Debian's folders.

set(VEKR_PACKAGER "vekr maintainers <maintainers@vekr.invalid>" CACHE STRING "Maintainer of Debian packages")
set(VEKR_DEB_VERSION ${PROJECT_VERSION})  # no packager of its own, so no revision

# Files that each package has under its own name.
function(vekr_package component package section summary)
  string(TOUPPER ${component} key)
  set(docs ${CMAKE_INSTALL_DATADIR}/doc/${package})
  configure_file(packaging/changelog.in ${PROJECT_BINARY_DIR}/packaging/changelog @ONLY)
  execute_process(COMMAND gzip -9nfk ${PROJECT_BINARY_DIR}/packaging/changelog COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/changelog.gz packaging/copyright DESTINATION ${docs}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
  if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/${package}.overrides)
    install(FILES packaging/${package}.overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
      COMPONENT ${component} EXCLUDE_FROM_ALL)
  endif()
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_COMPONENT_${key}_DESCRIPTION "${summary}\n${ARGN}" PARENT_SCOPE)
endfunction()
set(vekr_about "vekr gives a plain C interface to kd-trees over triangle meshes, ray
intersection in packets, shading arithmetic, real spherical harmonics to
band 15, and resize, remap, affine warp and filters of volumes.
.
")
vekr_package(runtime libvekre9 libs "ray tracing and volume resampling, exact to the last bit"
  "${vekr_about}This package holds the libraries, for processors with SSE4.1.")
vekr_package(dev libvekr-dev libdevel "ray tracing and volume resampling (development files)"
  "${vekr_about}This package holds headers, the CMake package and the pkg-config file.")
vekr_package(tools vekr-tools graphics "programs that render meshes, resample volumes and project light"
  "${vekr_about}This package holds vekr-render, vekr-volume and vekr-sh-light.")
if(VEKR_INSTALL_PYTHON)
  vekr_package(python python3-vekr python "rays, harmonics and volumes on numpy arrays, exact to the last bit"
    "${vekr_about}This package holds the Python package vekr: numpy in, numpy out.")
  install(FILES python/README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-vekr COMPONENT python EXCLUDE_FROM_ALL)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vekr)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has one
set(CPACK_PACKAGE_CONTACT ${VEKR_PACKAGER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev)
if(vekr_pages)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
if(VEKR_INSTALL_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)  # a package for each component
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The linker's cache: by a trigger, and not by the scripts that cpack adds on its own, which are taken out again.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packages_finish.cmake)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libvekre9 (= ${VEKR_DEB_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libvekre9 (= ${VEKR_DEB_VERSION})")
# No machine code in it. Bytecode is made at installation, for the interpreters that are there, and taken away again.
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "libvekre9 (= ${VEKR_DEB_VERSION}), python3 (>= 3.9), python3:any, python3-cffi, python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-tqdm, python3-dask, python3-distributed, python3-zarr")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/python/postinst ${PROJECT_SOURCE_DIR}/packaging/python/prerm)
include(CPack)
