# Debian packages of the four components, made by cpack in a build folder whose prefix is /usr; see
# packaging/check-packages.sh.
set(runtime_package libqvvisa-32-${PROJECT_VERSION_MAJOR})
set(standard_package libqvvisa-std${PROJECT_VERSION_MAJOR})
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime standard development)
if(TARGET qvvisa)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "QVvisa maintainers <maintainers@qvvisa.example>")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# cpack's own way would run ldconfig in scripts, where Debian wants a trigger; hence scripts that do something else.
set(control_dir ${PROJECT_BINARY_DIR}/install/control)
file(WRITE ${control_dir}/shlibs
     "libQVvisa_32 ${PROJECT_VERSION_MAJOR} ${runtime_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${control_dir}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${control_dir}/shlibs ${control_dir}/triggers ${PROJECT_SOURCE_DIR}/packaging/debian/postinst
    ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "QVvisa talks to measurement instruments over USB (USBTMC, USB488 and raw
interfaces), serial ports and TCP sockets, with sixteen operations of the
VISA standard VPP-4.3.

This package contains the shared library, and the udev rule that gives users
access to USB instruments.")

set(CPACK_DEBIAN_STANDARD_PACKAGE_NAME ${standard_package})
set(CPACK_DEBIAN_STANDARD_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_STANDARD_PACKAGE_RECOMMENDS ${runtime_package})
file(WRITE ${control_dir}/standard/shlibs
     "libQVvisa_std ${PROJECT_VERSION_MAJOR} ${standard_package} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_STANDARD_PACKAGE_CONTROL_EXTRA ${control_dir}/standard/shlibs ${control_dir}/triggers)
set(CPACK_COMPONENT_STANDARD_DESCRIPTION "QVvisa talks to measurement instruments over USB (USBTMC, USB488 and raw
interfaces), serial ports and TCP sockets, with sixteen operations of the
VISA standard VPP-4.3.

This package contains a shared library with the standard's operations under the
standard's names, for pyvisa and other programs that are written to them.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqvvisa-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}), ${standard_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "QVvisa talks to measurement instruments over USB (USBTMC, USB488 and raw
interfaces), serial ports and TCP sockets, with sixteen operations of the
VISA standard VPP-4.3.

This package contains the headers for C and C++, examples, and what pkg-config
and CMake need.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME qvvisa)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "qvvisa finds measurement instruments on USB and serial ports, and sends
commands and queries to them there and over TCP sockets. qvvisa-sim serves
simulated instruments on all of these.")

# What Debian asks of every package.
set(changelog ${PROJECT_BINARY_DIR}/install/changelog)
configure_file(packaging/debian/changelog.in ${changelog} @ONLY)
execute_process(COMMAND gzip -9nf ${changelog})
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} upper)
  install(FILES packaging/debian/copyright ${changelog}.gz COMPONENT ${component} EXCLUDE_FROM_ALL
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
endforeach()
install(FILES packaging/debian/lintian-overrides RENAME ${standard_package} COMPONENT standard EXCLUDE_FROM_ALL
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides)
include(CPack)
