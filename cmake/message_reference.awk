# The message reference, in Markdown, from the ASN.1 modules: what a module is about, each type with its comment and
# its fields.
function text_of(line) { sub(/^ *-- ?/, "", line); gsub(/\|/, "\\|", line); return line }
function add(sum, line) { return sum == "" ? line : sum " " line }
function finish_field() {
  if (field != "") printf "| `%s` | %s | %s |\n", field, type, note
  field = ""
}
BEGIN { print "# Message reference\n\nMade from the modules in `asn1/` and `apps/asn1/`. 16#210031# is 0x210031." }
FNR == 1 { about = ""; note = ""; inside = 0 }
/^ *--/ {
  if (field != "") note = add(note, text_of($0))
  else about = add(about, text_of($0))
  next
}
/DEFINITIONS/ { printf "\n## %s (`%s`)\n\n%s\n", $1, FILENAME, about; about = ""; next }
/^[A-Z][A-Za-z0-9]* *::= *(SEQUENCE|CHOICE|SET) *{/ {
  printf "\n### %s\n\n%s\n\n| field | type | |\n|---|---|---|\n", $1, about; about = ""; inside = 1; next
}
/^[A-Z][A-Za-z0-9]* *::=/ {
  line = $0; comment = ""
  if (match(line, / *-- /)) { comment = substr(line, RSTART + RLENGTH); line = substr(line, 1, RSTART - 1) }
  name = $1; sub(/^[^=]*= */, "", line)
  printf "\n### %s\n\n%s. %s\n", name, line, add(about, comment); about = ""; next
}
inside && /^}/ { finish_field(); inside = 0; next }
inside && NF {
  finish_field()
  line = $0; note = ""
  if (match(line, / *-- ?/)) { note = substr(line, RSTART + RLENGTH); gsub(/\|/, "\\|", note); line = substr(line, 1, RSTART - 1) }
  sub(/^ +/, "", line); sub(/,? *$/, "", line)
  field = line; sub(/ .*/, "", field)
  type = line; sub(/^[^ ]+ +/, "", type)
}
