#!/usr/bin/env python3
"""Checks that the program and quillet.pot agree on the interface texts.

xgettext extracts every text the code passes to tr(), trf() or marks with
tr_noop(); its default keywords (gettext, _, N_, ...) are switched off so
that nothing else is taken for an interface text. Then:
  - a text the code uses that is not in quillet.pot is an error (it would
    show in English in every language);
  - a text of quillet.pot that the code never uses is an error, unless it is
    listed in the known-unused file, which names the texts whose features
    have not arrived yet;
  - a listed text that the code does use is an error too, so the list only
    ever shrinks, and so is a listed text that is not in quillet.pot.

Writes only into a temporary folder of its own.
"""

import argparse
import os
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts"))
import po_tables  # noqa: E402

PROG = "check_keys"
SOURCE_SUFFIXES = (".cpp", ".cc", ".h", ".hpp")


def source_files(dirs):
    files = []
    for d in dirs:
        for root, _, names in os.walk(d):
            files += [os.path.join(root, n) for n in names if n.endswith(SOURCE_SUFFIXES)]
    return sorted(files)


def extract(xgettext, files, workdir):
    out = os.path.join(workdir, "used.pot")
    cmd = [
        xgettext,
        "--language=C++",
        "--from-code=UTF-8",
        "--keyword",  # no default keywords
        "--keyword=tr",
        "--keyword=trf",
        "--keyword=tr_noop",
        "--force-po",
        "--no-wrap",
        "--output=" + out,
    ] + files
    result = subprocess.run(cmd, capture_output=True, text=True)
    if result.stderr:
        sys.stderr.write(result.stderr)
    if result.returncode != 0:
        return None
    used = {}
    for e in po_tables.parse_po(out):
        if e.msgid == "" and e.msgctxt is None:
            continue
        used[e.msgid] = e.references or ["(unknown place)"]
    return used


def read_list(path, errors):
    """(text, line) pairs of the known-unused file; blank lines and lines
    starting with "#" are comments."""
    entries = []
    try:
        with open(path, encoding="utf-8") as f:
            lines = f.read().split("\n")
    except (OSError, UnicodeDecodeError) as e:
        errors.append(f"{path}: error: cannot read: {e}")
        return entries
    for lineno, line in enumerate(lines, start=1):
        line = line.rstrip("\r")
        if not line or line.startswith("#"):
            continue
        entries.append((line, lineno))
    return entries


def main(argv):
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--xgettext", default="xgettext")
    ap.add_argument("--pot", required=True)
    ap.add_argument("--known-unused", required=True)
    ap.add_argument("--src", action="append", required=True, help="source folder (repeatable)")
    args = ap.parse_args(argv)

    errors = []
    keys = po_tables.read_template(args.pot, None, errors)
    listed = read_list(args.known_unused, errors)
    files = source_files(args.src)
    if not files:
        errors.append(f"{PROG}: error: no source files under {', '.join(args.src)}")
    if errors or keys is None:
        for e in errors:
            print(e, file=sys.stderr)
        return 1

    with tempfile.TemporaryDirectory(prefix="quillet-keys-") as workdir:
        try:
            used = extract(args.xgettext, files, workdir)
        except po_tables.PoError as e:
            print(e, file=sys.stderr)
            return 1
    if used is None:
        print(f"{PROG}: error: xgettext failed", file=sys.stderr)
        return 1

    key_set = set(keys)
    listed_set = set()
    for text, lineno in listed:
        if text in listed_set:
            errors.append(f"{args.known_unused}:{lineno}: error: {po_tables.show(text)} is listed twice")
        listed_set.add(text)
        if text not in key_set:
            errors.append(
                f"{args.known_unused}:{lineno}: error: {po_tables.show(text)} is not one of the "
                f"texts in {os.path.basename(args.pot)}"
            )
        elif text in used:
            errors.append(
                f"{args.known_unused}:{lineno}: error: {po_tables.show(text)} is used now "
                f"({used[text][0]}); remove it from the list"
            )

    for text in sorted(used, key=lambda t: t.encode("utf-8")):
        if text not in key_set:
            for ref in used[text]:
                errors.append(
                    f"{ref}: error: {po_tables.show(text)} is passed to tr, trf or tr_noop but is "
                    f"not one of the texts in {os.path.basename(args.pot)}"
                )

    for text in keys:
        if text not in used and text not in listed_set:
            errors.append(
                f"{args.pot}: error: {po_tables.show(text)} is never used by the program; use it "
                f"through tr, trf or tr_noop, or list it in {os.path.basename(args.known_unused)} "
                f"until its feature arrives"
            )

    in_use = sum(1 for k in keys if k in used)
    print(
        f"{PROG}: {in_use} of {len(keys)} texts used by the program, "
        f"{len((listed_set & key_set) - used.keys())} listed as not used yet"
    )
    if errors:
        for e in errors:
            print(e, file=sys.stderr)
        print(f"{PROG}: {len(errors)} error(s)", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
