# A short audit in each other language. The last part: it leaves the root in another language.
# shellcheck shell=sh disable=SC2154 # home, root, bin and language come from the frame

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
