#!/bin/sh
# Missions over three hosts and a cluster of three engine nodes, on one machine: each host is a network namespace with a
# root of its own, all on one switch, encrypted with certificates made here. While missions run, an engine node is
# killed, a link is cut, and a link loses and delays what passes; every mission ends right, and no lock is left.
# usage: hosts.sh BIN   BIN: the folder of velad and velactl
# Exit code 0 when all was right, 77 when this system does not permit network namespaces.
set -u
bin=$(cd "${1:?usage: hosts.sh BIN}" && pwd) || exit 1
home=$(cd "$(dirname "$0")/../.." && pwd)
if [ -z "${VELA_HOSTS_INSIDE:-}" ]; then
  private="--mount --net --pid --fork --kill-child --mount-proc"
  [ "$(id -u)" = 0 ] || private="--map-root-user $private"
  # shellcheck disable=SC2086 # a list of words
  unshare $private sh -c 'mount -t tmpfs tmpfs /run && mkdir /run/netns && ip netns add probe' 2>/dev/null || {
    echo "hosts: skipped: this system does not permit network namespaces"
    exit 77
  }
  # shellcheck disable=SC2086
  VELA_HOSTS_INSIDE=1 exec unshare $private sh "$0" "$bin"
fi

root=$(mktemp -d "${TMPDIR:-/tmp}/velahosts.XXXXXX") || exit 1
trap 'rm -rf "$root"' EXIT
trap 'exit 130' INT TERM
net=10.77.0
started=$(date +%s)

say() { printf '\n== %s  (%s s)\n' "$*" "$(($(date +%s) - started))"; }
fail() {
  printf '\nhosts: FAILED: %s\n' "$*" >&2
  tail -n 15 "$root"/h*/var/logs/Develop/*/*.log "$root"/node*.log >&2
  exit 1
}

# await WHAT COMMAND...: until the command succeeds.
await() {
  what=$1; shift
  tries=0
  until "$@" 2>/dev/null; do
    tries=$((tries + 1)); [ $tries -lt 300 ] || fail "waited in vain for $what"
    sleep 0.1
  done
}
is_at() { awk -v least="$1" '$1 + 0 >= least { found = 1 } END { exit !found }' "$root/progress"; }

make_network() {
  mount -t tmpfs tmpfs /run && mkdir /run/netns || fail "no place for namespaces"
  ip link add switch type bridge && ip link set switch up || fail "no switch"
  for h in 1 2 3; do
    ip netns add h$h && ip link add port$h type veth peer name eth0 netns h$h &&
      ip link set port$h master switch up && ip -n h$h link set lo up &&
      ip -n h$h addr add $net.$h/24 dev eth0 && ip -n h$h link set eth0 up || fail "no host $h"
  done
}

make_certificates() {
  mkdir "$root/tls"
  ( cd "$root/tls" &&
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=ca -keyout ca.key -out ca.pem &&
    openssl req -newkey rsa:2048 -nodes -subj /CN=node -keyout node.key -out node.csr &&
    echo "subjectAltName=IP:$net.1,IP:$net.2,IP:$net.3" >san &&
    openssl x509 -req -days 2 -in node.csr -CA ca.pem -CAkey ca.key -CAcreateserial -extfile san -out node.pem
  ) >"$root/openssl.log" 2>&1 || fail "no certificates"
}

start_node() {
  sed "s|/etc/vela/nats|$root/tls|; s|node\([123]\):6222|$net.\1:6222|g; s|host: 0.0.0.0|host: $net.$1|" \
    "$home/install/share/nats/nats-server.conf" >"$root/node$1.conf"
  cp "$home/install/share/nats/users.conf" "$root/users.conf"
  : >"$root/node$1.log"
  nsenter --net="/run/netns/h$1" nats-server -c "$root/node$1.conf" -l "$root/node$1.log" &
  eval "node$1=\$!"
  await "engine node $1" grep -q "Server is ready" "$root/node$1.log"
}

# make_root NAME USER FIRST SECOND THIRD: the engine nodes in the order in which it tries them.
make_root() {
  r=$root/$1
  cp -r "$home/install/." "$r/" && mkdir "$r/bin" "$r/handlers" "$r/etc/nats" &&
    cp "$bin/velad" "$bin/velactl" "$r/bin/" && find "$bin"/../lib* -path "*/velad/*.so" -exec cp {} "$r/handlers/" \; ||
    fail "no installation root"
  [ ! -d "$bin/../root" ] || cp -r "$bin/../root/." "$r/"
  cat >"$r/etc/conf/bus.cfg" <<CONF
Bus = nats
NatsServers = $net.$3, $net.$4, $net.$5
NatsTls = 1
NatsCaFile = $root/tls/ca.pem
NatsUser = $2
NatsPasswordFile = etc/nats/password
CONF
}

start_server() {
  make_root "h$1" "server-{number}-{handle}" "$1" $(($1 % 3 + 1)) $((($1 + 1) % 3 + 1))
  (umask 077; echo "change-me-10$1-1" >"$root/h$1/etc/nats/password")
  sed 's/^SpreadRecordMicroseconds.*/SpreadRecordMicroseconds = 3000/; s/^HandlerSets.*/&, oper/' \
    "$home/install/conf/spread10$1.cfg" >"$root/h$1/conf/spread10$1.cfg"
  VELA_ROOT=$root/h$1 nsenter --net="/run/netns/h$1" "$root/h$1/bin/velad" -f "spread10$1.cfg" >"$root/ready$1" 2>&1 &
  eval "server$1=\$!"
  await "server process 10$1" grep -q "^ready" "$root/ready$1"
}

