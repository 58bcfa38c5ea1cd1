#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Fields of each frame of the captures, as ifcctl takes them out, against tshark's; and edited frames, whether tshark finds
them right.

Usage: dissector_test.py IFCCTL CAPTURE...   Exit code 77: there is no tshark.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml

os.environ["IFC_STATE"] = "none"  # each run begins with a fresh chip

TAGS = {"vlan": 1, "ieee8021ad": 2}  # protocol: VPM code
PORTS = {"tcp": "tcp", "udp": "udp", "udplite": "udp", "sctp": "sctp", "dccp": "dccp"}
CHAIN = {"ipv6.hopopts": "ipv6.hopopts.nxt", "ipv6.routing": "ipv6.routing.nxt", "ipv6.fraghdr": "ipv6.fraghdr.nxt",
         "ipv6.dstopts": "ipv6.dstopts.nxt", "ah": "ah.next_header"}
RANDOM_FRAMES = 1500


class Layer:
    """One header as the dissector shows it: name, place in the frame, fields by name."""

    def __init__(self, node):
        self.name = node.get("name")
        self.at, self.size = int(node.get("pos", "0")), int(node.get("size", "0"))
        self.fields = {}
        for field in node.iter("field"):
            self.fields.setdefault(field.get("name"), field.get("show"))

    @staticmethod
    def of(node):
        """The layer of a node; two service tags in a row are one node to the dissector."""
        first = Layer(node)
        if "ieee8021ad.svid" not in first.fields:
            return [first]
        second = Layer(node)
        for field in node.iter("field"):
            second.fields[field.get("name")] = field.get("show")  # the last one
        first.fields["ieee8021ad.id"] = first.fields["ieee8021ad.svid"]
        second.fields["ieee8021ad.id"] = second.fields.get("ieee8021ad.cvid")
        return [first, second]

    def number(self, name):
        text = self.fields[name]
        return int(text == "True") if text in ("True", "False") else int(text, 0)


