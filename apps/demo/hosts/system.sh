# Installation roots and server processes, on one host or on three. Read by apps/demo/hosts.sh.
# shellcheck shell=sh disable=SC2154,SC2046,SC2086 # home, root, bin and net come from the frame; lists are split

# file:number:handle:host
servers="topology:51:1:1 session:52:1:1 ems:110:1:1 otn1:120:1:2 otn2:120:2:3 ptn1:121:1:3"
file() { echo "${1%%:*}"; }
host() { echo "${1##*:}"; }
# address SERVER SEPARATOR
address() { echo "$1" | awk -F: -v OFS="$2" '{ print $2, $3 }'; }

make_root() {
  cp -r "$home/install/." "$root/$1/" || fail "no installation root"
  [ ! -d "$bin/../root" ] || cp -r "$bin/../root/." "$root/$1/"
  sed 's/^NEs.*/NEs = 60/; s/^NEMilliseconds.*/NEMilliseconds = 10/; s/^BoardMilliseconds.*/BoardMilliseconds = 12/' \
    "$home/install/conf/network.cfg" >"$root/$1/conf/network.cfg"
}

# join ROOT USER FIRST SECOND THIRD: to the engine, whose nodes are tried in this order.
join() {
  mkdir "$root/$1/etc/nats"
  cat >"$root/$1/etc/conf/bus.cfg" <<CONF
Bus = nats
NatsServers = $net.$3, $net.$4, $net.$5
NatsTls = 1
NatsCaFile = $root/tls/ca.pem
NatsUser = $2
NatsPasswordFile = etc/nats/$2
NatsHeartbeatSeconds = 1
NatsExpirySeconds = 8
CONF
}
password() { (umask 077; echo "change-me-$2" >"$root/$1/etc/nats/$3"); }

# start_server SERVER ROOT HOST
start_server() {
  ready=$root/$2/ready.$(file "$1")
  VELA_ROOT=$root/$2 $(on "$3") "$bin/velad" -f "$(file "$1").cfg" >"$ready" 2>&1 &
  running="$running $!"
  await "the server process of $(file "$1").cfg" grep -q "^ready" "$ready"
}

stop_servers() {
  kill -TERM $running
  for pid in $running; do wait "$pid" || fail "a server process did not end well"; done
  running=
}

start_alone() {
  make_root alone
  running=
  for server in $servers; do start_server "$server" alone 1; done
  place=alone seat="1 alone"
}

start_three_hosts() {
  for h in 1 2 3; do
    make_root h$h
    join h$h "server-{number}-{handle}" $h $((h % 3 + 1)) $(((h + 1) % 3 + 1))
  done
  make_root operator
  join operator client 2 3 1
  password operator client client
  for server in $servers; do
    who=$(address "$server" -)
    password "h$(host "$server")" "$who" "server-$who"
    start_server "$server" "h$(host "$server")" "$(host "$server")"
  done
  place=h1 seat="2 operator" uploads=0 looks=0
}

# What the operator types, at the seat: a host and a root.
operator() {
  VELA_ROOT=$root/${seat#* } $(on "${seat% *}") "$bin/velactl" "$@"
}

# What server processes say of themselves at their consoles, which no frame of the bus carries.
look() {
  for server in $servers; do
    printf 'status\nlistqueue\n' |
      VELA_ROOT=$root/h$(host "$server") "$bin/velactl" debug "$(address "$server" /)" >"$root/state.$(file "$server")" ||
      return 1
  done
  looks=$((looks + 1))
}

# count PATTERN FILE...: the sum of the numbers that the pattern finds in the states of these servers, or of all.
count() {
  pattern=$1; shift
  for name in "${@:-*}"; do sed -n "s/$pattern/\1/p" "$root"/state.$name; done | awk '{ sum += $1 } END { print sum + 0 }'
}
