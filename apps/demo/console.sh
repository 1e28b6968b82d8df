# The operator's console: which processes run, what one of them knows about a request while it works on it, and the state
# of each. The last part.
# shellcheck shell=sh disable=SC2154 # home, root, bin and language come from the frame

# ask PROCESS COMMAND...: the reply, shown and in $root/reply.
ask() {
  printf '$ velactl debug %s\n' "$*"
  "$bin/velactl" debug "$@" >"$root/reply" || fail "the console of process $1 did not run: $*"
  cat "$root/reply"
}

# says TEXT: the last reply holds that line.
says() { grep -qxF -- "$1" "$root/reply" || fail "the reply does not say '$1'"; }

say "two server processes and their operator"
speak "$spoken"
start_server
trap 'kill $spread_servers 2>/dev/null; cleanup' EXIT
start_spread_server 101
"$bin/velactl" ps | tee "$root/reply"
for number in 100 101; do
  awk -v number=$number '$1 == number && $2 == 1 && $3 > 1 { found = 1 } END { exit !found }' "$root/reply" ||
    fail "the list of processes has no process $number/1"
done
ask 100 setswitch default 1100
says OK

say "what process 100 knows about a request, in the middle of it"
"$bin/velactl" configure 9-1..9-3 --seconds 2 >"$root/table" 2>"$root/progress" &
client=$!
asked=
while read -r line; do
  case $line in *"$(text OPER_CONFIGURING 9-2)"*) ;; *) continue ;; esac
  [ -z "$asked" ] || continue
  asked=yes
  ask 100 listmission
  mission=$(sed -n 's/^mission \([0-9]*\) of .*/\1/p' "$root/reply")
  ask 100 dumprequest mission "$mission" | cut -c 1-110 | awk 'NR <= 12; END { if (NR > 12) print "... " NR " lines" }'
  grep -q "^mission $mission of .*: progress " "$root/reply" || fail "the dump does not show the progress"
  for object in 9-1 9-2 9-3; do says "  object $object 0 0"; done
  grep -q "^held-back records: " "$root/reply" || fail "the dump does not show the held-back records"
done <"$root/progress"
[ "$asked" = yes ] || fail "the request showed no progress"
wait "$client" || fail "the request did not succeed"
client=
ask 100 flushall
says OK
grep -q "Dump filtered debug information end" "$root"/var/logs/Develop/velad_1/velad*.log || fail "nothing was flushed"

say "the state of each server"
for number in 100 101; do
  ask $number status
  says "process: $number/1"
  says "stopping: no"
  says "missions: 0"
  says "locks: 0"
done
ask 101 shutdown
for started in $spread_servers; do
  wait "$started" || fail "process 101 did not end well"
done
spread_servers=
trap cleanup EXIT
stop_server
"$bin/velactl" ps
