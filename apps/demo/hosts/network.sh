# Three hosts on a switch, certificates and engine nodes, and what happens to them. Read by apps/demo/hosts.sh.
# shellcheck shell=sh disable=SC2154,SC2046,SC2086 # home and root come from the frame; lists are split

net=10.77.0

# What a program on a host is started with; a word list. No function of ours, which would hide the program's process id.
on() { echo "nsenter --net=/run/netns/h$1"; }

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

# The users of the example, and by its pattern one for each server process.
make_users() {
  example=$home/install/share/nats/users.conf
  echo "authorization { users: ["
  for server in $servers; do
    sed -n '/user: "server-101-1"/,/^    }/p' "$example" |
      sed "1s/^/{/; s/101-1/$(address "$server" -)/g; s/101\.1/$(address "$server" .)/g"
  done
  sed -n '/user: "client"/,/^    }/p' "$example" | sed '1s/^/{/'
  echo "] }"
}

start_node() {
  [ -f "$root/users.conf" ] || make_users >"$root/users.conf"
  sed "s|/etc/vela/nats|$root/tls|; s|node\([123]\):6222|$net.\1:6222|g; s|host: 0.0.0.0|host: $net.$1|" \
    "$home/install/share/nats/nats-server.conf" >"$root/node$1.conf"
  : >"$root/node$1.log"
  $(on "$1") nats-server -c "$root/node$1.conf" -l "$root/node$1.log" &
  eval "node$1=\$!"
  await "engine node $1" grep -q "Server is ready" "$root/node$1.log"
}

kill_node() { eval "kill -KILL \$node$1; wait \$node$1" 2>/dev/null; echo "  engine node $1 is dead"; }
link() { ip link set "port$1" "$2"; echo "  the link of host $1 is $2"; }
cut_link() { link "$1" down; sleep 2; link "$1" up; }

# In both directions: packets wait in a narrow queue, and one in 20 is lost.
worsen_link() {
  slow="root tbf rate 400kbit burst 2kb limit 10kb"
  tc qdisc add dev "port$1" $slow && $(on "$1") tc qdisc add dev eth0 $slow || fail "no traffic control"
  filter=
  if lossy "port$1" | nft -f - && lossy eth0 | $(on "$1") nft -f -; then filter=1; fi 2>/dev/null
  [ -n "$filter" ] || echo "  this system filters no packets: the link is only slow"
}
lossy() {
  cat <<NFT
table netdev lossy {
  chain arriving { type filter hook ingress device $1 priority 0; numgen random mod 20 0 counter drop; }
}
NFT
}

mend_link() {
  tc qdisc del dev "port$1" root && $(on "$1") tc qdisc del dev eth0 root || fail "the link stays slow"
  [ -n "$filter" ] || return 0
  lost=$({ nft list table netdev lossy; $(on "$1") nft list table netdev lossy; } |
    sed -n 's/.*counter packets \([0-9]*\).*/\1/p' | awk '{ sum += $1 } END { print sum + 0 }')
  echo "  $lost packets were lost"
  [ "$lost" -gt 0 ] || fail "the link lost nothing"
  nft delete table netdev lossy && $(on "$1") nft delete table netdev lossy || fail "the link stays lossy"
}
