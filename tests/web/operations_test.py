"""What docs/operations gives to Prometheus and Grafana asks for numbers that a program has:
operations_test.py PROGRAM SOURCE_FOLDER."""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.error
import urllib.request


def queries(part):
    """All expressions of a dashboard."""
    if isinstance(part, dict):
        found = [part["expr"]] if "expr" in part else []
        return found + [query for value in part.values() for query in queries(value)]
    return [query for value in part for query in queries(value)] if isinstance(part, list) else []


class Operations(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as folder:
            command = [PROGRAM, "equipment", "--port", "0", "--web", "0"]
            with subprocess.Popen(command, cwd=folder, stdout=subprocess.PIPE, text=True) as program:
                for line in program.stdout:
                    if found := re.search(r"page at (\S+)", line):
                        break
                try:
                    with urllib.request.urlopen(found[1] + "metrics", timeout=20) as answer:
                        cls.metrics = answer.read().decode()
                except urllib.error.HTTPError as problem:
                    raise unittest.SkipTest(problem.read().decode()) from problem
                finally:
                    program.terminate()
        cls.alerts = (FOLDER / "alerts.yml").read_text()
        cls.board = json.loads((FOLDER / "grafana.json").read_text())

    def test_metrics_are_there(self):
        texts = {"alerts.yml": re.findall(r"expr: (.*)", self.alerts), "grafana.json": queries(self.board)}
        for name, expressions in texts.items():
            self.assertGreater(len(expressions), 5, name)
            for metric in set(re.findall(r"\bvelto_\w+", " ".join(expressions))):
                self.assertRegex(self.metrics, rf"(?m)^{metric}[ {{]", name)

    def test_states_and_problems_are_there(self):
        for label, pattern in re.findall(r'(model|state|problem)=~?"([^"]*)"', self.alerts):
            for one in pattern.split("|"):
                self.assertRegex(self.metrics, rf'{label}="{one}"')

    def test_page_tells_of_each_alert(self):
        page = (FOLDER.parent / "operations.md").read_text()
        for name in re.findall(r"alert: (\w+)", self.alerts):
            self.assertIn(f"`{name}`", page)

    @unittest.skipUnless(shutil.which("promtool"), "promtool is not here")
    def test_rules_are_rules(self):
        subprocess.run(["promtool", "check", "rules", str(FOLDER / "alerts.yml")], check=True)


if __name__ == "__main__":
    PROGRAM, FOLDER = sys.argv[1], pathlib.Path(sys.argv[2]) / "docs" / "operations"
    unittest.main(argv=sys.argv[:1])
