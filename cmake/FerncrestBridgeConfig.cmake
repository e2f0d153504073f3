# The bridge protocol as a library: link with FerncrestBridge::protocol.
include(CMakeFindDependencyMacro)
list(PREPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}")
find_dependency(Utf8proc)
list(POP_FRONT CMAKE_MODULE_PATH)
include("${CMAKE_CURRENT_LIST_DIR}/FerncrestBridgeTargets.cmake")
