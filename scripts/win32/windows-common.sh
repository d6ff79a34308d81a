# shellcheck shell=bash
# Shared by the Windows commands; to be sourced from the project's root.

# shellcheck source=scripts/packages.sh
. scripts/packages.sh

# The loader of 32-bit programs; empty if the system has none.
# shellcheck disable=SC2034  # used by the sourcing script
readonly wine32=/usr/lib/wine/wine

# Environment of all programs under Wine: no display, no messages, no offers to install anything.
wine_environment() {
  unset DISPLAY WAYLAND_DISPLAY
  export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" KELLANSEEK_UNDER_WINE=1
}

install_cross_compilers() {
  install_packages g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-tools cmake ninja-build ccache \
    python3 libboost-dev libcli11-dev nlohmann-json3-dev googletest
}

# needs_only_the_system TRIPLET FILE: fails if the file imports from any library outside Windows.
needs_only_the_system() {
  local imports strangers
  imports=$("$1-objdump" -p "$2" | sed -n 's/.*DLL Name: //p')
  strangers=$(grep -ivxE '(advapi32|iphlpapi|kernel32|msvcrt|ole32|oleaut32|psapi|shell32|user32|ws2_32)\.dll' \
    <<<"$imports" || true)
  [ -z "$strangers" ] && return
  echo "dev: $2 depends on libraries outside the system: ${strangers//$'\n'/ }" >&2
  return 1
}

# exports_plain_names TRIPLET FILE: fails unless the component exports exactly its four entry points, under the names
# that regsvr32 and COM look up.
exports_plain_names() {
  local found expected
  found=$("$1-objdump" -p "$2" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/.*\] \(.*\)/\1/p' | grep -v Table |
    sort | xargs)
  expected="DllCanUnloadNow DllGetClassObject DllRegisterServer DllUnregisterServer"
  [ "$found" = "$expected" ] && return
  echo "dev: $2 exports '$found' in place of '$expected'" >&2
  return 1
}
