# NEs are configured for a while: a second request for one of them is refused, an inspection is not; the errors of
# boards come back with code, position and text; afterwards the refused request is granted.
# shellcheck shell=sh disable=SC2154 # home, root, bin and language come from the frame

# fault CODE POSITION TEXT: a row of the table that velactl prints, its columns behind each other.
fault() { printf '%s|%s|%s\n' "$1" "$2" "$3"; }

start_server

say "NEs 9-1 to 9-9 are configured; meanwhile others ask for 9-3"
"$bin/velactl" configure 9-1..9-9 --seconds 4 >"$root/table" 2>"$root/progress" &
client=$!
asked=
reason=$(text OPER_REFUSED_AT 0x42010211 9-3)
while read -r line; do
  echo "$line"
  case $line in *"$(text OPER_CONFIGURING 9-3)"*) ;; *) continue ;; esac
  [ -z "$asked" ] || continue
  asked=yes
  "$bin/velactl" configure 20-1,9-3 2>"$root/refused"
  code=$?
  cat "$root/refused"
  [ "$code" -eq 2 ] || fail "the second configuration ended with code $code instead of 2"
  # shellcheck disable=SC2254 # a pattern
  case $(cat "$root/refused") in *$reason*) ;; *) fail "the refusal does not say who is in the way" ;; esac
  "$bin/velactl" inspect 9-3 2>/dev/null || fail "the inspection did not run beside the configuration"
  kill -0 "$client" 2>/dev/null || fail "the first configuration had ended already"
done <"$root/progress"
wait "$client"
code=$?
client=
cat "$root/table"
[ "$asked" = yes ] || fail "the first configuration showed no progress"
[ "$code" -eq 1 ] || fail "the first configuration ended with code $code instead of 1"
{
  fault 0x42010224 "$(text PLACE_PORT 9-5 3 1)" "$(text ERR42010224 VC4-7)"
  fault 0x42010224 "$(text PLACE_PORT 9-5 3 2)" "$(text ERR42010224 VC4-8)"
  fault 0x42010223 "$(text PLACE_BOARD 9-5 4)" "$(text ERR42010223)"
  fault 0x42010225 "$(text PLACE_PORT 9-8 2 1)" "$(text ERR42010225)"
  fault 0x42010222 "$(text PLACE_BOARD 9-8 6)" "$(text ERR42010222)"
  fault 0x42010221 9-9 "$(text ERR42010221)"
} >"$root/expected"
sed -n '/^0x/s/   */|/gp' "$root/table" >"$root/found"
diff "$root/expected" "$root/found" >&2 || fail "the errors are not those that were planned"
grep -qxF -- "$(text OPER_SUMMARY 9 3 6)" "$root/table" || fail "the configuration was not complete"
echo "exactly the planned errors; those of 9-6 were gone when its board was asked again"

say "the refused request, once more"
"$bin/velactl" configure 20-1,9-3 2>/dev/null || fail "it was not granted"

stop_server
