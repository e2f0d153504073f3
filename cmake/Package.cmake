# What `cpack` makes of it: on Debian the program and what is needed to build on its protocol as two
# packages, elsewhere archives.

set(CPACK_PACKAGE_NAME ferncrest-bridge)
set(CPACK_PACKAGE_CONTACT Ferncrest)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
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
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ferncrest-bridge)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
  "FerncrestBridgeService is a helper process that a host application
launches and talks to over its standard streams. It passes everything on
to a backend, or answers by itself as a stub. ferncrest-console is a host
to try it with.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libferncrest-bridge-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libutf8proc-dev)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "The messages between hosts, the Ferncrest bridge service and backends as
a C++23 library: headers, static libraries, a CMake package and a
pkg-config file.")

include(CPack)
