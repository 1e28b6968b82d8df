# Uploads of all NEs, and what must be true after each. Read by apps/demo/hosts.sh.
# shellcheck shell=sh disable=SC2154 # root and place come from the frame

# upload [PERCENT COMMAND...]: uploads all NEs; when it has come so far, runs the command.
upload() {
  rm -rf "$root/$place/var/configs" "$root/table" "$root/progress"
  operator upload --all >"$root/table" 2>"$root/progress" &
  client=$!
  if [ $# -gt 0 ]; then
    await "$1 %" is_at "$1"
    [ ! -s "$root/table" ] || fail "the upload had ended before anything happened to it"
    shift
    "$@"
  fi
  wait $client
  code=$?
  uploads=$((uploads + 1))
  [ $code -eq 1 ] || fail "the upload ended with code $code, though some NEs have faults: $(tail -n 3 "$root/progress")"
  results "$root/table" >"$root/results"
}
is_at() { awk -v least="$1" '$1 + 0 >= least { found = 1 } END { exit !found }' "$root/progress"; }

# Of a table, all but the time that each NE took.
results() { sed 's/[0-9]*\.[0-9][0-9] s/-/; s/   */  /g' "$1"; }

remember_as_expected() {
  mv "$root/results" "$root/expected"
  mv "$root/alone/var/configs" "$root/configs" && rm -r "$root/alone"
  uploads=0
  echo "  $(tail -n 1 "$root/table"); $(find "$root/configs" -name '*.cfg' | wc -l) files; the faults are planned:"
  awk '$2 == "failed" { print "  " $0 }' "$root/expected"
}

is_idle() {
  look && ! grep -hE '^(queued|running|missions|operations|locks): [1-9]|; [1-9][0-9]* frames held' "$root"/state.*
}

logs=var/logs/Develop
is_logged() {
  for log in "$root/h1/$logs"/velad_110/*.log "$root"/h[23]/"$logs"/velad_12?_?/*.log; do
    [ "$(grep -c 'to: listqueue$' "$log")" -ge "$looks" ] || return 1
  done
}

check_idle() {
  await "the end of all work and of all locks" is_idle
  await "the logs of what was before the look at it" is_logged
}

check_all() {
  diff "$root/expected" "$root/results" >&2 || fail "the results are not those of one host"
  diff -r "$root/configs" "$root/h1/var/configs" >&2 || fail "the files are not those of one host"
  [ -d "$root/h1/var/upload" ] || fail "the files were not fetched by way of copies, though they are on other hosts"
  [ -z "$(find "$root/h1/var/upload" -type f)" ] || fail "copies of the managers' files are left on host 1"
  echo "  $(tail -n 1 "$root/table"): the results and the files are those of one host"
  check_idle
  check_frames
}

# What could not be if everything was delivered once, in numbers that stay the same then.
# Element management hears from the managers, and of two frames more each upload: the client's request, and the answer
# of the topology service.
count_frames() {
  got=$(count '^bus: .* sent, \([0-9]*\) received.*' ems)
  sent=$(count '^bus: \([0-9]*\) sent.*' otn1 otn2 ptn1)
  echo $((got - sent - 2 * uploads))
}
# A request that reached a process twice would be answered twice, the second time in vain.
count_late() { count '^frames: \([0-9]*\) late answers.*'; }
# What a manager is to do is a request without an answer: handed out and begun are in the logs.
count_pieces() {
  handed=$(cat "$root/h1/$logs"/velad_110/*.log | grep -c 'NE mission .* NEs for .*, code 0x0*$')
  begun=$(cat "$root"/h[23]/"$logs"/velad_12?_?/*.log | grep -c 'piece of .*: begins$')
  echo $((begun - handed))
}

check_frames() {
  more=$(($(count_frames) - frames))
  [ $more -eq 0 ] || fail "element management got $more frames more than were sent to it"
  more=$(($(count_late) - late))
  [ $more -eq 0 ] || fail "$more answers came twice or too late"
  more=$(($(count_pieces) - pieces))
  [ $more -eq 0 ] || fail "$more pieces more were begun than handed out"
  echo "  nothing is locked; each frame was delivered once: of $(count '^bus: \([0-9]*\) sent.*') so far," \
    "$(count '.*, \([0-9]*\) sent again.*') sent again, $(count '.* \([0-9]*\) dropped as repeated.*') dropped as repeated"
}

# The NEs of 121, which has one instance, are reported as lost, each with the reason; all others are done.
check_lost_host() {
  sed -n '/^process/s/^/  /p' "$root/table"
  grep -q '^process 120/2 did ' "$root/table" || fail "nobody tells that 120/2 was lost"
  awk '/121\/1 has ended/ && $2 == "failed" { print $1 }' "$root/table" >"$root/lost"
  [ -s "$root/lost" ] || fail "no NE is reported as lost"
  found_without_lost expected >"$root/expected.left"
  found_without_lost results | diff "$root/expected.left" - >&2 || fail "the other results are not those of one host"
  cp -r "$root/configs" "$root/configs.left"
  sed "s|.*|$root/configs.left/&.cfg|" "$root/lost" | xargs rm -f
  diff -r "$root/configs.left" "$root/h1/var/configs" >&2 || fail "the other files are not those of one host"
  echo "  $(wc -l <"$root/lost") NEs are reported as lost; the results and the files of the others are those of one host"
  check_idle
  echo "  nothing is locked, on the lost host neither"
}
found_without_lost() {
  awk 'FNR == NR { lost[$1]; next } /^process|worked on/ { exit } /^[^ ]/ { skip = $1 in lost } !skip' \
    "$root/lost" "$root/$1"
}

# Until element management knows all managers. What was under way to a lost host is lost: what is counted, is counted
# from here on.
settle() {
  await "all managers" knows_managers
  check_idle
  frames=$(count_frames) late=$(count_late) pieces=$(count_pieces)
}
knows_managers() {
  uploads=$((uploads + 1))
  operator upload --json 9-1,9-2,9-6 >"$root/table" || return 1
  [ "$(grep -c '"process": ".*", "nes": 1, "done": 1, ' "$root/table")" -eq 3 ]
}
