#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Makes the example captures. One holds traffic of two real protocol stacks in network namespaces, joined by a veth pair.
# The other holds framings that a kernel does not make by itself, written by scapy. Needs root.
set -euo pipefail
cd "$(dirname "$0")/../examples"
work=$(mktemp -d)
a=ifc-a-$$
b=ifc-b-$$
cleanup() {
    jobs -p | xargs -r kill 2>/dev/null || true
    ip netns del "$a" 2>/dev/null || true
    ip netns del "$b" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

ip netns add "$a"
ip netns add "$b"
ip link add veth-a netns "$a" type veth peer name veth-b netns "$b"
for side in a b; do
    space=$([ $side = a ] && echo "$a" || echo "$b")
    number=$([ $side = a ] && echo 5 || echo 1)
    ip -n "$space" link set lo up
    ip -n "$space" link set "veth-$side" address "02:1a:11:00:00:0$number" up
    ip -n "$space" address add "192.168.1.$number/24" dev "veth-$side"
    ip -n "$space" address add "2001:db8:40::$number/64" dev "veth-$side" nodad
    ip -n "$space" route add 224.0.0.0/4 dev "veth-$side"
    # Checksums and segments as on the wire: the stack does not offload them.
    ip netns exec "$space" ethtool -K "veth-$side" tx off tso off gso off gro off >/dev/null
done

ip netns exec "$b" tcpdump -q -U -i veth-b -s 0 -w "$work/stack.pcap" 2>/dev/null &
dump=$!
ip netns exec "$b" /usr/bin/python3 - <<'PY' &
import socket, threading
def tcp(family, address):
    s = socket.socket(family, socket.SOCK_STREAM)
    s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    s.bind((address, 443)); s.listen()
    while True:
        c, _ = s.accept(); c.recv(4096); c.sendall(b"y" * 3000); c.close()
def dns():
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("192.168.1.1", 53))
    while True:
        q, peer = s.recvfrom(512)
        s.sendto(q[:2] + b"\x81\x80\x00\x01\x00\x01\x00\x00\x00\x00" + q[12:] +
                 b"\xc0\x0c\x00\x01\x00\x01\x00\x00\x00\x3c\x00\x04\xc0\x00\x02\x07", peer)
threading.Thread(target=tcp, args=(socket.AF_INET6, "2001:db8:40::1"), daemon=True).start()
threading.Thread(target=dns, daemon=True).start()
tcp(socket.AF_INET, "192.168.1.1")
PY
sleep 2
ip netns exec "$a" ping -q -c 3 -i 0.2 192.168.1.1 >/dev/null
ip netns exec "$a" ping -q -c 2 -i 0.2 -s 4000 192.168.1.1 >/dev/null # fragments
ip netns exec "$a" ping -q -c 2 -i 0.2 2001:db8:40::1 >/dev/null
ip netns exec "$a" /usr/bin/python3 - <<'PY'
import socket
for family, address in ((socket.AF_INET, "192.168.1.1"), (socket.AF_INET6, "2001:db8:40::1")):
    s = socket.socket(family, socket.SOCK_STREAM); s.connect((address, 443)); s.sendall(b"x" * 200)
    while s.recv(4096): pass
q = b"\x12\x34\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00\x07example\x03com\x00\x00\x01\x00\x01"
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.settimeout(2); s.sendto(q, ("192.168.1.1", 53)); s.recvfrom(512)
m = socket.socket(socket.AF_INET, socket.SOCK_DGRAM); m.setsockopt(socket.IPPROTO_IP, socket.IP_TOS, 0x88)
for _ in range(5): m.sendto(b"z" * 188, ("239.1.2.3", 5004))
PY
sleep 1
kill -INT "$dump"
wait "$dump" 2>/dev/null || true
cp "$work/stack.pcap" stack.pcap
[ "${SUDO_UID:-}" = "" ] || chown "$SUDO_UID" stack.pcap

