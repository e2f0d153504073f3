#!/usr/bin/env bash
# Installs the build in $1 and builds the program on the library's page with the installed copy, found
# through CMake and through pkg-config: with the compiler $2, its flag for the language's standard $3 and
# CMake's generator $4.
set -euo pipefail
build=$1
compiler=$2
standard=$3
generator=$4
tests=$(cd "$(dirname "$0")" && pwd)
workspace=$(mktemp -d)
trap 'rm -rf "$workspace"' EXIT
cd "$workspace"

fail() {
  printf '%s\n' "$1" >&2
  exit 1
}

# The lines of the page's block of this kind.
block() {
  sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{//!p;}" "$documents/docs/library.md"
}

expect_to_connect() {
  local answer
  answer=$("$1" 2>&1 <<<'{"hello":{"_0":{"platform":"p","bridgeVersion":"1"}}}')
  [ "$answer" = '{"connect":{"_0":{"platform":"p"}}}' ] || fail "$1 answers $answer"
  answer=$("$1" 2>&1 <<<'{"hello":{}}')
  [ "$answer" = 'No value found under the key "_0".' ] || fail "$1 answers $answer to no message"
}

# Moved afterwards, as a package is.
cmake --install "$build" --prefix "$workspace/staged" >/dev/null
installed=$workspace/installed
documents=$installed/share/doc/ferncrest-bridge
mv staged installed
if grep -rIlF -e "$build" -e "$workspace" -e "$tests" installed; then
  fail 'These name directories of the build.'
fi
status=0
env -i installed/bin/FerncrestBridgeService 2>/dev/null || status=$?
[ "$status" -eq 64 ] || fail "The installed service ended with status $status."
[ -f installed/share/man/man1/FerncrestBridgeService.1 ] || fail 'The manual is not installed.'

mkdir consumer
block cmake >consumer/CMakeLists.txt
block cpp >consumer/main.cpp
cmake -S consumer -B by-cmake -G "$generator" -DCMAKE_PREFIX_PATH="$installed" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF >/dev/null
cmake --build by-cmake >/dev/null
expect_to_connect by-cmake/first_host

PKG_CONFIG_PATH=$(dirname "$(find "$installed" -name ferncrest-bridge.pc)")
export PKG_CONFIG_PATH
read -ra flags < <(pkg-config --cflags --libs ferncrest-bridge)
"$compiler" "$standard" consumer/main.cpp "${flags[@]}" -o by-pkgconfig
expect_to_connect ./by-pkgconfig

# The installed examples can be built as they are.
cmake -S installed/share/doc/ferncrest-bridge/examples -B examples -G "$generator" \
  -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF >/dev/null
cmake --build examples >/dev/null
[ -x examples/backend/FerncrestExampleBackend ] || fail 'The example backend was not built.'
