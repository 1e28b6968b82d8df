#!/bin/sh
# tidy.sh BUILD-DIR: clang-tidy over what ships (platform, util, apps), with the build's compile database, two at a
# time. A file that was clean is not looked at again until it, a header that it includes, its command or the checks change.
set -u
[ $# -eq 1 ] && [ -f "$1/compile_commands.json" ] || { echo "tidy: usage: $0 BUILD-DIR (configured)" >&2; exit 2; }
BUILD=$(cd "$1" && pwd)
cd "$(dirname "$0")/.." || exit 1
ROOT=$PWD
CACHE=$BUILD/tidy
export BUILD ROOT CACHE
mkdir -p "$CACHE/clean" "$CACHE/log" || exit 1
rm -f "$CACHE"/log/*

# Lines of "source<TAB>object": our sources, each once.
sed -n 's/^  "command": "\(.*\)",*$/\1/p; s/^  "file": "\(.*\)",*$/\1/p' "$BUILD/compile_commands.json" |
  awk -v root="$ROOT/" -v build="$BUILD/" '
    NR % 2 { object = $0; sub(/^.* -o /, "", object); sub(/ .*$/, "", object); next }
    index($0, root) == 1 && substr($0, length(root) + 1) ~ /^(platform|util|apps)\// && !seen[$0]++ { print $0 "\t" object }
  ' >"$CACHE/sources"

# The headers of ours that each object was last built from; an object that was not built depends on all of them.
ninja -C "$BUILD" -t deps 2>/dev/null | awk -v root="$ROOT/" -v build="$BUILD/" '
  /^[^ ].*: #deps/ { object = $1; sub(/:$/, "", object); next }
  /^ / {
    file = $1
    if (file !~ /^\//) file = build file
    if (index(file, root) == 1 && file !~ /\.pch$/) print object "\t" file
  }' >"$CACHE/deps"
git ls-files '*.h' | sed "s|^|$ROOT/|" >"$CACHE/headers"

# shellcheck disable=SC2016 # expanded by the inner shell
xargs -P 2 -d '\n' -n 1 sh -c '
  source=${1%%	*}; object=${1##*	}
  key=$({
    clang-tidy-14 --version; cat .clang-tidy "$source"
    grep -F -- "$source" "$BUILD/compile_commands.json"
    awk -F "\t" -v object="$object" "\$1 == object { print \$2; n++ } END { exit n == 0 }" "$CACHE/deps" \
      >"$CACHE/log/$$.deps" || cp "$CACHE/headers" "$CACHE/log/$$.deps"
    xargs -d "\n" cat -- <"$CACHE/log/$$.deps" 2>/dev/null
    rm -f "$CACHE/log/$$.deps"
  } | sha256sum | cut -d " " -f 1)
  [ -e "$CACHE/clean/$key" ] && exit 0
  log=$CACHE/log/$(printf "%s" "${source#"$ROOT"/}" | tr / _).log
  if clang-tidy-14 -p "$BUILD" --quiet "$source" >"$log" 2>&1; then
    : >"$CACHE/clean/$key"; rm -f "$log"; exit 0
  fi
  exit 1' sh <"$CACHE/sources" && exit
grep -hE ': (error|warning):' "$CACHE"/log/*.log | sort -u >&2
echo "tidy: $(find "$CACHE/log" -name '*.log' | wc -l) files have findings; the whole output is in $CACHE/log/" >&2
exit 1
