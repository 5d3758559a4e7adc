#!/usr/bin/env python3
"""Runs the table generator or the key check on a small fixture and checks
the outcome: the exit status, the messages (which must name the file and the
text) and, for the generator, whether the table source was written.

    selftest.py --case NAME --fixtures DIR [--xgettext PATH]

The case "catalogues" runs the generator on the real catalogues in po/
instead, with its default strictness, whatever the build was configured with.

Each case is one ctest test. Everything written goes into a temporary folder
that this script makes and removes.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
GENERATOR = os.path.join(HERE, "..", "..", "scripts", "po_tables.py")
CHECKER = os.path.join(HERE, "check_keys.py")

# Generator cases: fixture folder, extra arguments, expected success, and the
# patterns that must appear in the output (stdout and stderr together).
# Strict is the default: only --no-strict lets an untranslated text through.
GENERATOR_CASES = {
    "ok": (
        "ok",
        ["--no-strict"],
        True,
        [r"en\.po: 0 of 4 texts untranslated", r"de\.po: 2 of 4 texts untranslated"],
    ),
    "complete": (
        "complete",
        [],
        True,
        [r"en\.po: 0 of 4 texts untranslated", r"de\.po: 0 of 4 texts untranslated"],
    ),
    "strict": (
        "ok",
        [],
        False,
        [
            r'ok/de\.po: error: the text "%s of %s" is not translated',
            r'ok/de\.po: error: the text "Tab\\there \\"quoted\\" back\\\\slash" is not translated',
        ],
    ),
    "strict_flag": (
        "ok",
        ["--strict"],
        False,
        [
            r'ok/de\.po: error: the text "%s of %s" is not translated',
            r'ok/de\.po: error: the text "Tab\\there \\"quoted\\" back\\\\slash" is not translated',
        ],
    ),
    "missing_text": (
        "missing_text",
        [],
        False,
        [r'missing_text/de\.po: error: lacks the text "Cancel"'],
    ),
    "unknown_text": (
        "unknown_text",
        [],
        False,
        [r'unknown_text/de\.po:\d+: error: unknown text "Cancle"'],
    ),
    "placeholder_count": (
        "placeholder_count",
        [],
        False,
        [
            r'placeholder_count/de\.po:\d+: error: the translation of "%s of %s" changes the '
            r'placeholders: expected %s %s, found %s in "%s von"'
        ],
    ),
    "placeholder_order": (
        "placeholder_order",
        [],
        False,
        [
            r'placeholder_order/de\.po:\d+: error: the translation of "%s of %s" changes the '
            r"placeholders: expected %s %s, found %2\$s %1\$s"
        ],
    ),
    "placeholder_kind": (
        "placeholder_kind",
        [],
        False,
        [
            r'placeholder_kind/de\.po:\d+: error: the translation of "%s freed" changes the '
            r"placeholders: expected %s, found %d"
        ],
    ),
    "english_differs": (
        "english_differs",
        [],
        False,
        [r'english_differs/en\.po:\d+: error: the English catalogue must repeat the text "Cancel"'],
    ),
    "missing_catalogue": (
        "missing_catalogue",
        [],
        False,
        [r"missing_catalogue/de\.po: error: the catalogue is missing"],
    ),
}

# What the "ok" case must have written: keys sorted as strcmp sorts them,
# translations (a text split over lines joined), English where a text is
# untranslated or fuzzy, escapes written back as C escapes.
OK_TABLE = """const char* const KEYS[] = {
    "%s freed",
    "%s of %s",
    "Cancel",
    "Tab\\there \\"quoted\\" back\\\\slash",
};"""
OK_GERMAN = """const char* const VALUES_de[] = {
    "%s freigegeben",
    "%s of %s",
    "Abbrechen",
    "Tab\\there \\"quoted\\" back\\\\slash",
};"""
OK_LANGS = """const LangEntry LANGS[] = {
    {"en", "English", false, VALUES_en},
    {"de", "Deutsch", false, VALUES_de},
};"""

# What the "complete" case must have written: every German text translated.
COMPLETE_GERMAN = """const char* const VALUES_de[] = {
    "%s freigegeben",
    "%s von %s",
    "Abbrechen",
    "Tabulator\\thier \\"zitiert\\" R\u00fcck\\\\strich",
};"""

# The parts of the table source that each successful case must have written.
EXPECTED_TABLE = {
    "ok": (OK_TABLE, OK_GERMAN, OK_LANGS),
    "complete": (OK_TABLE, COMPLETE_GERMAN, OK_LANGS),
}

# Key-check cases: source folder, known-unused list, expected success, patterns.
KEY_CASES = {
    "ok": (
        "src_ok",
        "known_later.txt",
        True,
        [r"3 of 4 texts used by the program, 1 listed as not used yet"],
    ),
    "unknown_text": (
        "src_unknown",
        "known_later.txt",
        False,
        [
            r'src_unknown/sample\.cpp:11: error: "Not a key" is passed to tr, trf or tr_noop '
            r"but is not one of the texts in quillet\.pot"
        ],
    ),
    "never_used": (
        "src_ok",
        "known_none.txt",
        False,
        [r'quillet\.pot: error: "Later" is never used by the program'],
    ),
    "listed_but_used": (
        "src_ok",
        "known_used.txt",
        False,
        [r'known_used\.txt:2: error: "Known" is used now \(.*src_ok/sample\.cpp:\d+\); remove it'],
    ),
    "listed_unknown": (
        "src_ok",
        "known_bogus.txt",
        False,
        [r'known_bogus\.txt:2: error: "Bogus" is not one of the texts in quillet\.pot'],
    ),
}


def run(cmd):
    result = subprocess.run(cmd, capture_output=True, text=True)
    output = result.stdout + result.stderr
    print("$ " + " ".join(cmd))
    print(output, end="")
    return result.returncode, output


def check_outcome(status, output, succeed, patterns, failures):
    if succeed and status != 0:
        failures.append(f"expected success, got exit status {status}")
    if not succeed and status == 0:
        failures.append("expected a failure, got exit status 0")
    for p in patterns:
        if not re.search(p, output):
            failures.append(f"no line matches {p!r}")


def generator_case(name, fixtures, failures):
    folder, extra, succeed, patterns = GENERATOR_CASES[name]
    base = os.path.join(fixtures, "generator")
    with tempfile.TemporaryDirectory(prefix="quillet-po-") as tmp:
        out = os.path.join(tmp, "i18n_data.cpp")
        # A stale table from an earlier run must not survive a failed one.
        with open(out, "w") as f:
            f.write("stale\n")
        status, output = run(
            [
                sys.executable,
                GENERATOR,
                "--pot",
                os.path.join(base, "quillet.pot"),
                "--po-dir",
                os.path.join(base, folder),
                "--languages",
                "en,de",
                "--expect-count",
                "4",
                "--output",
                out,
            ]
            + extra
        )
        check_outcome(status, output, succeed, patterns, failures)
        written = os.path.exists(out)
        if not succeed:
            if written:
                failures.append("the table source was left in place after a failure")
            if not re.search(r"error\(s\); .* not written", output):
                failures.append("no closing line saying the table was not written")
            return
        if not written:
            failures.append("the table source was not written")
            return
        with open(out, encoding="utf-8") as f:
            table = f.read()
        for part in EXPECTED_TABLE[name]:
            if part not in table:
                failures.append("the table source lacks:\n" + part)
        stray = ["Alter Text", "Old text"]
        if name == "ok":
            stray.append("Tabulator")  # the fuzzy translation
        for word in stray:
            if word in table:
                failures.append(f"a fuzzy or obsolete entry reached the table: {word!r}")


def catalogues_case(failures):
    """The real catalogues in po/: the default, strict run accepts them and
    counts no untranslated text in any language."""
    root = os.path.join(HERE, "..", "..")
    with tempfile.TemporaryDirectory(prefix="quillet-po-") as tmp:
        out = os.path.join(tmp, "i18n_data.cpp")
        status, output = run(
            [
                sys.executable,
                GENERATOR,
                "--pot",
                os.path.join(root, "po", "quillet.pot"),
                "--po-dir",
                os.path.join(root, "po"),
                "--output",
                out,
            ]
        )
        if status != 0:
            failures.append(f"the generator failed on po/ with exit status {status}")
        if not os.path.exists(out):
            failures.append("the table source was not written")
    counts = re.findall(r"^po_tables: (\w+)\.po: (\d+) of (\d+) texts untranslated$", output, re.M)
    if len(counts) != 22:
        failures.append(f"expected a count for 22 languages, found {len(counts)}")
    for code, untranslated, total in counts:
        if untranslated != "0":
            failures.append(f"{code}.po: {untranslated} of {total} texts untranslated")


def key_case(name, fixtures, xgettext, failures):
    folder, listed, succeed, patterns = KEY_CASES[name]
    base = os.path.join(fixtures, "keys")
    status, output = run(
        [
            sys.executable,
            CHECKER,
            "--xgettext",
            xgettext,
            "--pot",
            os.path.join(base, "quillet.pot"),
            "--known-unused",
            os.path.join(base, listed),
            "--src",
            os.path.join(base, folder),
        ]
    )
    check_outcome(status, output, succeed, patterns, failures)
    if "Not a key" in output and name != "unknown_text":
        failures.append('"Not a key" was taken for an interface text')


def main(argv):
    ap = argparse.ArgumentParser()
    ap.add_argument("--case", required=True, help="generator.<name> or keys.<name>")
    ap.add_argument("--fixtures", default=os.path.join(HERE, "fixtures"))
    ap.add_argument("--xgettext", default="xgettext")
    args = ap.parse_args(argv)

    kind, _, name = args.case.partition(".")
    failures = []
    if kind == "generator" and name in GENERATOR_CASES:
        generator_case(name, args.fixtures, failures)
    elif kind == "keys" and name in KEY_CASES:
        key_case(name, args.fixtures, args.xgettext, failures)
    elif args.case == "catalogues":
        catalogues_case(failures)
    else:
        print(f"selftest: unknown case {args.case!r}", file=sys.stderr)
        return 2
    for f in failures:
        print(f"FAILED: {f}", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
