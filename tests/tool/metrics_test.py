#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""counter export, judged by the readers of its two formats: Debian's prometheus (promtool) and python3-prometheus-client.
Usage: metrics_test.py IFCCTL SOURCE-ROOT"""
import json
import os
import shutil
import subprocess
import sys
import unittest

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
ENVIRONMENT = {**os.environ, "IFC_STATE": "none"}
MISSING = 77  # the exit code of a test whose tools are missing
PYTHON = "/usr/bin/python3"  # Debian's modules belong to Debian's interpreter
READ = """
import json, sys
from prometheus_client.openmetrics.parser import text_string_to_metric_families as openmetrics
from prometheus_client.parser import text_string_to_metric_families as prometheus
families = {"openmetrics": openmetrics, "prometheus": prometheus}[sys.argv[1]](sys.stdin.read())
print(json.dumps([[f.name, f.type, f.documentation, [[s.name, s.labels, s.value] for s in f.samples]] for f in families]))
"""


def export(*options):
    with open(os.path.join(ROOT, "examples/gateway.ifc"), encoding="utf-8") as file:
        lines = file.read()
    lines += f"\nframe replay {ROOT}/examples/stack.pcap\nrule show -s\ncounter export {' '.join(options)}\n"
    result = subprocess.run([IFCCTL, "-j", "-b", "-"], input=lines, capture_output=True, text=True, timeout=60, env=ENVIRONMENT)
    assert result.returncode == 0, result.stderr
    shown, exported = (json.loads(line) for line in result.stdout.splitlines()[-2:])
    return shown, exported["text"]


class Metrics(unittest.TestCase):
    maxDiff = None

    def read(self, text, parser):
        out = subprocess.run([PYTHON, "-c", READ, parser], input=text, capture_output=True, text=True, timeout=60)
        self.assertEqual(out.stderr, "")
        return json.loads(out.stdout)

    def expected(self, shown):
        self.assertGreater(sum(rule["packets"] for rule in shown), 20)
        return [[f"ifc_rule_{unit}", "counter", help_,
                 [[f"ifc_rule_{unit}_total", {"rule": str(rule["rule"]), "place": rule["place"], "match": rule["match"]}, rule[unit]]
                  for rule in shown]]
                for unit, help_ in (("packets", "Frames that the rule decided."), ("bytes", "Bytes of the frames that the rule decided."))]

    def promtool(self, text):
        return subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True, timeout=60)

    def test_promtool_has_no_complaint(self):
        result = self.promtool(export()[1])
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_promtool_would_complain(self):
        self.assertNotEqual(self.promtool(export()[1].replace("# HELP", "# HLP")).returncode, 0)

    def test_the_values_as_prometheus_reads_them(self):
        shown, text = export()
        self.assertEqual(self.read(text, "prometheus"), self.expected(shown))

    def test_the_values_as_openmetrics_reads_them(self):
        shown, text = export("--openmetrics")
        self.assertEqual(self.read(text, "openmetrics"), self.expected(shown))


if __name__ == "__main__":
    client = os.path.exists(PYTHON) and \
        subprocess.run([PYTHON, "-c", "import prometheus_client"], stderr=subprocess.DEVNULL).returncode == 0
    missing = [] if shutil.which("promtool") else ["promtool"]
    missing += [] if client else ["python3-prometheus-client"]
    if missing:
        print("not installed:", *missing)
        sys.exit(MISSING)
    unittest.main(argv=sys.argv[:1])