/usr/bin/python3 - <<'PY'
import logging
logging.getLogger("scapy").setLevel(logging.ERROR)
from scapy.all import *
from scapy.layers.ppp import PPPoE, PPPoED
up, down = "02:1a:11:00:00:05", "02:1a:11:00:00:01"
e = lambda **k: Ether(src=up, dst=k.pop("dst", down), **k)
v4 = lambda **k: IP(src="192.168.1.5", dst=k.pop("dst", "192.168.1.1"), **k)
v6 = lambda **k: IPv6(src="2001:db8:40::5", dst="2001:db8:40::1", **k)
udp = lambda d=5060: UDP(sport=40000, dport=d) / Raw(b"voice")
tcp = TCP(sport=40001, dport=443, flags="S")
frames = [
    e() / Dot1Q(vlan=200, prio=5) / v4(tos=0xB8) / udp(),
    e() / Dot1Q(vlan=200, prio=5) / v4(tos=0xB9) / udp(16400),
    e(dst="01:00:5e:01:02:03") / Dot1Q(vlan=100, prio=4) / v4(dst="239.1.2.3") / udp(5004),
    e() / Dot1AD(vlan=10, prio=3) / Dot1Q(vlan=200, id=1) / v4() / tcp,
    e(dst="ff:ff:ff:ff:ff:ff") / Dot1Q(vlan=7) / PPPoED(code=9) / Raw(b"\x01\x01\x00\x00"),
    e() / Dot1Q(vlan=7) / PPPoE(sessionid=0x1C2A) / Raw(b"\x00\x21") / v4(dst="203.0.113.9") / tcp,
    e() / Dot1Q(vlan=7) / PPPoE(sessionid=0x1C2A) / Raw(b"\x00\x57") / v6(tc=0x48, fl=0x12345) / udp(),
    e() / PPPoE(sessionid=1) / Raw(b"\xc0\x21") / Raw(b"\x09\x01\x00\x08\x11\x22\x33\x44"),
    e() / v4(options=[IPOption_Router_Alert()]) / tcp,
    e() / v4(flags="MF") / udp(),
    e() / v4(frag=3) / Raw(b"later fragment, no header"),
    e() / v4(proto=132) / Raw(struct.pack("!HHII", 2905, 2906, 1, 0)),
    e() / v4(proto=47) / Raw(b"\x00\x00\x08\x00"),
    e() / v6() / IPv6ExtHdrHopByHop(options=[PadN(optdata=b"\0" * 4)]) / IPv6ExtHdrDestOpt(options=[PadN(optdata=b"\0" * 4)]) / tcp,
    e() / v6() / IPv6ExtHdrRouting(addresses=["2001:db8::9"]) / udp(),
    e() / v6() / IPv6ExtHdrFragment(offset=0, m=1, id=7) / udp(),
    e() / v6() / IPv6ExtHdrFragment(offset=9, m=0, id=7, nh=17) / Raw(b"later fragment"),
    e() / v6(nh=59),
    e() / ARP(psrc="192.168.1.5", pdst="192.168.1.1"),
    Dot3(src=up, dst="01:80:c2:00:00:00") / LLC(dsap=0x42, ssap=0x42, ctrl=3) / STP(),
    Dot3(src=up, dst=down) / LLC(dsap=0xAA, ssap=0xAA, ctrl=3) / SNAP(OUI=0, code=0x0800) / v4() / udp(),
]
wrpcap("framings.pcap", frames)
whole = bytes(frames[3]), bytes(frames[13]), bytes(frames[5])
cut = [f[:n] for f in whole for n in (13, 14, 16, 17, 18, 22, 25, 33, 40, 50, 57, 60) if n < len(f)]
bad = bytearray(bytes(frames[8])); bad[14] = 0x43; cut.append(bytes(bad))
wrpcap("cut.pcap", [Raw(f) for f in cut], linktype=1)
PY
ls -l stack.pcap framings.pcap cut.pcap
