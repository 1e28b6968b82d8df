#!/bin/sh
# handler.sh BUILD-DIR: follows docs/handler.md in a scratch folder, with the package that run.sh has installed.
set -u
[ $# -eq 1 ] && [ -d "$1/install_test/moved" ] || { echo "handler: usage: $0 BUILD-DIR (after run.sh)" >&2; exit 2; }
work=$(cd "$1" && pwd)/install_test/handler
page=$(cd "$(dirname "$0")/../../docs" && pwd)/handler.md
rm -rf "$work"
mkdir -p "$work/home" && ln -s "$work/../moved" "$work/home/vela" && cp -r "$work/../moved/share/basic_util/root" "$work/root" &&
  cd "$work" || exit 1
# A block whose first line names a file is that file.
awk '/^```[a-z0-9]+ [a-zA-Z0-9_.]+$/ { file = $2; next } /^```$/ { file = ""; next } file != "" { print >file }' "$page"
fail() { tail -n 30 "$work/log" >&2; echo "handler: $1; the whole output is in $work/log" >&2; exit 1; }
HOME=$work/home VELA_ROOT=$work/root sh ./run.sh >log 2>&1 || fail "docs/handler.md does not run"
# What the page says that it prints.
grep -E '^    [0-9]+ mdB' "$page" | sed 's/^    //' | grep -qxFf - log || fail "the answer is not the one of docs/handler.md"
grep -q 'link budget: 3 spans' root/var/logs/Develop/velad_1/velad.log || fail "the handler has logged nothing"
