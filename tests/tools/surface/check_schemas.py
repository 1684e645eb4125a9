#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_schemas.py V6COMP PAGES SOURCE: every schema is as it would be made, and what the tool prints is as they say."""
import csv
import json
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

tool, pages, source = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
folder = source / "docs/schemas"
tables = source / "examples/tables"
base, changes = (source / f"examples/histories/dc_wikimedia.{part}.txt" for part in ("base", "updates"))
made = source / "tests/tools/cli/input"
rules = source / "examples/rules/office.csv"
refused = ["update", "--room", "off", "--policy", "plain", base, changes]

# What prints each kind of rows or figures.
SAMPLES = {
    "acl": [["acl", rules]],
    "acl-prefixes": [["acl", "--what", side, rules] for side in ("sources", "destinations")],
    "acl-summary": [["acl", "--summary", rules]],
    "acl-verify": [["acl", "--verify", rules]],
    "churn": [["churn", "--batches", "3", "--size", "4", base]],
    "explain": [["explain", tables / "office_5.txt", query] for query in ("2001:db8:2:3::/64", "2001:db9::1")],
    "explain-batch": [["explain", "--update", made / "moving_history.txt", "--batch", "29", made / "moving_table.txt"]],
    "fit": [["fit", tables / "dc_wikimedia_144.txt"], ["fit", base, changes],
            ["fit", "--pool-elements", "default", base, changes], ["fit", source / "tests/tools/cli/input/levels_70.txt"]],
    "generate": [["generate", "-n", "10"]],
    "list": [["list", tables / "office_5.txt"]],
    "compress": [["compress", tables / "dc_wikimedia_144.txt"]],
    "compress-summary": [["compress", "--summary", tables / "dc_wikimedia_144.txt"]],
    "lookup": [["lookup", tables / "office_5.txt", "2001:db8:1::/48", "2001:db8:ffff::2", "2001:db9::1", "::/0"],
               ["lookup", tables / "office_5.txt"]],
    "verify": [["verify", tables / "office_5.txt"]],
    "dot": [["dot", "--what", what, tables / "office_5.txt"] for what in ("original", "ancestor", "compressed")],
    "dump": [["dump", tables / "office_5.txt"]],
    "update": [["update", "--verify", "every", base, changes], refused],
    "update-headroom": [[*refused[:1], "--headroom", *refused[1:]]],
    "update-summary": [[*refused[:1], "--summary", *refused[1:]], ["update", "--summary", base, changes]],
    "plan": [["plan", tables / "office_5.txt", tables / "office_next.txt"]],
    "plan-history": [["plan", "--simulate", base, changes]],
    "diff": [["diff", base, tables / "dc_wikimedia_144.txt"], ["diff", "--batch-size", "7", base, tables / "office_5.txt"]],
    "plan-steps": [["plan", "--steps", base, changes], ["plan", "--steps", "--room", "off", base, changes]],
}

# The report's figures stand in its page.
REPORTS = [["report", base], ["report", base, changes]]


def figures_in_page(arguments):
    run = subprocess.run([tool, *arguments, "--quiet"], capture_output=True, text=True, check=True)
    return json.loads(run.stdout.split('id="report-data">', 1)[1].split("</script>", 1)[0])


def printed(arguments, form):
    run = subprocess.run([tool, *arguments, "--format", form], capture_output=True, text=True, check=False,
                         input="2001:db8::1\nno question\n")
    assert run.returncode in (0, 1, 2), (arguments, run.stderr)
    return run.stdout


def check_rows(schema, arguments):
    rows = json.loads(printed(arguments, "json"))
    jsonschema.validate(rows, schema)
    assert rows, arguments
    lines = printed(arguments, "ndjson").splitlines()
    row_schema = dict(schema["$defs"]["row"])
    for line in lines:
        jsonschema.validate(json.loads(line), row_schema)
    table = list(csv.reader(printed(arguments, "csv").splitlines()))
    assert table[0] == list(row_schema["properties"]), table[0]
    assert len(rows) == len(lines) == len(table) - 1, arguments


def leaves(value, key=""):
    if not isinstance(value, dict):
        return [key]
    return [leaf for name, inner in value.items() for leaf in leaves(inner, f"{key}.{name}" if key else name)]


def check_figures(schema, arguments):
    figures = json.loads(printed(arguments, "json"))
    jsonschema.validate(figures, schema)
    jsonschema.validate(json.loads(printed(arguments, "ndjson")), schema)
    table = list(csv.reader(printed(arguments, "csv").splitlines()))
    assert table[0] == ["key", "value"] and [row[0] for row in table[1:]] == leaves(figures), table


def is_of_rows(schema):
    return schema["type"] == "array"


with tempfile.TemporaryDirectory() as scratch:
    subprocess.run([pages, "schemas", scratch], check=True)
    made = {path.name: path.read_text() for path in pathlib.Path(scratch).iterdir()}
kept = {path.name: path.read_text() for path in folder.glob("*.schema.json")}
for name, text in made.items():
    assert kept.get(name) == text, f"docs/schemas/{name} is old: v6comp_pages schemas docs/schemas"
assert {name.split(".")[0] for name in kept} == {*SAMPLES, "report"}, {*SAMPLES, "report"} ^ {name.split(".")[0] for name in kept}

for arguments in REPORTS:
    jsonschema.validate(figures_in_page(arguments), json.loads(kept["report.schema.json"]))

for name, samples in SAMPLES.items():
    schema = json.loads(kept[f"{name}.schema.json"])
    jsonschema.Draft202012Validator.check_schema(schema)
    assert schema["$id"].startswith(f"urn:v6comp:schema:{name}:"), schema["$id"]
    assert is_of_rows(schema) or f"{name}.schema.json" not in made
    for arguments in samples:
        (check_rows if is_of_rows(schema) else check_figures)(schema, arguments)
