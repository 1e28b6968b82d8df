#!/bin/sh
# The demonstration: a server, an audit with its progress, a second one cancelled halfway, an orderly end; then a
# short audit in each other language.
# usage: demo.sh BIN [--language LANGUAGE]   BIN: the folder of velad and velactl; en_US unless a language is named
# Exit code 0 only if all of it was right.
set -u
usage="usage: demo.sh BIN [--language LANGUAGE]"
bin=${1:?$usage}
shift
language=en_US
while [ $# -gt 0 ]; do
  case $1 in
    --language) language=${2:-}; shift ;;
    --language=*) language=${1#*=} ;;
    *) echo "demo: unknown argument '$1'; $usage" >&2; exit 2 ;;
  esac
  [ $# -eq 0 ] || shift
done
home=$(cd "$(dirname "$0")/.." && pwd)
case $language in
  '' | */* | .*) known= ;;
  *) known=$(ls "$home/install/res/$language/resource.txt" 2>/dev/null) ;;
esac
if [ -z "$known" ]; then
  echo "demo: there is no language '$language'; see $home/install/res" >&2
  exit 2
fi

root=$(mktemp -d "${TMPDIR:-/tmp}/velademo.XXXXXX") || exit 1
export VELA_ROOT="$root"
server=
client=

cleanup() {
  [ -z "$client" ] || kill "$client" 2>/dev/null
  [ -z "$server" ] || kill "$server" 2>/dev/null
  [ -z "$server$client" ] || wait
  rm -rf "$root"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

say() { printf '\n== %s\n' "$*"; }
fail() {
  printf '\ndemo: FAILED: %s\n' "$*" >&2
  for log in "$root"/var/logs/Develop/velad_1/*; do
    [ -f "$log" ] && printf -- '--- %s\n' "$log" >&2 && tail -n 20 "$log" >&2
  done
  exit 1
}

# text KEY [VALUE...]: what the programs say in the language of the root; "*" where no value is given.
text() {
  found=$(sed -n "s/^$1 = //p" "$root/res/$language/resource.txt"); shift
  place=1
  for value in "$@"; do
    found=$(printf '%s' "$found" | sed "s/{$place}/$value/g"); place=$((place + 1))
  done
  printf '%s' "$found" | sed 's/{[1-9]}/*/g'
}

speak() {
  language=$1
  sed "s/^Language *=.*/Language = $language/" "$home/install/etc/conf/vela.cfg" >"$root/etc/conf/vela.cfg"
}

start_server() {
  "$bin/velad" -f demo.cfg >"$root/ready" &
  server=$!
  read -r line <"$root/ready" || fail "the server did not start"
  [ "$line" = ready ] || fail "the server said '$line' instead of 'ready'"
}

stop_server() {
  kill -TERM "$server"
  wait "$server"
  code=$?
  server=
  [ "$code" -eq 0 ] || fail "the server ended with code $code"
}

cp -r "$home/install/." "$root/" && mkdir "$root/bin" && cp "$bin/velad" "$bin/velactl" "$root/bin/" ||
  fail "no installation root"
bin=$root/bin
# Slow enough to watch.
sed 's/^AuditRecordMicroseconds.*/AuditRecordMicroseconds = 700/' "$root/conf/velad.cfg" >"$root/conf/demo.cfg"
inventory=$root/share/inventory/inventory.csv
speak "$language"

say "a server process in $root, language $language"
mkfifo "$root/ready" "$root/progress" || fail "no pipes"
start_server
echo "velad serves as process $server"

say "an audit of 5,000 network elements"
"$bin/velactl" audit "$inventory" >"$root/table" || fail "the audit did not succeed"
cat "$root/table"
awk '$2 ~ /^(identifier|name|address|type|version)-/ { print $1 "\t" $2 }' "$root/table" >"$root/found"
awk -F '\t' '{ print $1 "\t" $2 }' "$root/share/inventory/inventory.expected" >"$root/expected"
diff "$root/expected" "$root/found" >&2 || fail "the faults are not those that were planted"
grep -qxF -- "$(text AUDIT_SUMMARY 5000 5000 50)" "$root/table" || fail "the audit was not complete"
echo "exactly the planted faults"

say "the same audit, cancelled at about 40 %"
"$bin/velactl" audit "$inventory" >"$root/table" 2>"$root/progress" &
client=$!
asked=
cancelled=
reason=$(text ERR42010001)
while read -r line; do
  echo "$line"
  # shellcheck disable=SC2254 # a pattern
  case $line in *$reason*) cancelled=yes ;; esac
  percent=${line%%%*}
  case $percent in '' | *[!0-9]*) continue ;; esac
  [ "$percent" -lt 100 ] || fail "the cancelled audit ran to its end"
  if [ -z "$asked" ] && [ "$percent" -ge 40 ]; then
    asked=yes
    kill -INT "$client"
  fi
done <"$root/progress"
wait "$client"
code=$?
client=
tail -n 1 "$root/table"
[ "$code" -eq 1 ] || fail "the cancelled audit ended with code $code instead of 1"
[ "$asked$cancelled" = yesyes ] || fail "the audit does not say that it was cancelled"

say "the end of the server's log"
tail -n 8 "$root"/var/logs/Develop/velad_1/velad*.log || fail "the server wrote no log"

say "the server is told to stop"
stop_server
echo "it ended with exit code 0"

spoken=$language
head -n 140 "$inventory" >"$root/part.csv"
for folder in "$root"/res/*/; do
  other=$(basename "$folder")
  [ "$other" != "$spoken" ] || continue
  say "the same root, language $other"
  speak "$other"
  start_server
  "$bin/velactl" audit "$root/part.csv" >"$root/table" || fail "the audit did not succeed"
  cat "$root/table"
  grep -qxF -- "$(text AUDIT_SUMMARY 139 139 2)" "$root/table" || fail "the audit does not speak $other"
  stop_server
done
printf '\ndemo: all right\n'
