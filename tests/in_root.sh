#!/bin/sh
# Runs a program in an installation root of its own, made from install/ and what the program's build adds to
# it, and removed afterwards.
root=$(mktemp -d "${TMPDIR:-/tmp}/velaroot.XXXXXX") || exit 1
cp -r "$(dirname "$0")/../install/." "$root/" || exit 1
# What a build adds lies beside the folder of its programs.
for word; do
  made=${word%/bin/*}/root
  [ "$made" != "$word/root" ] && [ -d "$made/conf" ] || continue
  cp -r "$made/." "$root/" || exit 1
  break
done
VELA_ROOT=$root VELA_TIME_SCALE=${VELA_TIME_SCALE:-50} "$@"
status=$?
rm -rf "$root"
exit $status
