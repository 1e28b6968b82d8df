#!/bin/sh
# run.sh BUILD-DIR: installs the build into an empty prefix, builds a foreign program against it with find_package and
# with pkg-config, and runs both in the installed template of an installation root.
set -u
[ $# -eq 1 ] && [ -f "$1/cmake_install.cmake" ] || { echo "install: usage: $0 BUILD-DIR (built)" >&2; exit 2; }
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$build/install_test
log=$work/log

fail() {
  tail -n 30 "$log" >&2
  echo "install: $1; the whole output is in $log" >&2
  exit 1
}
step() {
  what=$1; shift
  echo "== $what: $*" >>"$log"
  "$@" >>"$log" 2>&1 || fail "$what failed"
}
# in_root PROGRAM: runs it in a fresh copy of the installed template.
in_root() {
  rm -rf "$work/root"
  cp -r "$prefix/share/basic_util/root" "$work/root" && VELA_ROOT=$work/root "$@"
}

rm -rf "$work"
mkdir -p "$work" || exit 1
# Moved after the installation: nothing in the package may know where it was put.
step "installing" cmake --install "$build" --prefix "$work/first"
prefix=$work/moved
mv "$work/first" "$prefix" || fail "moving the package failed"

step "configuring with find_package" cmake -S "$here" -B "$work/cmake" -G Ninja "-DCMAKE_PREFIX_PATH=$prefix" \
  -DCMAKE_BUILD_TYPE=Debug
step "building with find_package" cmake --build "$work/cmake"
step "running the program built with find_package" in_root "$work/cmake/user"

pc=$(find "$prefix" -name basic_util.pc)
[ -n "$pc" ] || fail "basic_util.pc is not installed"
libs=$(dirname "$(dirname "$pc")")
PKG_CONFIG_PATH=$(dirname "$pc")${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}
export PKG_CONFIG_PATH
flags=$(pkg-config --cflags --libs basic_util 2>>"$log") || fail "pkg-config failed"
# shellcheck disable=SC2086 # a list of flags
step "building with pkg-config" g++ -Wall -Wextra -Wpedantic -Werror "$here/main.cpp" -o "$work/user" $flags \
  "-Wl,-rpath,$libs"
step "running the program built with pkg-config" in_root "$work/user"

for file in "$prefix"/bin/* "$libs"/*.so; do
  if ldd "$file" | grep 'not found' >>"$log"; then fail "$file misses a library"; fi
done
if strings -a "$prefix"/bin/* "$libs"/*.so 2>/dev/null | grep -F "$work/first" >>"$log"; then
  fail "the package knows where it was installed"
fi
