#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Fields of each frame of the example captures, as ifcctl takes them out, against tshark's.

Usage: dissector_test.py IFCCTL CAPTURE...   Exit code 77: there is no tshark.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile

NAMES = [
    "frame.number", "frame.len", "eth.dst", "eth.src", "eth.type", "llc.type", "vlan.id", "vlan.priority",
    "vlan.dei", "vlan.etype", "ieee8021ad.id", "ieee8021ad.priority", "ieee8021ad.dei", "pppoe.session_id",
    "ip.src", "ip.dst", "ip.proto", "ip.dsfield.dscp", "ip.frag_offset", "ipv6.src", "ipv6.dst", "ipv6.flow",
    "ipv6.tclass", "tcp.srcport", "tcp.dstport", "udp.srcport", "udp.dstport", "sctp.srcport", "sctp.dstport",
]


def dissect(capture):
    command = ["tshark", "-r", capture, "-T", "fields", "-E", "separator=\t", "-E", "occurrence=f",
               "-o", "ip.defragment:FALSE", "-o", "ipv6.defragment:FALSE"]
    for name in NAMES:
        command += ["-e", name]
    text = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    for line in text.splitlines():
        yield {n: v for n, v in zip(NAMES, line.split("\t")) if v != ""}


def number(text):
    if text in ("True", "False"):
        return int(text == "True")
    return int(text, 0)


def expected(seen):
    """What the dissector says, under our names. Only what it shows: a frame may be cut off."""
    want = {}

    def put(field, name, convert=number):
        if name in seen:
            want[field] = convert(seen[name])

    put("DMAC", "eth.dst", str)
    put("SMAC", "eth.src", str)
    put("SIPv4", "ip.src", str)
    put("DIPv4", "ip.dst", str)
    put("SIPv6", "ipv6.src", str)
    put("DIPv6", "ipv6.dst", str)
    put("IPv4_PROTOCOL", "ip.proto")
    put("IPv4_DSCP", "ip.dsfield.dscp")
    put("FLOW_LABEL", "ipv6.flow")
    put("IPv6_TRAFFIC_CLASS", "ipv6.tclass")
    put("PPPOE_SESSION", "pppoe.session_id")
    outer = "ieee8021ad" if "ieee8021ad.id" in seen else "vlan"
    put("VID0", outer + ".id")
    if outer + ".priority" in seen and outer + ".dei" in seen:
        want["PBIT0"] = number(seen[outer + ".priority"]) << 1 | number(seen[outer + ".dei"])
    if outer == "ieee8021ad":
        put("VID1", "vlan.id")
    for kind in ("tcp", "udp", "sctp"):
        put("SPORT", kind + ".srcport")
        put("DPORT", kind + ".dstport")
    if "DMAC" in want:
        group = int(want["DMAC"][:2], 16) & 1
        want["DMAC_TYPE"] = 2 if want["DMAC"] == "ff:ff:ff:ff:ff:ff" else group
    if "vlan.etype" not in seen and "ieee8021ad.id" not in seen:
        put("ETYPE", "eth.type")
        put("ETYPE", "llc.type")
    return want


def acted_upon(ifcctl):
    """Frames that an action has edited: the dissector finds their marks, and their checksums right."""
    rules = """ppe on
classifier enable
rule add vlan_id 200 eth_type ipv4 action dscp 10 vpm0 2 vo0 1 vid0 55
frame replay %s -o %s --only-hits
"""
    framings = next(c for c in sys.argv[2:] if c.endswith("framings.pcap"))
    with tempfile.TemporaryDirectory() as folder:
        out = os.path.join(folder, "out.pcap")
        subprocess.run([ifcctl, "-b", "-"], input=rules % (framings, out), text=True, check=True,
                       stdout=subprocess.DEVNULL)
        text = subprocess.run(["tshark", "-r", out, "-o", "ip.check_checksum:TRUE", "-T", "fields", "-e",
                               "ieee8021ad.id", "-e", "vlan.id", "-e", "ip.dsfield.dscp", "-e",
                               "ip.checksum.status"], check=True, capture_output=True, text=True).stdout
    lines = text.splitlines()
    good = len(lines) == 2 and all(line.split("\t") == ["55", "200", "10", "1"] for line in lines)
    print(f"{len(lines)} edited frames" + ("" if good else f": tshark says {lines}"))
    return good


def main():
    if shutil.which("tshark") is None:
        print("no tshark here")
        return 77
    ifcctl, captures = sys.argv[1], sys.argv[2:]
    compared = frames = wrong = 0
    for capture in captures:
        text = subprocess.run([ifcctl, "frame", "fields", capture], check=True, capture_output=True,
                              text=True).stdout
        ours = [json.loads(line) for line in text.splitlines()]
        theirs = list(dissect(capture))
        if len(ours) != len(theirs):
            print(f"{capture}: {len(ours)} frames, tshark {len(theirs)}")
            wrong += 1
        for mine, seen in zip(ours, theirs):
            frames += 1
            if mine["len"] != int(seen["frame.len"]):
                print(f"{capture}:{mine['frame']}: length {mine['len']}, tshark {seen['frame.len']}")
                wrong += 1
            fields = mine["fields"]
            want = expected(seen)
            # Of a header that is cut off the dissector shows the part that is there; we take whole headers.
            whole = not capture.endswith("cut.pcap")
            for name, value in want.items():
                if not whole and name not in fields:
                    continue
                compared += 1
                if fields.get(name) != value:
                    print(f"{capture}:{mine['frame']}: {name} {fields.get(name)}, tshark {value}")
                    wrong += 1
            # The other way round: what we find the dissector finds too.
            for name in ("SIPv4", "SIPv6", "SPORT", "PPPOE_SESSION", "VID0"):
                compared += 1
                if whole and name in fields and name not in want:
                    print(f"{capture}:{mine['frame']}: {name} {fields[name]}, not seen by tshark")
                    wrong += 1
    print(f"{frames} frames, {compared} fields compared, {wrong} differ")
    good = acted_upon(ifcctl)
    return 1 if wrong or frames == 0 or not good else 0


if __name__ == "__main__":
    sys.exit(main())
