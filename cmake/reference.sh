#!/bin/sh
# reference.sh BUILD-DIR: reference pages of what is installed, in BUILD-DIR/reference/: html/ of the headers and the
# documents, messages.md of the messages. Fails when a public name has no comment.
set -u
[ $# -eq 1 ] && [ -f "$1/cmake_install.cmake" ] || { echo "reference: usage: $0 BUILD-DIR (built)" >&2; exit 2; }
build=$(cd "$1" && pwd)
cd "$(dirname "$0")/.." || exit 1
work=$build/reference
rm -rf "$work"
mkdir -p "$work" && cmake --install "$build" --prefix "$work/installed" >"$work/install.log" || exit 1
headers=$work/installed/include/basic_util

LC_ALL=C awk -f cmake/message_reference.awk asn1/*.asn1 apps/asn1/*.asn1 >"$work/messages.md" || exit 1

doxygen - >"$work/log" 2>&1 <<EOT
PROJECT_NAME = basic_util
INPUT = $headers/platform $headers/util $headers/apps README.md docs $work/messages.md
STRIP_FROM_PATH = $headers $PWD
USE_MDFILE_AS_MAINPAGE = README.md
RECURSIVE = YES
FILE_PATTERNS = *.h *.md
FILTER_PATTERNS = "*.h=awk -f cmake/doxygen_filter.awk"
OUTPUT_DIRECTORY = $work
GENERATE_LATEX = NO
QUIET = YES
AUTOLINK_SUPPORT = NO
JAVADOC_AUTOBRIEF = YES
DISTRIBUTE_GROUP_DOC = YES
WARN_IF_DOC_ERROR = NO
MACRO_EXPANSION = YES
EXPAND_ONLY_PREDEF = YES
PREDEFINED = VELA_EXPORT= BASIC_UTIL_EXPORT= "VELA_CAPABILITY(x)=" VELA_SCOPED_CAPABILITY= "VELA_ANNOTATE(x)=" \\
  "VELA_GUARDED_BY(x)=" "VELA_REQUIRES(...)=" "VELA_ACQUIRE(...)=" "VELA_RELEASE(...)=" "VELA_TRY_ACQUIRE(...)="
EOT
status=$?
# Links of the documents that lead to sources are no links of the pages.
grep -v 'unable to resolve reference\|^$' "$work/log" | sort -u >"$work/warnings"
[ $status -eq 0 ] && [ ! -s "$work/warnings" ] && exit 0
cat "$work/warnings" >&2
exit 1
