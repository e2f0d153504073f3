# Installs three components: the service with its documents, the examples, and the protocol library.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)
set(documents "${CMAKE_INSTALL_DATAROOTDIR}/doc/ferncrest-bridge")
set(package "${CMAKE_INSTALL_LIBDIR}/cmake/FerncrestBridge")

install(TARGETS FerncrestBridgeService RUNTIME COMPONENT program)
install(FILES docs/FerncrestBridgeService.1
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT program)
install(FILES README.md CHANGELOG.md docs/copyright DESTINATION "${documents}" COMPONENT program)
install(DIRECTORY docs DESTINATION "${documents}" COMPONENT program
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.json")

install(DIRECTORY examples DESTINATION "${documents}" COMPONENT examples USE_SOURCE_PERMISSIONS)
if(TARGET ferncrest-console)
  install(TARGETS ferncrest-console RUNTIME COMPONENT examples)
  install(FILES docs/ferncrest-console.1
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT examples)
endif()
if(TARGET FerncrestExampleBackend)
  # Started only by the service, so not in bin.
  install(TARGETS FerncrestExampleBackend
    RUNTIME DESTINATION "${CMAKE_INSTALL_LIBEXECDIR}/ferncrest-bridge" COMPONENT examples)
endif()

# The headers for hosts and backends, and those that they include.
foreach(header IN ITEMS
    protocol/coding.h protocol/decoding_error.h protocol/envelope.h protocol/line_buffer.h
    protocol/values.h
    text/canonical.h text/characters.h text/utf8.h
    platform/byte_buffer.h platform/failure.h platform/fd.h platform/files.h platform/io.h
    platform/process.h platform/random.h)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES "${header}"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ferncrest/${folder}" COMPONENT development)
endforeach()

foreach(library IN ITEMS settings platform text protocol)
  set_target_properties(ferncrest_${library} PROPERTIES EXPORT_NAME ${library})
  install(TARGETS ferncrest_${library} EXPORT FerncrestBridge ARCHIVE COMPONENT development)
endforeach()
target_include_directories(ferncrest_settings INTERFACE
  "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ferncrest>")
install(EXPORT FerncrestBridge NAMESPACE FerncrestBridge:: FILE FerncrestBridgeTargets.cmake
  DESTINATION "${package}" COMPONENT development)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/FerncrestBridgeConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES cmake/FerncrestBridgeConfig.cmake cmake/FindUtf8proc.cmake
  "${PROJECT_BINARY_DIR}/FerncrestBridgeConfigVersion.cmake"
  DESTINATION "${package}" COMPONENT development)

# A path relative to the .pc file, so that the installed copy can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/ferncrest-bridge.pc.in ferncrest-bridge.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/ferncrest-bridge.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
