# Run by cpack before it makes the packages: adds the files that Debian requires in each of them.

if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()

function(compress)
  execute_process(COMMAND gzip --best --no-name --force ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER "${component}" key)
  set(shared "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/${CPACK_PACKAGING_INSTALL_PREFIX}/share")
  set(documents "${shared}/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME}")

  file(COPY "${CMAKE_CURRENT_LIST_DIR}/../docs/copyright" DESTINATION "${documents}")
  execute_process(COMMAND awk -v "package=${CPACK_PACKAGE_NAME}"
    -v "maintainer=${CPACK_PACKAGE_CONTACT}" -f "${CMAKE_CURRENT_LIST_DIR}/debian_changelog.awk"
    "${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md"
    OUTPUT_FILE "${documents}/changelog" COMMAND_ERROR_IS_FATAL ANY)
  compress("${documents}/changelog")

  if(component STREQUAL "program")
    configure_file("${CMAKE_CURRENT_LIST_DIR}/lintian_overrides"
      "${shared}/lintian/overrides/${CPACK_PACKAGE_NAME}" COPYONLY)
  endif()

  file(GLOB pages "${shared}/man/man1/*.1")
  if(pages)
    compress(${pages})
  endif()
endforeach()
