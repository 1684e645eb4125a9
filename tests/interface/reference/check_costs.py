#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Does the comment above each exported function tell its cost, and whether it allocates? check_costs.py HEADER...

Functions in a group share the group's comment. Exit status: 0 all do; 1 one does not, said as file:line; 2 usage.
"""
import re
import sys

FUNCTION = re.compile(r"^TM_API [^;=]*?\b(\w+)\(", re.MULTILINE)
COMMENT = re.compile(r"/\*\*(.*?)\*/", re.DOTALL)


def comment_above(text, at):
    """The comment that ends right above a declaration, or the one that opened the group it stands in."""
    head = text[:at]
    comments = [comment for comment in COMMENT.finditer(head) if not comment.group(1).startswith("<")]
    if not comments:
        return ""
    last = comments[-1]
    between = head[last.end():].strip()
    return last.group(1) if not between or "@{" in last.group(1) else ""


def gaps(path):
    text = open(path, encoding="utf-8").read()
    found = 0
    for match in FUNCTION.finditer(text):
        found += 1
        comment = comment_above(text, match.start())
        line = text.count("\n", 0, match.start()) + 1
        if "Cost:" not in comment:
            yield "%s:%d: %s does not tell its cost" % (path, line, match.group(1))
        if not re.search(r"\b([Aa]llocates?|Takes from the pool)\b", comment):
            yield "%s:%d: %s does not tell whether it allocates" % (path, line, match.group(1))
    if found != len(re.findall(r"^TM_API [^;]*\(", text, re.MULTILINE)):
        yield "%s:1: not every function was read" % path


def main():
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    lines = [line for path in sys.argv[1:] for line in gaps(path)]
    for line in lines:
        print(line)
    print("%d headers, %d gaps" % (len(sys.argv) - 1, len(lines)))
    return 1 if lines else 0


if __name__ == "__main__":
    sys.exit(main())
