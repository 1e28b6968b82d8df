# A client with an installation root of its own fetches the report that the first audit wrote, compares it, and puts a
# changed one back; what the server does not offer is refused.
# shellcheck shell=sh disable=SC2154 # home, root, bin and language come from the frame

say "the reports of the audits, for a client with another installation root"
echo "FileServiceWrite = var/reports" >>"$root/etc/conf/vela.cfg"
start_server
away=$root/away
mkdir -p "$away/var" && cp -r "$root/etc" "$root/res" "$away/" && ln -s "$root/var/run" "$away/var/run" ||
  fail "no second root"
remote() { VELA_ROOT=$away "$bin/velactl" file "$@"; }
remote ls 100 var/reports >"$root/names" || fail "the reports cannot be listed"
cat "$root/names"
report=$(head -n 1 "$root/names")

say "the report of the first audit"
remote get 100 "var/reports/$report" "$away/report.csv" || fail "the report cannot be fetched"
head -n 4 "$away/report.csv"
cmp "$away/report.csv" "$root/var/reports/$report" >&2 || fail "the report is not that of the server"
awk -F '\t' '{ print $2 }' "$root/share/inventory/inventory.expected" >"$root/expected"
sed -n 's/.*,\([a-z]*-[a-z]*\),".*/\1/p' "$away/report.csv" >"$root/found"
diff "$root/expected" "$root/found" >&2 || fail "the report does not hold the faults that were planted"
echo "the server's own bytes, with exactly the planted faults"

say "a changed report goes back; what is not offered is refused"
echo "# seen" >>"$away/report.csv"
remote put 100 "var/reports/$report" "$away/report.csv" || fail "the changed report cannot be sent"
cmp "$away/report.csv" "$root/var/reports/$report" >&2 || fail "the server has not got the changed report"
remote get 100 conf/velad.cfg "$away/stolen" 2>&1
[ $? -eq 2 ] && [ ! -e "$away/stolen" ] || fail "the server's configuration was not refused"
stop_server
