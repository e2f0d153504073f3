# Finds utf8proc's static library as Utf8proc::archive. Installed too, because the library needs it.

find_path(UTF8PROC_INCLUDE_DIR utf8proc.h)
find_library(UTF8PROC_ARCHIVE NAMES libutf8proc.a)
mark_as_advanced(UTF8PROC_INCLUDE_DIR UTF8PROC_ARCHIVE)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Utf8proc REQUIRED_VARS UTF8PROC_ARCHIVE UTF8PROC_INCLUDE_DIR)

if(Utf8proc_FOUND AND NOT TARGET Utf8proc::archive)
  add_library(Utf8proc::archive STATIC IMPORTED)
  set_target_properties(Utf8proc::archive PROPERTIES
    IMPORTED_LOCATION "${UTF8PROC_ARCHIVE}"
    INTERFACE_COMPILE_DEFINITIONS UTF8PROC_STATIC
    INTERFACE_INCLUDE_DIRECTORIES "${UTF8PROC_INCLUDE_DIR}")
endif()
