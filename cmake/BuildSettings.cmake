# What every target of the project is compiled and linked with.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

set(FERNCREST_SANITIZE "" CACHE STRING "Sanitizers to build with, for instance address,undefined")

# Exported as well: of this, what uses the installed library gets what the library cannot do without.
add_library(ferncrest_settings INTERFACE)
target_compile_features(ferncrest_settings INTERFACE cxx_std_23)
target_include_directories(ferncrest_settings INTERFACE "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
target_compile_options(ferncrest_settings INTERFACE "$<BUILD_INTERFACE:-Wall;-Wextra;-Wpedantic>"
  "$<BUILD_INTERFACE:-Wconversion;-Wshadow;-fstack-protector-strong>")

if(FERNCREST_SANITIZE)
  # Instrumented, g++ takes values in the library's own headers for uninitialized.
  target_compile_options(ferncrest_settings INTERFACE
    -fsanitize=${FERNCREST_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(ferncrest_settings INTERFACE -fsanitize=${FERNCREST_SANITIZE})
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_options(ferncrest_settings INTERFACE
    "$<BUILD_INTERFACE:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()

# The program ships inside another product, so nothing may have to be installed beside it.
function(ferncrest_standalone target)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    if(FERNCREST_SANITIZE)
      target_link_options(${target} PRIVATE -pie)
    else()
      target_link_options(${target} PRIVATE -static-pie)
    endif()
    target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now)
  endif()
endfunction()
