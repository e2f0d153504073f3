# Settings for cpack: on Debian one package for each installed component, elsewhere archives.

set(FERNCREST_MAINTAINER "Ferncrest maintainers <maintainers@ferncrest.example>" CACHE STRING
  "Name and address of the maintainer of the packages")

set(CPACK_PACKAGE_NAME ferncrest-bridge)
set(CPACK_PACKAGE_CONTACT "${FERNCREST_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # the description of each package begins with a summary
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_SOURCE_GENERATOR "")

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(CPACK_GENERATOR DEB)
else()
  set(CPACK_GENERATOR TGZ)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE ferncrest-bridge)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/DebianDocuments.cmake")
# From the compiler's target, for cross-builds: by default cpack takes the architecture it runs on.
find_program(DPKG_ARCHITECTURE dpkg-architecture)
mark_as_advanced(DPKG_ARCHITECTURE)
if(DPKG_ARCHITECTURE AND CMAKE_LIBRARY_ARCHITECTURE)
  execute_process(
    COMMAND "${DPKG_ARCHITECTURE}" --host-type "${CMAKE_LIBRARY_ARCHITECTURE}" --query DEB_HOST_ARCH
    OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
endif()

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ferncrest-bridge)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS ferncrest-bridge-examples)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
  "helper process that connects a host application to a messaging platform
FerncrestBridgeService is launched by a host application, which talks to it
over its standard streams. It relays to and from a backend, or answers by itself
as a stub.")

if(NOT FERNCREST_EXAMPLES)
  set(CPACK_COMPONENTS_ALL program development)
endif()
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_NAME ferncrest-bridge-examples)
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_SECTION net)
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_DEPENDS "ferncrest-bridge (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_SUGGESTS "libferncrest-bridge-dev, libedit-dev, cmake, g++, ninja-build")
set(CPACK_DEBIAN_EXAMPLES_DESCRIPTION
  "console and example backend for the Ferncrest bridge service
ferncrest-console is a host for trying the bridge service in a terminal. The
package also has an example backend, and the sources of both to start from.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libferncrest-bridge-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libutf8proc-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "C++ library of the messages of the Ferncrest bridge service
The messages between hosts, the bridge service and backends as plain C++23
types with their exact JSON: headers, static libraries, a CMake package and a
pkg-config file.")

include(CPack)
