# Debian packages, one for each component of Install.cmake. `scripts/package` makes them as they are
# meant to be: from a build whose prefix is /usr, which puts libraries where Debian wants them.

if(NOT KXCMS_GZIP)
  message(STATUS "Debian packages left out: gzip not found")
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kxcms)
set(CPACK_PACKAGE_VENDOR KXCMS)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_CONTACT "KXCMS maintainers <maintainers@kxcms.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The revision of a package that does not come from Debian sorts below any that does.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0kxcms1)
set(debian_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(copyright ${CMAKE_CURRENT_SOURCE_DIR}/cmake/debian/copyright)
set(changelog ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS cmake/debian/changelog)
execute_process(COMMAND ${KXCMS_GZIP} -9n INPUT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/cmake/debian/changelog
  OUTPUT_FILE ${changelog} COMMAND_ERROR_IS_FATAL ANY)

# Makes a package of a component. The first line of the description is its title.
function(kxcms_debian_package component package section description)
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${COMPONENT}_DESCRIPTION "${description}" PARENT_SCOPE)
  # Of use in a package only.
  install(FILES ${copyright} ${changelog}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

kxcms_debian_package(runtime libkxcms1 libs "colour management for RGB image data - shared library
KXCMS converts RGB image data from the colours of a device, described by its
ICC profile, to sRGB, Adobe RGB, Apple RGB, ColorMatch RGB or sRGB with a
Kodak tone curve: pixel buffers and whole TIFF files, with 8 or 16 bits a
sample, on several threads.
.
This package contains the shared library.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)

kxcms_debian_package(pipeline libkxpipeline1 libs
"colour management for RGB image data - pipeline library
KXCMS converts RGB image data from the colours of a device, described by its
ICC profile, to standard RGB colour spaces.
.
This package contains the shared library of the pipeline interface: precise
conversion by every kind of RGB profile, through handles, for images in any
layout, on threads of the caller's choice.")
set(CPACK_DEBIAN_PIPELINE_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The trigger has ldconfig run. CPack would add maintainer scripts that run it once more, unless they
# are named here; being absent, they are left out.
foreach(component RUNTIME PIPELINE)
  set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/cmake/debian/triggers
    ${CMAKE_CURRENT_SOURCE_DIR}/cmake/debian/absent/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/cmake/debian/absent/postrm)
endforeach()

kxcms_debian_package(development libkxcms-dev libdevel
"colour management for RGB image data - development files
KXCMS converts RGB image data from the colours of a device, described by its
ICC profile, to standard RGB colour spaces.
.
This package contains what programs are built with: the headers of the C
interfaces and of the C++ classes, the descriptions for pkg-config, the CMake
package, the manual pages and examples.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libkxcms1 (= ${debian_version}), libkxpipeline1 (= ${debian_version})")
install(FILES examples/CMakeLists.txt examples/convert_buffer.c examples/convert_image.c
  examples/convert_image.cpp examples/explore_profile.cpp
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/libkxcms-dev/examples
  COMPONENT development EXCLUDE_FROM_ALL)

kxcms_debian_package(python python3-kxcms python
"colour management for RGB image data - Python 3 package
KXCMS converts RGB image data from the colours of a device, described by its
ICC profile, to standard RGB colour spaces.
.
This package contains the Python package kxcms: precise conversion of numpy
arrays of any strides, through the pipeline library.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "libkxpipeline1 (= ${debian_version}), python3 (>= 3.8), python3-numpy")
# What converts files runs the command.
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS kxcms-tools)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/cmake/debian/python/postinst
  ${CMAKE_CURRENT_SOURCE_DIR}/cmake/debian/python/prerm)
# Elsewhere it is a wheel that people install: scripts/wheel.
install(DIRECTORY bindings/python/kxcms DESTINATION lib/python3/dist-packages
  COMPONENT python EXCLUDE_FROM_ALL
  FILES_MATCHING PATTERN "*.py" PATTERN py.typed PATTERN __pycache__ EXCLUDE)
install(FILES examples/convert_array.py
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/python3-kxcms/examples
  COMPONENT python EXCLUDE_FROM_ALL)

if(TARGET kxcms)
  kxcms_debian_package(tools kxcms-tools graphics
"colour management for RGB image data - command
KXCMS converts RGB image data from the colours of a device, described by its
ICC profile, to standard RGB colour spaces.
.
This package contains the kxcms command, which converts scans and photographs
in TIFF, JPEG and PNG files and refuses what would come out wrong.")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
  # The libraries are in none of the packages that dpkg-shlibdeps knows of.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
    "libkxcms1 (>= ${PROJECT_VERSION}), libkxpipeline1 (>= ${PROJECT_VERSION})")
  install(PROGRAMS examples/batch/with_parallel.sh examples/batch/with_slurm.sh
    examples/batch/with_dask.py
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/kxcms-tools/examples
    COMPONENT tools EXCLUDE_FROM_ALL)
endif()

include(CPack)
