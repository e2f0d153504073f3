# shellcheck shell=bash
# Shared by the commands in this folder: shows their help, installs missing packages, runs builds.
# All output but the help goes to standard error, and standard input is not read.

# show_help: prints the comment at the top of the command that sources this file.
show_help() {
  sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
}

if [ "${1:-}" = --help ]; then
  show_help
  exit
fi

CDPATH="" cd -- "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

# shellcheck disable=SC2034  # used by the commands that source this file
if [ "$(uname)" = Darwin ]; then
  packages_to_build=(cmake ninja utf8proc)
  packages_to_build_console=("${packages_to_build[@]}")
  packages_to_test=(googletest pkgconf jq)
  packages_to_package=("${packages_to_build_console[@]}")
else
  packages_to_build=(g++ cmake ninja-build libutf8proc-dev)
  packages_to_build_console=("${packages_to_build[@]}" libedit-dev)
  packages_to_test=(libgtest-dev libedit-dev pkgconf python3-jsonschema jq)
  packages_to_package=("${packages_to_build_console[@]}" dpkg-dev file)
fi

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

has() { command -v "$1" >/dev/null; }

installed_packages() {
  if [ "$(uname)" = Darwin ]; then
    brew list --formula -1
  else
    dpkg-query -W -f '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null | sed -n 's/ installed$//p'
  fi
}

# need PACKAGE...: installs the missing ones with the system's package manager.
need() {
  local installed package absent=()
  installed=$(installed_packages "$@" || true)
  for package in "$@"; do
    grep -qxF "$package" <<<"$installed" || absent+=("$package")
  done
  if [ "${#absent[@]}" -gt 0 ] && ! install_packages "${absent[@]}" </dev/null >&2; then
    printf 'Install these packages of %s first, or build with the CMake commands in README.md: %s\n' \
      "$([ "$(uname)" = Darwin ] && echo Homebrew || echo Debian)" "${absent[*]}" >&2
    exit 1
  fi
}

# can_install: whether there is a package manager and the permission to use it.
can_install() {
  if [ "$(uname)" = Darwin ]; then
    has brew
  else
    has apt-get && { [ "$(id -u)" -eq 0 ] || has sudo; }
  fi
}

install_packages() {
  can_install || return
  printf 'Installing %s\n' "$*"
  if [ "$(uname)" = Darwin ]; then
    brew install --quiet "$@"
  else
    as_root apt-get update -qq &&
      as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@"
  fi
}

# only_on_linux REASON: ends the command on other systems.
only_on_linux() {
  if [ "$(uname)" != Linux ]; then
    printf '%s Run it on Debian 12.\n' "$1" >&2
    exit 1
  fi
}

# quietly COMMAND...: shows what the command prints only if it fails.
quietly() {
  local output
  output=$("$@" </dev/null 2>&1) || {
    printf '%s\n' "$output" >&2
    return 1
  }
}
