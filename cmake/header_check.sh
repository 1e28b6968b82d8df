#!/bin/sh
# header_check.sh BUILD-DIR: every public header compiles alone, without a warning, and includes no internal one.
set -u
[ $# -eq 1 ] && [ -d "$1/gen/asn1" ] || { echo "header_check: usage: $0 BUILD-DIR (built)" >&2; exit 2; }
build=$(cd "$1" && pwd)
cd "$(dirname "$0")/.." || exit 1
log=$build/header_check.log

patterns=$(sed '/^#/d; /^$/d; s/\./\\./g; s/\*/[^\/"]*/g' cmake/internal_headers.txt | paste -s -d '|')
headers=$(git ls-files --cached --others --exclude-standard 'platform/*.h' 'util/*.h' | grep -Ev "(^|/)($patterns)\$")

# shellcheck disable=SC2086 # a list of files
grep -nE "#include \"(.*/)?($patterns)\"" $headers >"$log"
if [ -s "$log" ]; then
  cat "$log" >&2
  echo "header_check: public headers include internal ones (cmake/internal_headers.txt); this list: $log" >&2
  exit 1
fi

BUILD=$build
SYSTEM=$(pkg-config --cflags-only-I libesnaccxx | sed 's/-I */-isystem /g')
export BUILD SYSTEM
# shellcheck disable=SC2016,SC2086 # expanded by the inner shell; a list of files
printf '%s\n' $headers | xargs -P 2 -n 1 sh -c '
  found=$(printf "#include \"%s\"\n" "$1" | g++ -x c++ -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I. \
    -isystem "$BUILD/gen" $SYSTEM - 2>&1) || { printf "== %s\n%s\n" "$1" "$found"; exit 1; }' sh >"$log" 2>&1 && exit
cat "$log" >&2
echo "header_check: $(grep -c '^== ' "$log") public headers do not compile alone; this output: $log" >&2
exit 1
