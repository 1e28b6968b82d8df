#!/bin/sh
# Runs a program in an installation root of its own, made from install/ and removed afterwards.
root=$(mktemp -d "${TMPDIR:-/tmp}/velaroot.XXXXXX") || exit 1
cp -r "$(dirname "$0")/../install/." "$root/" || exit 1
VELA_ROOT=$root VELA_TIME_SCALE=${VELA_TIME_SCALE:-50} "$@"
status=$?
rm -rf "$root"
exit $status
