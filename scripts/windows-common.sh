# What the two Windows commands share; for sourcing from the project's root.

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# install_packages PACKAGE...: installs what is missing.
install_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "dev: installing ${missing[*]}" >&2
  as_root apt-get update -qq
  DEBIAN_FRONTEND=noninteractive as_root apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

install_cross_compilers() {
  install_packages g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-tools cmake ninja-build ccache \
    python3 libboost-dev libcli11-dev nlohmann-json3-dev googletest
}

# needs_only_the_system TRIPLET FILE: fails when the file imports from anything but Windows' own libraries.
needs_only_the_system() {
  local imports strangers
  imports=$("$1-objdump" -p "$2" | sed -n 's/.*DLL Name: //p')
  strangers=$(grep -ivxE '(advapi32|iphlpapi|kernel32|msvcrt|ole32|oleaut32|psapi|shell32|user32|ws2_32)\.dll' \
    <<<"$imports" || true)
  [ -z "$strangers" ] && return
  echo "dev: $2 needs more than the system:" $strangers >&2
  return 1
}

# exports_plain_names TRIPLET FILE: fails unless the component exports its four entry points by the names that
# regsvr32 and COM look for, and nothing else.
exports_plain_names() {
  local found expected
  found=$("$1-objdump" -p "$2" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/.*\] \(.*\)/\1/p' | grep -v Table |
    sort | xargs)
  expected="DllCanUnloadNow DllGetClassObject DllRegisterServer DllUnregisterServer"
  [ "$found" = "$expected" ] && return
  echo "dev: $2 exports '$found' in place of '$expected'" >&2
  return 1
}
