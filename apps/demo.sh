#!/bin/sh
# The demonstration: a server, an audit with its progress, a second one cancelled halfway, an orderly end.
# usage: demo.sh BIN   (the folder of velad and velactl); exit code 0 only if all of it was right
set -u
bin=${1:?usage: demo.sh BIN}
home=$(cd "$(dirname "$0")/.." && pwd)
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

cp -r "$home/install/." "$bin/../root/." "$root/" && mkdir "$root/bin" && cp "$bin/velad" "$bin/velactl" "$root/bin/" ||
  fail "no installation root"
bin=$root/bin
# Slow enough to watch.
sed 's/^AuditRecordMicroseconds.*/AuditRecordMicroseconds = 700/' "$root/conf/velad.cfg" >"$root/conf/demo.cfg"
inventory=$root/share/inventory/inventory.csv

say "a server process in $root"
mkfifo "$root/ready" "$root/progress" || fail "no pipes"
"$bin/velad" -f demo.cfg >"$root/ready" &
server=$!
read -r line <"$root/ready" || fail "the server did not start"
[ "$line" = ready ] || fail "the server said '$line' instead of 'ready'"
echo "velad serves as process $server"

say "an audit of 5,000 network elements"
"$bin/velactl" audit "$inventory" >"$root/table" || fail "the audit did not succeed"
cat "$root/table"
awk '$2 ~ /^(identifier|name|address|type|version)-/ { print $1 "\t" $2 }' "$root/table" >"$root/found"
awk -F '\t' '{ print $1 "\t" $2 }' "$root/share/inventory/inventory.expected" >"$root/expected"
diff "$root/expected" "$root/found" >&2 || fail "the faults are not those that were planted"
grep -q '^5000 of 5000 NEs checked, 50 faults found$' "$root/table" || fail "the audit was not complete"
echo "exactly the planted faults"

say "the same audit, cancelled at about 40 %"
"$bin/velactl" audit "$inventory" >"$root/table" 2>"$root/progress" &
client=$!
asked=
cancelled=
while read -r line; do
  echo "$line"
  case $line in *"the audit was cancelled after"*) cancelled=yes ;; esac
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
kill -TERM "$server"
wait "$server"
code=$?
server=
[ "$code" -eq 0 ] || fail "the server ended with code $code"
echo "it ended with exit code 0"
printf '\ndemo: all right\n'
