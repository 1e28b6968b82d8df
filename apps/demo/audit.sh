# An audit with its progress, a second one cancelled halfway, an orderly end of the server.
# shellcheck shell=sh disable=SC2154 # home, root, bin and language come from the frame

say "a server process in $root, language $language"
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