velactl() { VELA_ROOT=$root/client nsenter --net=/run/netns/h1 "$root/client/bin/velactl" "$@"; }

# mission [PERCENT ACTION]: begins one; once it is so far, the action is done. It must find what one process finds.
mission() {
  velactl spread "$inventory" --process 101 --on-failure move >"$root/table" 2>"$root/progress" &
  client=$!
  if [ $# -gt 0 ]; then
    await "$1 %" is_at "$1"
    $2
  fi
  wait $client || fail "the mission ended with code $?: $(tail -n 3 "$root/progress")"
  tail -n 4 "$root/table"
  awk '$2 ~ /^(identifier|name|address|type|version)-/ { print $1 "\t" $2 }' "$root/table" >"$root/found"
  diff "$root/expected" "$root/found" >&2 || fail "the faults are not those that one process finds"
  [ "$(velactl missions --process 101)" = "no missions are under way" ] || fail "a mission is left"
}

kill_node() { eval "kill -KILL \$node$1; wait \$node$1" 2>/dev/null; echo "engine node $1 is dead"; }
kill_node_2() { kill_node 2; }
cut_link_3() { ip link set port3 down; sleep 5; ip link set port3 up; echo "the link of host 3 was cut for 5 seconds"; }
# The queue of the link is so short that packets wait in it or are dropped.
hurt_link_3() { tc qdisc add dev port3 root tbf rate 256kbit burst 2kb limit 4kb || fail "no traffic control"; }

make_network
make_certificates
say "three engine nodes, a cluster"
for h in 1 2 3; do start_node $h; done
say "a server on each host: 101 owns the missions, 101, 102 and 103 work on them"
for h in 1 2 3; do start_server $h; done
make_root client client 2 3 1
(umask 077; echo change-me-client >"$root/client/etc/nats/password")
inventory=$root/client/share/inventory/inventory.csv
awk -F '\t' '{ print $1 "\t" $2 }' "$root/client/share/inventory/inventory.expected" >"$root/expected"

say "a mission over the three hosts"
mission
say "again, and engine node 2, which the client and host 2 are connected to, is killed halfway"
mission 40 kill_node_2
say "node 2 comes back; the link of host 3 is cut for a while"
start_node 2
mission 30 cut_link_3
say "the link of host 3 delays and drops packets"
mission 10 hurt_link_3
tc -s qdisc show dev port3 | sed -n 's/.*(dropped \([0-9]*\).*/\1 packets were dropped/p'
tc qdisc del dev port3 root

say "NEs are configured on each host: no lock is left"
for h in 1 2 3; do
  velactl configure 20-1,20-3 --process 10$h >"$root/table" 2>&1 || fail "NEs are locked on host $h: $(cat "$root/table")"
done
for h in 1 2 3; do
  eval "kill -TERM \$server$h; wait \$server$h" || fail "server process 10$h did not end well"
done
printf '\nhosts: all right\n'
