#!/bin/sh
# The demonstration, part by part (apps/demo/): a server, an audit with its progress, a second one cancelled halfway,
# an orderly end; NEs under locks; missions spread over three servers; files of a server, fetched and sent by a client
# with another root; then a short audit in each other language; at last the operator's console. Each part leaves no
# server behind.
# usage: demo.sh BIN [--language LANGUAGE]   BIN: the folder of velad and velactl; en_US unless a language is named
#        demo.sh BIN --hosts 3               missions over three hosts instead, see apps/demo/hosts.sh
# Exit code 0 only if all of it was right.
set -u
usage="usage: demo.sh BIN [--language LANGUAGE | --hosts 3]"
bin=${1:?$usage}
shift
language=en_US
while [ $# -gt 0 ]; do
  case $1 in
    --language) language=${2:-}; shift ;;
    --language=*) language=${1#*=} ;;
    --hosts | --hosts=3)
      [ "$1 ${2:-}" = "--hosts 3" ] || [ "$1" = --hosts=3 ] || { echo "demo: there are 3 hosts" >&2; exit 2; }
      exec sh "$(dirname "$0")/demo/hosts.sh" "$bin"
      ;;
    *) echo "demo: unknown argument '$1'; $usage" >&2; exit 2 ;;
  esac
  [ $# -eq 0 ] || shift
done
home=$(cd "$(dirname "$0")/.." && pwd)
case $language in
  '' | */* | .*) known= ;;
  *) known=$(ls "$home/install/res/$language/resource.txt" 2>/dev/null) ;;
esac
if [ -z "$known" ]; then
  echo "demo: there is no language '$language'; see $home/install/res" >&2
  exit 2
fi

root=$(mktemp -d "${TMPDIR:-/tmp}/velademo.XXXXXX") || exit 1
export VELA_ROOT="$root"
server=
client=

cleanup() {
  [ -z "$client" ] || kill "$client" 2>/dev/null
  [ -z "$server" ] || kill "$server" 2>/dev/null
  [ -z "$server$client" ] || wait
  rm -rf "$root"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

parts=$home/apps/demo
. "$parts/common.sh"

cp -r "$home/install/." "$root/" && mkdir "$root/bin" "$root/handlers" && cp "$bin/velad" "$bin/velactl" "$root/bin/" &&
  find "$bin"/../lib* -path "*/velad/*.so" -exec cp {} "$root/handlers/" \; ||
  fail "no installation root"
bin=$root/bin
# Slow enough to watch.
sed 's/^AuditRecordMicroseconds.*/AuditRecordMicroseconds = 700/' "$root/conf/velad.cfg" >"$root/conf/demo.cfg"
inventory=$root/share/inventory/inventory.csv
mkfifo "$root/ready" "$root/progress" || fail "no pipes"
speak "$language"

. "$parts/audit.sh"
. "$parts/locks.sh"
. "$parts/spread.sh"
. "$parts/nms.sh"
. "$parts/files.sh"
. "$parts/languages.sh"
. "$parts/console.sh"
printf '\ndemo: all right\n'
