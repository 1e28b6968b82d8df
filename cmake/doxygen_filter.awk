# Shows doxygen a header's plain comments. A comment above declarations belongs to all of them up to the next
# comment or blank line, one with a blank line below to all up to the next of its kind, one behind a declaration to
# that one. Members without a comment are what the comment of their class is about.
function indent_of(line) { match(line, /^ */); return substr(line, 1, RLENGTH) }
function open_group() { print indent "///@{"; open = 1 }
function close_group() { if (open) print indent "///@}"; open = 0 }
function trailing(line) {
  if (match(line, /[^ ] +\/\/ /)) return substr(line, 1, RSTART) " ///< " substr(line, RSTART + RLENGTH)
  return line
}
function opens_scope(line) { return line ~ /^ *((class|struct|union|namespace|template)[ <]|extern "C")/ }

/^ *\/\/ *NOLINT/ { next }
/^ *\/\// {
  if (!comment) close_group()
  indent = indent_of($0)
  gsub(/[<>@\\]/, "\\\\&")
  sub(/\/\/ ?/, "/// "); print
  comment = 1; next
}
/^ *$/ || /^#/ { close_group(); if (comment && indent == "") section = 1; comment = 0; print; next }
/^ *(public|protected|private):/ { close_group(); print; hidden = /private/; next }
/^};/ || /^}/ { close_group(); comment = 0; described = 0; hidden = 0; print; next }
/^  };/ { close_group(); comment = 0; nested = 0; print; next }
/^  (class|struct) .*{$/ {
  if (!comment && described && !hidden) print "  /// As the comment of the class tells."
  comment = 0; nested = 1; print; next
}
opens_scope($0) { print trailing($0); if (/{$/) described = comment && !/namespace/; comment = 0; hidden = /^ *class/; next }
{
  if (comment) open_group()
  else if (described && !hidden && !open && indent_of($0) == (nested ? "    " : "  ") && !/^ *}/) {
    indent = indent_of($0)
    print indent "/// As the comment of the class tells."
    open_group()
  }
  else if (section && !open && /^[a-zA-Z]/) {
    indent = ""
    print "/// As the comment above tells."
    open_group()
  }
  comment = 0
  print trailing($0)
}
END { close_group() }
