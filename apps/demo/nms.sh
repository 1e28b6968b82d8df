# The small network-management server: topology and session service, element-management server and three NE
# managers; all NEs uploaded; a reset refused meanwhile, then the upload cancelled; an upload of which one manager is
# killed; another language and other rules while it serves; what operators see.
# shellcheck shell=sh disable=SC2154,SC2086 # home, root, bin and language come from the frame; lists are split

nms_servers=
trap 'kill $nms_servers 2>/dev/null; cleanup' EXIT

start_nms_server() {
  "$bin/velad" -f "$1.cfg" >"$root/ready" &
  started=$!
  nms_servers="$nms_servers $started"
  echo "$started" >"$root/pid.$1"
  read -r line <"$root/ready" || fail "the server process of $1.cfg did not start"
  [ "$line" = ready ] || fail "the server process of $1.cfg said '$line' instead of 'ready'"
}

# nms_mission COMMAND LIMIT ARGUMENT...: begins a mission; at so many percent COMMAND is run. Leaves $code.
nms_mission() {
  meanwhile=$1 limit=$2; shift 2
  "$bin/velactl" "$@" >"$root/table" 2>"$root/progress" &
  client=$!
  asked=
  last=
  while read -r line; do
    percent=${line%%%*}
    [ "$percent" = "$last" ] || echo "$line"
    last=$percent
    case $percent in '' | *[!0-9]*) continue ;; esac
    [ -z "$asked" ] && [ "$percent" -ge "$limit" ] || continue
    asked=yes
    $meanwhile
  done <"$root/progress"
  wait "$client"
  code=$?
  client=
  [ "$asked" = yes ] || fail "the mission ended before $limit %"
}

# The planned faults of the NEs are those of conf/ne_faults.cfg; nothing else may go wrong.
check_upload() {
  [ "$code" -eq 1 ] || fail "the upload ended with code $code instead of 1"
  grep -qxF -- "$(text NES_SUMMARY 200 200 "$nms_failed" "$nms_errors")" "$root/table" ||
    fail "the upload was not complete: $(tail -n 1 "$root/table")"
  found=$(find "$root/var/configs" -name '*.cfg' -size +0 | wc -l)
  [ "$found" -ge $((200 - nms_failed)) ] || fail "$found configurations were fetched"
}

say "six server processes: topology, sessions, element management, and three NE managers for 200 NEs"
sed 's/^NEMilliseconds.*/NEMilliseconds = 10/; s/^BoardMilliseconds.*/BoardMilliseconds = 8/' \
  "$home/install/conf/network.cfg" >"$root/conf/network.cfg"
for name in topology session ems otn1 otn2 ptn1; do
  start_nms_server "$name"
done
echo "they are the processes$nms_servers"

say "all NEs uploaded; their planned faults show"
"$bin/velactl" upload --all >"$root/table" 2>"$root/said"
code=$?
grep velactl: "$root/said"
awk -v good="$(text NES_DONE)" '$2 != good || NF > 8' "$root/table"
nms_failed=$(awk -v failed="$(text NES_FAILED)" '$2 == failed' "$root/table" | wc -l)
nms_errors=$(sed -n '$s/.*[^0-9]\([0-9][0-9]*\)[^0-9]*$/\1/p' "$root/table")
[ "$nms_failed" -eq 3 ] || fail "$nms_failed NEs failed instead of 9-5, 9-8 and 9-9"
check_upload
echo "the configurations of $found NEs are in var/configs"

refused_reset() {
  "$bin/velactl" reset 9-1..9-3 2>"$root/refused"
  code=$?
  cat "$root/refused"
  [ "$code" -eq 2 ] || fail "the reset ended with code $code instead of 2"
  grep -qF 0x42012011 "$root/refused" || fail "the refusal does not say who is in the way"
  "$bin/velactl" top --once
  kill -INT "$client"
}
say "an upload; meanwhile a reset is refused; then Ctrl-C stops the upload in all processes"
nms_mission refused_reset 20 upload --all
tail -n 1 "$root/table"
[ "$code" -eq 1 ] || fail "the cancelled upload ended with code $code instead of 1"
"$bin/velactl" reset 9-1..9-3 2>/dev/null || fail "the reset was not granted afterwards"

kill_manager() {
  nms_servers=$(echo "$nms_servers" | sed "s/ $victim\$//; s/ $victim / /")
  kill -KILL "$victim"
  wait "$victim" 2>/dev/null
}
say "an upload, and the manager 120/2 is killed at 30 %: 120/1 takes its NEs over"
victim=$(cat "$root/pid.otn2")
nms_mission kill_manager 30 upload --all
grep -F 120/2 "$root/table"
check_upload

other=zh_CN
[ "$language" = zh_CN ] && other=en_US
say "all processes read their files again and speak $other; then one of the files is wrong"
"$bin/velactl" reload all --language "$other" || fail "not all processes speak $other"
echo "120:no rule" >>"$root/conf/mutex.cfg"
"$bin/velactl" reload 110
[ $? -eq 1 ] || fail "the wrong file was read"
cp "$home/install/conf/mutex.cfg" "$root/conf/mutex.cfg"
"$bin/velactl" reload all --language "$language" || fail "not all processes speak $language again"

say "what operators see: the processes, and who did what"
"$bin/velactl" top --once | tee "$root/table"
grep -q "^120/2 " "$root/table" && fail "the killed process is still there"
[ "$(grep -c "$(text TOP_SERVES)" "$root/table")" -eq 5 ] || fail "not all processes answer"
"$bin/velactl" sessions | tee "$root/table"
[ "$(grep -c "^3003/" "$root/table")" -eq 4 ] || fail "the sessions are not complete"
"$bin/velactl" nes 9-1..9-3 || fail "the NEs are not known"

for started in $nms_servers; do
  kill -TERM "$started"
  wait "$started" || fail "a server process did not end well"
done
nms_servers=
trap cleanup EXIT
