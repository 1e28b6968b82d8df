# A mission spread over three server processes; a second one, of which one process is killed; a third one, where the
# others take over what the dead process had.
# shellcheck shell=sh disable=SC2154,SC2086 # home, root, bin and language come from the frame; lists are split

spread_servers=
trap 'kill $spread_servers 2>/dev/null; cleanup' EXIT

start_spread_server() {
  sed 's/^SpreadRecordMicroseconds.*/SpreadRecordMicroseconds = 2500/' "$home/install/conf/spread$1.cfg" \
    >"$root/conf/spread$1.cfg"
  "$bin/velad" -f "spread$1.cfg" >"$root/ready" &
  started=$!
  spread_servers="$spread_servers $started"
  read -r line <"$root/ready" || fail "server process $1 did not start"
  [ "$line" = ready ] || fail "server process $1 said '$line' instead of 'ready'"
}

kill_spread_server() {
  spread_servers=$(echo "$spread_servers" | sed "s/ $1\$//; s/ $1 / /")
  kill -KILL "$1"
  wait "$1" 2>/dev/null
}

# spread_until PERCENT OPTION...: begins a mission; at so much it kills the process $victim. Leaves $code.
spread_until() {
  limit=$1; shift
  "$bin/velactl" spread "$inventory" "$@" >"$root/table" 2>"$root/progress" &
  client=$!
  killed=
  while read -r line; do
    echo "$line"
    percent=${line%%%*}
    case $percent in '' | *[!0-9]*) continue ;; esac
    if [ -z "$killed" ] && [ "$percent" -ge "$limit" ]; then
      killed=yes
      kill_spread_server "$victim"
    fi
  done <"$root/progress"
  wait "$client"
  code=$?
  client=
  [ "$killed" = yes ] || fail "the mission ended before the process could be killed"
  tail -n 4 "$root/table"
}

say "three server processes: 101 owns the missions, 101, 102 and 103 work on them"
for number in 101 102 103; do
  start_spread_server "$number"
done
echo "they are the processes$spread_servers"
victim=$started

say "the same inventory, spread over the three"
"$bin/velactl" spread "$inventory" >"$root/table" || fail "the mission did not succeed"
tail -n 4 "$root/table"
awk '$2 ~ /^(identifier|name|address|type|version)-/ { print $1 "\t" $2 }' "$root/table" >"$root/found"
awk -F '\t' '{ print $1 "\t" $2 }' "$root/share/inventory/inventory.expected" >"$root/expected"
diff "$root/expected" "$root/found" >&2 || fail "the faults are not those that one process finds"

say "what the owner folded, from its log"
sed -n 's/.*: process \(.*\) at \([0-9]*\), folded to \([0-9]*\)$/\1 \2% -> \3%/p' "$root"/var/logs/Develop/velad_101/velad*.log >"$root/folded"
awk 'NR % 12 == 1' "$root/folded"
awk '{ figure = $NF + 0; if (figure < last || figure > last + 5) exit bad = 1; last = figure }
     END { exit bad || NR < 50 || last < 97 }' "$root/folded" || fail "the figure did not rise smoothly"
echo "$(wc -l <"$root/folded") figures, none lower than the one before"

say "again, and process 103/1 is killed at 40 %"
spread_until 40
[ "$code" -eq 1 ] || fail "the mission ended with code $code instead of 1"
lost=$(text SPREAD_PART_FAILED "$(text SPREAD_PART_ENDED 103.1)")
grep -q "^103/1 .*$lost" "$root/table" || fail "the result does not say what became of process 103/1"

say "again with all three, killed at 40 %, and the others take over"
start_spread_server 103
victim=$started
spread_until 40 --on-failure move
[ "$code" -eq 0 ] || fail "the mission ended with code $code although the others took over"
grep -qxF -- "$(text AUDIT_SUMMARY 5000 5000 50)" "$root/table" || fail "not everything was checked"

say "the missions that are left"
"$bin/velactl" missions || fail "the missions cannot be listed"
for started in $spread_servers; do
  kill -TERM "$started"
  wait "$started" || fail "a server process did not end well"
done
spread_servers=
trap cleanup EXIT
