#!/usr/bin/env bash
# Installs the build in $1 and builds the program on the library's page with the installed copy, found
# through CMake and through pkg-config: with the compiler $2, its flag for the language's standard $3 and
# CMake's generator $4.
set -euo pipefail
build=$1 compiler=$2 standard=$3 generator=$4
tests=$(cd "$(dirname "$0")" && pwd)
workspace=$(mktemp -d)
trap 'rm -rf "$workspace"' EXIT
cd "$workspace"
installed=$workspace/installed
documents=$installed/share/doc/ferncrest-bridge

fail() {
  printf '%s\n' "$1" >&2
  exit 1
}

# The lines of the page's block of this kind.
block() {
  sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{//!p;}" "$documents/docs/library.md"
}

# build_with_cmake SOURCES BUILD
build_with_cmake() {
  cmake -S "$1" -B "$2" -G "$generator" -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF >/dev/null
  cmake --build "$2" >/dev/null
}

# expect PROGRAM LINE ANSWER
expect() {
  local answer
  answer=$("$1" 2>&1 <<<"$2" || true)
  [ "$answer" = "$3" ] || fail "$1 answers $answer to $2"
}

# Moved afterwards, as a package is.
cmake --install "$build" --prefix "$workspace/staged" >/dev/null
mv staged installed
if grep -rIlF -e "$build" -e "$workspace" -e "$tests" installed; then
  fail 'These name directories of the build.'
fi
expect installed/bin/FerncrestBridgeService '' 'This component must be launched by Ferncrest.'
[ -f installed/share/man/man1/FerncrestBridgeService.1 ] || fail 'The manual is not installed.'

mkdir consumer
block cmake >consumer/CMakeLists.txt
block cpp >consumer/main.cpp
build_with_cmake consumer by-cmake
description=$(find "$installed" -name ferncrest-bridge.pc)
read -ra flags < <(PKG_CONFIG_PATH=${description%/*} pkg-config --cflags --libs ferncrest-bridge)
"$compiler" "$standard" consumer/main.cpp "${flags[@]}" -o by-pkgconfig
for program in by-cmake/first_host ./by-pkgconfig; do
  expect "$program" '{"hello":{"_0":{"platform":"p","bridgeVersion":"1"}}}' '{"connect":{"_0":{"platform":"p"}}}'
  expect "$program" '{"hello":{}}' 'No value found under the key "_0".'
done

# The installed examples can be built as they are.
build_with_cmake "$documents/examples" examples
[ -x examples/backend/FerncrestExampleBackend ] || fail 'The example backend was not built.'