def dissect(capture):
    """The layers of each frame."""
    result = subprocess.run(["tshark", "-r", capture, "-T", "pdml", "-o", "ip.defragment:FALSE", "-o", "ipv6.defragment:FALSE",
                             "-o", "ip.check_checksum:TRUE"], check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    for packet in xml.fromstring(result.stdout).iter("packet"):
        # The dissector shows headers after IPv6 as its children or as its siblings. Their order is that of the frame.
        yield [layer for node in packet.iter() if node.tag == "proto" or node.get("name") in CHAIN for layer in Layer.of(node)]


def expected(layers, frame):
    """What the dissector says, under our names. Only what it shows: a frame may be cut off."""
    want = {}
    names = [layer.name for layer in layers]

    def put(field, layer, name, convert=None):
        if name in layer.fields:
            want[field] = convert(layer.fields[name]) if convert else layer.number(name)

    if "eth" not in names:
        return want
    at = names.index("eth")
    ethernet = layers[at]
    put("DMAC", ethernet, "eth.dst", str)
    put("SMAC", ethernet, "eth.src", str)
    if "DMAC" in want:
        group = int(want["DMAC"][:2], 16) & 1
        want["DMAC_TYPE"] = 2 if want["DMAC"] == "ff:ff:ff:ff:ff:ff" else group

    last = ethernet
    for number in (0, 1):
        at += 1
        if at >= len(layers) or names[at] not in TAGS:
            want[f"VPM{number}"] = 0
            at -= 1
            continue
        last = layers[at]
        want[f"VPM{number}"] = TAGS[last.name]
        put(f"VID{number}", last, last.name + ".id")
        if last.name + ".dei" in last.fields:
            want[f"PBIT{number}"] = last.number(last.name + ".priority") << 1 | last.number(last.name + ".dei")
    rest = layers[at + 1:]
    kind = rest[0].name if rest else ""
    if kind in TAGS:
        return want  # a third tag is payload to us, and a header to the dissector
    put("ETYPE", last, {"eth": "eth.type", "vlan": "vlan.etype", "ieee8021ad": "ieee8021ah.etype"}[last.name])
    want["FRAME_TYPE"] = {"pppoed": 3, "pppoes": 4}.get(kind, 0)
    if kind == "llc":
        want["FRAME_TYPE"] = 2 if "llc.type" in rest[0].fields else 1
        want.pop("ETYPE", None)
        put("ETYPE", rest[0], "llc.type")
        rest = rest[1:]
    elif kind in ("pppoes", "pppoed"):
        put("PPPOE_SESSION", rest[0], "pppoe.session_id")
        rest = rest[2:] if kind == "pppoes" and len(rest) > 1 and rest[1].name == "ppp" else rest[1:]
    if not rest:
        return want
    network, rest = rest[0], rest[1:]
    if network.name in ("ip", "ipv6", "arp"):
        for number in range(16):
            place = network.at + 2 * number
            if place + 2 <= len(frame):
                want[f"UDF{number}"] = int.from_bytes(frame[place:place + 2], "big")
    if network.name == "ip":
        put("SIPv4", network, "ip.src", str)
        put("DIPv4", network, "ip.dst", str)
        put("IPv4_PROTOCOL", network, "ip.proto")
        put("IPv4_DSCP", network, "ip.dsfield")
    elif network.name == "ipv6":
        put("SIPv6", network, "ipv6.src", str)
        put("DIPv6", network, "ipv6.dst", str)
        put("FLOW_LABEL", network, "ipv6.flow")
        put("IPv6_TRAFFIC_CLASS", network, "ipv6.tclass")
        put("IPv6_NEXT_HEADER", network, "ipv6.nxt")
        while rest and rest[0].name in CHAIN:
            put("IPv6_NEXT_HEADER", rest[0], CHAIN[rest[0].name])
            rest = rest[1:]
    if network.name in ("ip", "ipv6") and rest and rest[0].name in PORTS:
        prefix = PORTS[rest[0].name]
        put("SPORT", rest[0], prefix + ".srcport")
        put("DPORT", rest[0], prefix + ".dstport")
    return want


# Fields that the dissector does not have: they are derived from other fields, or are not in the frame.
OURS = {"SINF", "GEMPORT"} | {f"{d}IPv6_{n + 31}_{n}" for d in "DS" for n in (0, 32, 64, 96)}


def records(name):
    with open(name, "rb") as file:
        data = file.read()
    at, frames = 24, []
    while at < len(data):
        length = int.from_bytes(data[at + 8:at + 12], "little")
        frames.append(data[at + 16:at + 16 + length])
        at += 16 + length
    return frames


def compare(ifcctl, capture):
    text = subprocess.run([ifcctl, "frame", "fields", capture], check=True, capture_output=True, text=True).stdout
    ours = [json.loads(line) for line in text.splitlines()]
    frames = records(capture)
    theirs = list(dissect(capture))
    # The dissector shows parts of a cut-off header; the engine takes whole headers only.
    whole = not capture.endswith("cut.pcap")
    compared, wrong, seen = 0, [], {}
    if not len(ours) == len(theirs) == len(frames):
        wrong.append(f"{len(ours)} frames, tshark {len(theirs)}, in the file {len(frames)}")
    for mine, layers, frame in zip(ours, theirs, frames):
        fields, want = mine["fields"], expected(layers, frame)
        place = f"{capture}:{mine['frame']}"
        if mine["len"] != len(frame):
            wrong.append(f"{place}: length {mine['len']}, in the file {len(frame)}")
        for name, value in want.items():
            if not whole and (name not in fields or name in ("IPv6_NEXT_HEADER", "FRAME_TYPE")):
                continue
            compared += 1
            seen[name] = seen.get(name, 0) + 1
            if fields.get(name) != value:
                wrong.append(f"{place}: {name} {fields.get(name)}, tshark {value}")
        # In the other direction: the dissector finds each field that the engine finds.
        for name in fields.keys() - want.keys() - OURS if whole else ():
            known = name.startswith("UDF") or (name == "FRAME_TYPE" and "llc" not in [layer.name for layer in layers])
            if not known:
                wrong.append(f"{place}: {name} {fields[name]}, not seen by tshark")
    print(f"{os.path.basename(capture)}: {len(frames)} frames, {compared} values of {len(seen)} fields compared, {len(wrong)} differ")
    return wrong, set(seen)


# The two kinds of checks of an edit. Each takes a frame's layers before and after it.
def marks(name, value):
    def check(before, after):
        found = [layer for layer in after if name in layer.fields]
        return [b.name for b in before] == [a.name for a in after] and bool(found) and found[0].number(name) == value
    return check


def tags(layers):
    return [(layer.name, layer.number(layer.name + ".id"), layer.number(layer.name + ".priority")) for layer in layers if layer.name in TAGS]


def becomes(edit):
    def check(before, after):
        def other(layers):
            return [layer.name for layer in layers if layer.name not in TAGS]
        return tags(after) == edit(tags(before)) and other(before) == other(after)
    return check


# Rule and action, and the check of what it makes of a frame.
EDITS = [
    ("eth_type ipv4 action dscp 10", marks("ip.dsfield.dscp", 10)),
    ("eth_type ipv6 action traffic_class 0xb9", marks("ipv6.tclass", 0xB9)),
    ("ip_proto udp action vo0 1 vpm0 1 vid0 55 vprio0 6", becomes(lambda t: [("vlan", 55, 3)] + t)),
    ("vlan_vpm 1 ip_proto udp action vo0 1 vpm0 2 vid0 56 vprio0 0 dscp 46", becomes(lambda t: [("ieee8021ad", 56, 0)] + t)),
    ("vlan_vpm ne 0 ip_proto udp action vo0 2", becomes(lambda t: t[1:])),
    ("cvlan_vpm ne 0 ip_proto udp action vo0 2 vo1 2", becomes(lambda t: t[2:])),
    ("vlan_vpm 2 ip_proto udp action vo0 3 vpm0 1 vid0 57 vprio0 4", becomes(lambda t: [("vlan", 57, 2)] + t[1:])),
    ("cvlan_vpm ne 0 ip_proto udp action vo1 3 vid1 58 vprio1 2", becomes(lambda t: [t[0], (t[1][0], 58, 1)] + t[2:])),
]


def edited(ifcctl, capture, folder):
    """Frames that an action has edited: as it says, with right checksums, and nothing malformed."""
    wrong = []
    for rule, check in EDITS:
        files = {}
        for name, lines in (("before", rule.split(" action ")[0] + " action cpu nbq 1"), ("after", rule)):
            files[name] = os.path.join(folder, name + ".pcap")
            batch = f"ppe on\nclassifier enable\nrule add {lines}\nframe replay {capture} -o {files[name]} --only-hits\n"
            subprocess.run([ifcctl, "-b", "-"], input=batch, text=True, check=True, stdout=subprocess.DEVNULL)
        before, after = list(dissect(files["before"])), list(dissect(files["after"]))
        good = len(before) == len(after) and len(before) > 20
        for number, (old, new) in enumerate(zip(before, after), 1):
            sums = [layer.fields["ip.checksum.status"] for layer in new if "ip.checksum.status" in layer.fields]
            if not check(old, new) or any(status != "1" for status in sums) or any("malformed" in layer.name for layer in new):
                wrong.append(f"{rule}: frame {number}: {[layer.name for layer in old]} became {[layer.name for layer in new]}, {tags(new)}, checksums {sums}")
        if not good:
            wrong.append(f"{rule}: {len(before)} frames became {len(after)}")
        print(f"{rule}: {len(after)} edited frames")
    return wrong


def main():
    if shutil.which("tshark") is None:
        print("no tshark here")
        return 77
    ifcctl, captures = sys.argv[1], sys.argv[2:]
    wrong, seen = [], set()
    with tempfile.TemporaryDirectory() as folder:
        generated = os.path.join(folder, "random.pcap")
        subprocess.run([sys.executable, os.path.join(os.path.dirname(__file__), "random_capture.py"), generated, str(RANDOM_FRAMES), "1"], check=True)
        for capture in [*captures, generated]:
            differ, fields = compare(ifcctl, capture)
            wrong += differ
            seen |= fields
        wrong += edited(ifcctl, generated, folder)
    # 47 fields, less side data, less the eight words of IPv6 addresses; and the two addresses themselves.
    if len(seen) != 47 - 2 - 8 + 2:
        wrong.append(f"{len(seen)} fields were compared: {sorted(seen)}")
    print("\n".join(wrong[:40]))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
