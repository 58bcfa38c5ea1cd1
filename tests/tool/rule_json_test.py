#!/usr/bin/python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""The JSON of rules against docs/rule.schema.json, and its fields and values fed back as words.

Usage: rule_json_test.py IFCCTL ROOT"""
import copy
import json
import os
import random
import subprocess
import sys

import jsonschema

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
os.environ["IFC_STATE"] = "none"  # each run begins with a fresh chip
HALVES = {"iface": 31, "frame_type": 7, "vlan_vpm": 3, "vlan_id": 4095, "vlan_prio": 7, "vlan_dei": 1, "cvlan_id": 4095, "cvlan_prio": 7,
          "eth_type": 65535, "gem_port": 65535, "dst_port": 65535, "src_port": 65535, "pppoe_sid": 65535, "udf3": 65535, "udf15": 65535,
          "ip_proto": 255, "dscp": 63, "ip_ecn": 3}
ADDRESSES = ("dst_mac 01:00:5e:00:00:00/25", "src_mac 02:00:00:00:00:01", "src_ip 10.0.0.0/8", "dst_ip ne 192.0.2.1", "dst_ip 2001:db8::/32",
             "flow_label 5", "vlan_id any")
ACTIONS = ("channel 3 queue 2", "fport 3 nbq 4", "sp_tag 7", "count 5", "meter 9", "dscp ef", "ds_octet 0xb9", "traffic_class 46",
           "vo0 1 vid0 7", "vo1 2 vprio1 3", "fqos", "fast 0", "mc", "keep_pcp", "owf", "dpi")


def batch(*lines, args=()):
    text = "\n".join(lines) + "\n"
    result = subprocess.run([IFCCTL, *args, "-b", "-"], input=text, capture_output=True, text=True, timeout=60)
    assert result.returncode == 0, f"{text}{result.stderr}"
    return result.stdout


def documents(text):
    decoder, at, all_ = json.JSONDecoder(), 0, []
    while at < len(text):
        document, at = decoder.raw_decode(text, at)
        all_.append(document)
        while at < len(text) and text[at].isspace():
            at += 1
    return all_


def random_rule(rng):
    words = []
    for word in rng.sample(sorted(HALVES), rng.randint(0, 2)):
        most = HALVES[word]
        first = rng.randint(0, most)
        words.append(rng.choice((f"{word} {first}", f"{word} ne {first}", f"{word} ge {first}", f"{word} {first}-{rng.randint(first, most)}")))
    if not words or rng.random() < 0.5:
        words.append(rng.choice(ADDRESSES))
    actions = rng.sample(ACTIONS, rng.randint(0, 3))
    if {"dscp ef", "ds_octet 0xb9"} <= set(actions):
        actions.remove("dscp ef")
    return " ".join(words), " ".join(actions)


def wordsof(rule):
    """Names and values of the JSON as words."""
    words = []
    for c in rule["conditions"]:
        if c["command"] == "range":
            words.append(f"{c['field']} range {c['key']}-{c['last']}")
        elif c["mask"] in (0, "0.0.0.0", "00:00:00:00:00:00"):
            words.append(f"{c['field']} {c['command']} any")
        else:
            words.append(f"{c['field']} {c['command']} {c['key']}/{c['mask']}")
    actions = " ".join(f"{word} {value}" for word, value in rule["actions"].items())
    return "rule add " + (" ".join(words) or "any") + " action " + actions


def main():
    with open(os.path.join(ROOT, "docs", "rule.schema.json"), encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    rng = random.Random(20261)
    checked = 0
    for _ in range(60):
        lines = []
        for _ in range(rng.randint(1, 4)):
            match, action = random_rule(rng)
            lines.append(f"rule add {match}" + (f" action {action}" if action else ""))
        for command in ("rule show", "rule list"):
            rules = documents(batch("ppe on", *lines, command, args=("-j",)))[-1]
            validator.validate(rules)
            assert len(rules) == len(lines), lines
            checked += len(rules)
        again = documents(batch("ppe on", *map(wordsof, rules), "rule list", args=("-j",)))[-1]
        # Rules that do not overlap may exchange their places.
        pick = lambda all_: sorted(json.dumps((sorted(map(str, r["conditions"])), r["actions"])) for r in all_)
        assert pick(again) == pick(rules), lines
    wrong = 0
    good = documents(batch("ppe on", "rule add dst_port 5-6 src_ip 10.0.0.1 action dscp ef", "rule list", args=("-j",)))[-1]
    for edit in (lambda r: r.pop("match"), lambda r: r["conditions"][0].update(key="0x35"), lambda r: r["conditions"][0].pop("last"),
                 lambda r: r["conditions"][1].update(key=5), lambda r: r["actions"].update(dscp=64), lambda r: r.update(rule="8"),
                 lambda r: r["actions"].update(unknown=1)):
        bad = copy.deepcopy(good)
        edit(bad[0])
        assert not validator.is_valid(bad), bad
        wrong += 1
    print(f"{checked} rules are as the schema says; {wrong} that are not are told apart")


main()
