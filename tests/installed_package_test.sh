#!/usr/bin/env bash
# Installs the build in $1 and builds programs on the installed copy with the compiler $2, found
# through CMake and through pkg-config.
set -euo pipefail
build=$1
compiler=$2
consumer=$(cd "$(dirname "$0")" && pwd)/consumer
workspace=$(mktemp -d)
trap 'rm -rf "$workspace"' EXIT
cd "$workspace"

fail() {
  printf '%s\n' "$1" >&2
  exit 1
}

# Succeeds when the program takes a message for one, and only that.
expect_to_decode() {
  "$1" <<<'{"connect":{"_0":{"platform":"whatsapp"}}}' || fail "$1 does not take a message"
  ! "$1" <<<'{"connect":{}}' || fail "$1 takes what is no message"
}

# Moved afterwards, as a package is.
cmake --install "$build" --prefix "$workspace/staged" >/dev/null
installed=$workspace/installed
mv staged installed
if grep -rIlF -e "$build" -e "$workspace" -e "$(dirname "$consumer")" installed; then
  fail 'These name directories of the build.'
fi
status=0
env -i installed/bin/FerncrestBridgeService 2>/dev/null || status=$?
[ "$status" -eq 64 ] || fail "The installed service ended with status $status."
[ -f installed/share/man/man1/FerncrestBridgeService.1 ] || fail 'The manual is not installed.'

cmake -S "$consumer" -B by-cmake -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF >/dev/null
cmake --build by-cmake >/dev/null
expect_to_decode by-cmake/consumer

PKG_CONFIG_PATH=$(dirname "$(find "$installed" -name ferncrest-bridge.pc)")
export PKG_CONFIG_PATH
read -ra flags < <(pkg-config --cflags --libs ferncrest-bridge)
"$compiler" -std=c++23 "$consumer/main.cpp" "${flags[@]}" -o by-pkgconfig
expect_to_decode ./by-pkgconfig

# The installed headers are enough for the examples as well.
documents=installed/share/doc/ferncrest-bridge
"$compiler" -std=c++23 "-I$documents" "$documents"/examples/backend/*.cpp "${flags[@]}" -o backend
"$compiler" -std=c++23 "-I$documents" -fsyntax-only "${flags[@]}" \
  "$documents"/examples/console/{console,launch_token,service_process}.cpp
