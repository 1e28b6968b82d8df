#!/bin/sh
# The small network-management server on three hosts, on one machine: each host is a network namespace with roots of its
# own, all on one switch, joined by a cluster of three engine nodes, encrypted with certificates made here. All NEs are
# uploaded while an engine node is killed, while a link is cut, slow and lossy, and while a host is lost. Every upload ends
# with what one host alone delivers, or says what it could not do; afterwards nothing is locked or under way, and nothing
# was delivered twice.
# usage: hosts.sh BIN   BIN: the folder of velad and velactl
# Exit code 0 when all was right, 77 when this system does not permit network namespaces.
set -u
bin=$(cd "${1:?usage: hosts.sh BIN}" && pwd) || exit 1
home=$(cd "$(dirname "$0")/../.." && pwd)
if [ -z "${VELA_HOSTS_INSIDE:-}" ]; then
  private="--mount --net --pid --fork --kill-child --mount-proc"
  [ "$(id -u)" = 0 ] || private="--map-root-user $private"
  # shellcheck disable=SC2086 # a list of words
  unshare $private sh -c 'mount -t tmpfs tmpfs /run && mkdir /run/netns && ip netns add probe &&
    ip link add probe type bridge && tc qdisc add dev probe root tbf rate 400kbit burst 2kb limit 10kb' 2>/dev/null || {
    echo "hosts: skipped: this system does not permit network namespaces with links between them"
    exit 77
  }
  # shellcheck disable=SC2086
  VELA_HOSTS_INSIDE=1 exec unshare $private sh "$0" "$bin"
fi

root=$(mktemp -d "${TMPDIR:-/tmp}/velahosts.XXXXXX") || exit 1
trap 'rm -rf "$root"' EXIT
trap 'exit 130' INT TERM
started=$(date +%s)

say() { printf '\n== %s  (%s s)\n' "$*" "$(($(date +%s) - started))"; }
fail() {
  printf '\nhosts: FAILED: %s\n' "$*" >&2
  for log in "$root"/*/var/logs/Develop/velad*/*.log "$root"/node*.log; do
    [ -f "$log" ] && printf -- '--- %s\n' "$log" >&2 && grep -v '^ \|,Fixme,' "$log" | tail -n 12 >&2
  done
  exit 1
}

# await WHAT COMMAND...: until the command succeeds.
await() {
  what=$1; shift
  until=$(($(date +%s) + 90))
  until "$@" 2>/dev/null; do
    [ "$(date +%s)" -lt $until ] || fail "waited in vain for $what"
    sleep 0.1
  done
}

. "$home/apps/demo/hosts/network.sh"
. "$home/apps/demo/hosts/system.sh"
. "$home/apps/demo/hosts/upload.sh"

make_network
say "one host first: what it delivers is what three must deliver"
start_alone
upload
stop_servers
remember_as_expected

make_certificates
say "three hosts, on each an engine node; encrypted"
for h in 1 2 3; do start_node $h; done
start_three_hosts
cat <<END
  host 1 ($net.1): topology 51, sessions 52, element management 110, which fetches the files
  host 2 ($net.2): NE manager 120/1, and the operator, whose client uses engine node 2
  host 3 ($net.3): NE managers 120/2 and 121/1
END

settle

say "all NEs uploaded over the three hosts"
upload
check_all

say "again; on the way engine node 1 is killed, which element management uses"
upload 40 kill_node 1
check_all

say "node 1 is back; on the way the link of host 3 is cut for 2 seconds"
start_node 1
upload 30 cut_link 3
check_all

say "the link of host 3 is slow and loses one packet in 20"
upload 10 worsen_link 3
mend_link 3
check_all

say "host 3 is cut off for good: 120/1 takes over for 120/2, nobody for 121/1"
upload 10 link 3 down
check_lost_host

say "host 3 is back; all goes on as before"
link 3 up
settle
upload
check_all

say "what operators see"
operator top --once | tee "$root/table"
[ "$(grep -c serves "$root/table")" -eq 6 ] || fail "not all processes answer"
grep -qx "no missions are under way" "$root/table" || fail "a mission is left"
operator sessions | tee "$root/table"
[ "$(grep -c ' upload .*\(done\|ended with code\)' "$root/table")" -eq "$uploads" ] ||
  fail "these are not $uploads uploads, all ended"
stop_servers
printf '\nhosts: all right\n'
