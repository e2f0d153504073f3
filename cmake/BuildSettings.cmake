# The compiler and linker settings of all targets.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

include(CheckCXXSourceCompiles)

set(FERNCREST_SANITIZE "" CACHE STRING "Sanitizers to build with, for instance address,undefined")

# Exported too: programs that use the installed library get only what is not in BUILD_INTERFACE.
add_library(ferncrest_settings INTERFACE)
target_compile_features(ferncrest_settings INTERFACE cxx_std_23)
target_include_directories(ferncrest_settings INTERFACE "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
target_compile_options(ferncrest_settings INTERFACE "$<BUILD_INTERFACE:-Wall;-Wextra;-Wpedantic>"
  "$<BUILD_INTERFACE:-Wconversion;-Wshadow;-fstack-protector-strong>"
  # Without it, g++ does not inline public functions, which a shared library could replace.
  "$<BUILD_INTERFACE:$<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>>")
# Cheap run-time checks in the standard libraries of g++ and clang.
target_compile_definitions(ferncrest_settings INTERFACE
  "$<BUILD_INTERFACE:_GLIBCXX_ASSERTIONS>"
  "$<BUILD_INTERFACE:_LIBCPP_HARDENING_MODE=_LIBCPP_HARDENING_MODE_FAST>")

# The highest level of _FORTIFY_SOURCE that compiles without a warning. A level warns if the
# compiler predefines another one, or if the C library does not support it.
function(ferncrest_fortify)
  foreach(level IN ITEMS 3 2)
    set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -D_FORTIFY_SOURCE=${level}")
    check_cxx_source_compiles("#include <cstring>
int main() {}" FERNCREST_FORTIFY_${level})
    if(FERNCREST_FORTIFY_${level})
      target_compile_definitions(ferncrest_settings INTERFACE
        "$<BUILD_INTERFACE:$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=${level}>>")
      return()
    endif()
  endforeach()
endfunction()

# For builds without sanitizers. The prefix map makes a build in any folder give the same bytes.
function(ferncrest_harden)
  ferncrest_fortify()
  target_compile_options(ferncrest_settings INTERFACE
    "$<BUILD_INTERFACE:$<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>>")
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    target_compile_options(ferncrest_settings INTERFACE
      "$<BUILD_INTERFACE:-fstack-clash-protection>")
  endif()
endfunction()

if(FERNCREST_SANITIZE)
  # With sanitizers, g++ warns wrongly about uninitialized values in standard headers.
  target_compile_options(ferncrest_settings INTERFACE
    -fsanitize=${FERNCREST_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(ferncrest_settings INTERFACE -fsanitize=${FERNCREST_SANITIZE})
else()
  ferncrest_harden()
endif()

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  target_link_options(ferncrest_settings INTERFACE "$<BUILD_INTERFACE:LINKER:-z,relro,-z,now>"
    "$<BUILD_INTERFACE:$<IF:$<BOOL:$<TARGET_PROPERTY:FERNCREST_STATIC>>,-static-pie,-pie>>")
endif()

# Links `target` statically: it is shipped inside other products, so it must not need other files.
function(ferncrest_standalone target)
  if(NOT FERNCREST_SANITIZE)
    set_target_properties(${target} PROPERTIES FERNCREST_STATIC ON)
  endif()
endfunction()
