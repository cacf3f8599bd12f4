#!/usr/bin/env python3
"""Splits the data-driven test files into seed inputs for the fuzz targets,
one file per input under fuzz/corpus/<target>/, named by a hash of the input.

  scripts/fuzz-seeds.py [--max N]   (N inputs per target at most; default 60)

Sources: translator  tests/data/translator_cases.txt ("in:" statements)
         jet_rewriter tests/data/jetsql/**/*.test (the Jet statements)
         filter       tests/dal/filter_test.cpp (its string literals)
         connection_string tests/connect/connstr_test.cpp, tests/dal/router_test.cpp
                      (string literals holding "=")
         backup_file  fuzz/seeds/backup_file (written by hand: a byte of options first)
         form_text    tests/data/forms/*.frm
         session_request tests/data/session_cases.json (each case's requests, one per line)
The corpus a fuzzer grows is not committed; only these seeds are."""
import argparse
import ast
import hashlib
import json
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent
DATA = ROOT / "tests" / "data"


def translator():
    for line in (DATA / "translator_cases.txt").read_text(encoding="utf-8").splitlines():
        if line.startswith("in:"):
            value = line[3:].strip()
            if len(value) >= 2 and value.startswith("`") and value.endswith("`"):
                value = value[1:-1]
            yield value.encode()


def jet_rewriter():
    headers = ("statement", "query", "store")
    for path in sorted((DATA / "jetsql").rglob("*.test")):
        lines = path.read_text(encoding="utf-8").splitlines()
        i = 0
        while i < len(lines):
            if lines[i].split(" ")[0] in headers:
                body = []
                i += 1
                while i < len(lines) and lines[i].strip() and lines[i] != "----":
                    body.append(lines[i])
                    i += 1
                if body and not lines[i - len(body) - 1].startswith("query indexes"):
                    yield "\n".join(body).encode()
            i += 1


def string_literals(path):
    text = path.read_text(encoding="utf-8")
    pattern = r'"((?:[^"\\\n]|\\.)*)"'
    for match in re.finditer(pattern, text):
        try:
            yield ast.literal_eval('"' + match.group(1) + '"').encode()
        except (ValueError, SyntaxError):
            continue


def filters():
    # Every string literal of the filter tests: the cases' texts, with a few
    # names and values that make fine seeds too.
    yield from string_literals(ROOT / "tests" / "dal" / "filter_test.cpp")


def connection_strings():
    for name in ("tests/connect/connstr_test.cpp", "tests/dal/router_test.cpp"):
        for literal in string_literals(ROOT / name):
            if b"=" in literal:
                yield literal


def backup_files():
    for path in sorted((ROOT / "fuzz" / "seeds" / "backup_file").glob("*")):
        yield path.read_bytes()


def forms():
    for path in sorted((DATA / "forms").glob("*.frm")):
        yield path.read_bytes()


def sessions():
    for case in json.loads((DATA / "session_cases.json").read_text(encoding="utf-8")):
        lines = [json.dumps(step["request"], ensure_ascii=False) for step in case.get("steps", [])]
        if lines:
            yield ("\n".join(lines) + "\n").encode()


SOURCES = {
    "translator": translator,
    "jet_rewriter": jet_rewriter,
    "filter": filters,
    "connection_string": connection_strings,
    "backup_file": backup_files,
    "form_text": forms,
    "session_request": sessions,
}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--max", type=int, default=80)
    args = parser.parse_args()
    for target, source in SOURCES.items():
        folder = ROOT / "fuzz" / "corpus" / target
        folder.mkdir(parents=True, exist_ok=True)
        for old in folder.iterdir():
            old.unlink()
        seen = set()
        for data in source():
            if data in seen or len(seen) >= args.max:
                continue
            seen.add(data)
            (folder / hashlib.sha1(data).hexdigest()[:16]).write_bytes(data)
        print(f"{target}: {len(seen)} seeds")


if __name__ == "__main__":
    main()
