# What the parts of the demonstration share. Read by apps/demo.sh, not run by itself.
# shellcheck shell=sh disable=SC2154 # home, root, bin and language come from the frame

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
