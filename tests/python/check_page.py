#!/usr/bin/env python3
"""check_page.py PAGE: runs the Python blocks of a page, one after the other. A text block after one is what its
last line gives, or what it prints."""
import ast
import contextlib
import io
import os
import re
import sys
import tempfile
from pathlib import Path

page = Path(sys.argv[1]).read_text()
blocks = re.findall(r"^```python\n(.*?)^```\n(?:\n```text\n(.*?)^```\n)?", page, re.MULTILINE | re.DOTALL)
assert len(blocks) > 10, "the blocks of the page were not found"
names = {}
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    for code, expected in blocks:
        tree = ast.parse(code)
        last = tree.body.pop() if expected and isinstance(tree.body[-1], ast.Expr) else None
        with contextlib.redirect_stdout(io.StringIO()) as printed:
            exec(compile(tree, "page", "exec"), names)
            if last:
                print(repr(eval(compile(ast.Expression(last.value), "page", "eval"), names)))
        assert printed.getvalue() == expected, f"{code}\ngives\n{printed.getvalue()}"
