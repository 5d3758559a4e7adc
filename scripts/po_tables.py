#!/usr/bin/env python3
"""Turns the gettext catalogues in po/ into the constant tables of i18n_data.

The program never reads a catalogue at run time: the build runs this script,
which writes one C++ source file holding KEYS (the English texts, sorted as
strcmp sorts them), one VALUES_<code> array per language and the LANGS table.

The catalogues are checked on the way, and any problem stops the build with a
message that names the file and the text:
  - a catalogue lacks a text of quillet.pot, or has one that is not in it;
  - a translation changes the printf placeholders of its text (count, order
    or kind), since trf() hands the same arguments to every language;
  - a text with a placeholder is not flagged c-format (msgfmt -c would then
    not check it);
  - the English catalogue says something other than the text itself.
An empty or fuzzy translation counts as untranslated, and an untranslated
text is an error as well: every language must be complete. With --no-strict
(for a catalogue that is still being written) an untranslated text only gets
the English text in the table and is counted; the count per language is
printed either way.

Only the Python standard library is used.
"""

import argparse
import os
import re
import sys

# The built-in languages, in the order of the LANGS table: code, the
# language's name in itself, and whether it is written right to left.
LANGUAGES = [
    ("ar", "العربية", True),
    ("cs", "Čeština", False),
    ("da", "Dansk", False),
    ("de", "Deutsch", False),
    ("el", "Ελληνικά", False),
    ("en", "English", False),
    ("es", "Español", False),
    ("fi", "Suomi", False),
    ("fr", "Français", False),
    ("he", "עברית", True),
    ("hu", "Magyar", False),
    ("it", "Italiano", False),
    ("ja", "日本語", False),
    ("ko", "한국어", False),
    ("nl", "Nederlands", False),
    ("pl", "Polski", False),
    ("pt", "Português", False),
    ("ro", "Română", False),
    ("ru", "Русский", False),
    ("sv", "Svenska", False),
    ("tr", "Türkçe", False),
    ("zh", "中文", False),
]

EXPECTED_KEYS = 308

PROG = "po_tables"


class PoError(Exception):
    """A catalogue that cannot be read at all (bad syntax or encoding)."""


class Entry:
    def __init__(self, line):
        self.line = line  # line of the msgid keyword
        self.msgctxt = None
        self.msgid = None
        self.msgid_plural = None
        self.msgstr = None
        self.plural_msgstr = {}
        self.flags = set()
        self.references = []

    @property
    def fuzzy(self):
        return "fuzzy" in self.flags


# --------------------------------------------------------------------------
# Reading catalogues

_ESCAPES = {
    "n": "\n",
    "t": "\t",
    "r": "\r",
    '"': '"',
    "\\": "\\",
    "a": "\a",
    "b": "\b",
    "f": "\f",
    "v": "\v",
}


def unquote(text, path, lineno):
    """The value of one quoted PO string, escapes resolved."""
    if len(text) < 2 or text[0] != '"' or text[-1] != '"':
        raise PoError(f"{path}:{lineno}: error: expected a quoted string, found {text!r}")
    body = text[1:-1]
    out = []
    i = 0
    while i < len(body):
        c = body[i]
        if c == '"':
            raise PoError(f"{path}:{lineno}: error: unescaped quote inside a string")
        if c != "\\":
            out.append(c)
            i += 1
            continue
        if i + 1 >= len(body):
            raise PoError(f"{path}:{lineno}: error: string ends with a lone backslash")
        e = body[i + 1]
        if e in _ESCAPES:
            out.append(_ESCAPES[e])
            i += 2
        elif e in "01234567":
            m = re.match(r"[0-7]{1,3}", body[i + 1 :])
            out.append(chr(int(m.group(0), 8)))
            i += 1 + len(m.group(0))
        else:
            raise PoError(f"{path}:{lineno}: error: unknown escape \\{e}")
    return "".join(out)


_KEYWORD = re.compile(r"^(msgctxt|msgid_plural|msgid|msgstr(?:\[(\d+)\])?)\s+(.*)$")


def parse_po(path):
    """All live entries of a catalogue, header included (msgid ""), in file
    order. Obsolete entries (#~) are skipped."""
    try:
        with open(path, "rb") as f:
            raw = f.read()
    except OSError as e:
        raise PoError(f"{path}: error: cannot read: {e.strerror}")
    try:
        text = raw.decode("utf-8")
    except UnicodeDecodeError as e:
        raise PoError(f"{path}: error: not valid UTF-8 (byte {e.start})")
    if text.startswith("\ufeff"):
        text = text[1:]

    entries = []
    cur = None
    field = None  # (name, index) that continuation lines append to
    pending_flags = set()
    pending_refs = []

    def finish():
        nonlocal cur, field
        if cur is not None:
            if cur.msgid is None:
                raise PoError(f"{path}:{cur.line}: error: entry without msgid")
            if cur.msgstr is None and not cur.plural_msgstr:
                raise PoError(f"{path}:{cur.line}: error: msgid without msgstr")
            entries.append(cur)
        cur = None
        field = None

    def append(name, index, value):
        if name == "msgstr" and index is not None:
            cur.plural_msgstr[index] = cur.plural_msgstr.get(index, "") + value
        else:
            setattr(cur, name, (getattr(cur, name) or "") + value)

    for lineno, line in enumerate(text.split("\n"), start=1):
        s = line.strip()
        if not s:
            finish()
            pending_flags, pending_refs = set(), []
            continue
        if s.startswith("#"):
            # A comment after a complete entry starts the next one.
            if cur is not None and (cur.msgstr is not None or cur.plural_msgstr):
                finish()
            if s.startswith("#~"):
                continue
            if s.startswith("#,"):
                pending_flags |= {f.strip() for f in s[2:].split(",") if f.strip()}
            elif s.startswith("#:"):
                pending_refs += s[2:].split()
            continue
        if s.startswith('"'):
            if cur is None or field is None:
                raise PoError(f"{path}:{lineno}: error: string outside of any entry")
            append(field[0], field[1], unquote(s, path, lineno))
            continue
        m = _KEYWORD.match(s)
        if not m:
            raise PoError(f"{path}:{lineno}: error: cannot read this line: {s!r}")
        keyword, index, rest = m.group(1), m.group(2), m.group(3)
        name = "msgstr" if keyword.startswith("msgstr") else keyword
        idx = int(index) if index is not None else None
        starts_entry = name in ("msgctxt", "msgid") and (
            cur is None or cur.msgstr is not None or cur.plural_msgstr or name == "msgctxt"
        )
        if starts_entry:
            finish()
            cur = Entry(lineno)
            cur.flags, cur.references = pending_flags, pending_refs
            pending_flags, pending_refs = set(), []
        if cur is None:
            raise PoError(f"{path}:{lineno}: error: {keyword} before any msgid")
        if name == "msgid":
            if cur.msgid is not None:
                raise PoError(f"{path}:{lineno}: error: second msgid in one entry")
            cur.line = lineno
        value = unquote(rest, path, lineno)
        if name == "msgstr" and idx is not None:
            cur.plural_msgstr[idx] = value
        else:
            setattr(cur, name, value)
        field = (name, idx)
    finish()
    return entries


def header_fields(entries):
    for e in entries:
        if e.msgid == "" and e.msgctxt is None:
            fields = {}
            for line in (e.msgstr or "").split("\n"):
                if ":" in line:
                    k, v = line.split(":", 1)
                    fields[k.strip()] = v.strip()
            return fields
    return None


# --------------------------------------------------------------------------
# Checking

_CONVERSION = re.compile(
    r"%(?:\d+\$)?[-+ #0']*(?:\*(?:\d+\$)?|\d+)?(?:\.(?:\*(?:\d+\$)?|\d+)?)?"
    r"(?:hh|h|ll|l|L|q|j|z|Z|t)?[diouxXeEfFgGaAcCsSpnm%]"
)


def placeholders(text):
    """The printf conversions of text, in order, without "%%". A "%" that
    starts no valid conversion is listed as it stands, so that it never
    matches anything by accident."""
    found = []
    i = 0
    while True:
        i = text.find("%", i)
        if i < 0:
            return found
        m = _CONVERSION.match(text, i)
        if m is None:
            found.append(text[i : i + 2])
            i += 2
            continue
        if m.group(0) != "%%":
            found.append(m.group(0))
        i = m.end()


def show(text):
    """A text as it appears in messages: in double quotes, escaped as in a
    catalogue, so that a newline or tab can be seen."""
    return '"' + (
        text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n").replace("\t", "\\t")
    ) + '"'


def check_flags(path, entry, errors):
    if placeholders(entry.msgid) and "c-format" not in entry.flags:
        errors.append(
            f"{path}:{entry.line}: error: text {show(entry.msgid)} has a placeholder "
            f"but is not flagged c-format"
        )


def read_template(path, expected, errors):
    """The sorted keys of the template, or None when it cannot be used."""
    try:
        entries = parse_po(path)
    except PoError as e:
        errors.append(str(e))
        return None
    keys = []
    seen = set()
    for e in entries:
        if e.msgid == "" and e.msgctxt is None:
            continue
        if e.msgctxt is not None or e.msgid_plural is not None:
            errors.append(
                f"{path}:{e.line}: error: text {show(e.msgid)} uses msgctxt or plural "
                f"forms, which the tables do not support"
            )
            continue
        if e.msgid in seen:
            errors.append(f"{path}:{e.line}: error: text {show(e.msgid)} appears twice")
            continue
        seen.add(e.msgid)
        check_flags(path, e, errors)
        keys.append(e.msgid)
    if expected is not None and len(keys) != expected:
        errors.append(f"{path}: error: holds {len(keys)} texts, expected {expected}")
    keys.sort(key=lambda k: k.encode("utf-8"))
    return keys


def read_catalogue(path, code, keys, strict, errors):
    """The values of one language in key order (English where untranslated)
    and the list of untranslated keys, or None when the file cannot be used."""
    try:
        entries = parse_po(path)
    except PoError as e:
        errors.append(str(e))
        return None
    before = len(errors)
    fields = header_fields(entries)
    if fields is None:
        errors.append(f"{path}: error: no header entry (msgid \"\")")
    else:
        content_type = fields.get("Content-Type", "")
        m = re.search(r"charset=([^\s;]+)", content_type)
        if not m or m.group(1).lower() not in ("utf-8", "utf8"):
            errors.append(
                f"{path}: error: Content-Type must say charset=UTF-8, found {content_type!r}"
            )
        if fields.get("Language") != code:
            errors.append(
                f"{path}: error: header says Language: {fields.get('Language', '')!r}, "
                f"expected {code!r}"
            )

    key_set = set(keys)
    translations = {}
    for e in entries:
        if e.msgid == "" and e.msgctxt is None:
            continue
        if e.msgctxt is not None or e.msgid_plural is not None:
            errors.append(
                f"{path}:{e.line}: error: text {show(e.msgid)} uses msgctxt or plural "
                f"forms, which the tables do not support"
            )
            continue
        if e.msgid not in key_set:
            errors.append(
                f"{path}:{e.line}: error: unknown text {show(e.msgid)} (not in quillet.pot)"
            )
            continue
        if e.msgid in translations:
            errors.append(f"{path}:{e.line}: error: text {show(e.msgid)} appears twice")
            continue
        check_flags(path, e, errors)
        value = e.msgstr if (e.msgstr and not e.fuzzy) else None
        if value is not None:
            want, got = placeholders(e.msgid), placeholders(value)
            if want != got:
                errors.append(
                    f"{path}:{e.line}: error: the translation of {show(e.msgid)} changes "
                    f"the placeholders: expected {' '.join(want) or 'none'}, "
                    f"found {' '.join(got) or 'none'} in {show(value)}"
                )
            if code == "en" and value != e.msgid:
                errors.append(
                    f"{path}:{e.line}: error: the English catalogue must repeat the text "
                    f"{show(e.msgid)} as it stands, found {show(value)}"
                )
        translations[e.msgid] = value

    for k in keys:
        if k not in translations:
            errors.append(f"{path}: error: lacks the text {show(k)}")

    if len(errors) != before:
        return None
    untranslated = [k for k in keys if translations[k] is None]
    if strict:
        for k in untranslated:
            errors.append(f"{path}: error: the text {show(k)} is not translated")
    return [translations[k] if translations[k] is not None else k for k in keys], untranslated


# --------------------------------------------------------------------------
# Writing the table source


def c_string(text):
    """A C++ string literal holding the UTF-8 bytes of text. Control bytes
    become three-digit octal escapes, which cannot swallow a following
    character the way hex escapes can."""
    out = ['"']
    for ch in text:
        if ch == "\\":
            out.append("\\\\")
        elif ch == '"':
            out.append('\\"')
        elif ch == "\n":
            out.append("\\n")
        elif ch == "\t":
            out.append("\\t")
        elif ord(ch) < 0x20 or ord(ch) == 0x7F:
            out.append("\\%03o" % ord(ch))
        else:
            out.append(ch)
    out.append('"')
    return "".join(out)


def render(keys, languages, values):
    lines = [
        "// Generated by scripts/po_tables.py from po/quillet.pot and po/*.po.",
        "// Do not edit: change the catalogues and rebuild.",
        '#include "i18n_data.h"',
        "",
        "namespace i18n_data {",
        "",
        "const char* const KEYS[] = {",
    ]
    lines += [f"    {c_string(k)}," for k in keys]
    lines += ["};", "static_assert(sizeof(KEYS) / sizeof(KEYS[0]) == KEY_COUNT);", ""]
    for code, _, _ in languages:
        lines.append(f"const char* const VALUES_{code}[] = {{")
        lines += [f"    {c_string(v)}," for v in values[code]]
        lines += [
            "};",
            f"static_assert(sizeof(VALUES_{code}) / sizeof(VALUES_{code}[0]) == KEY_COUNT);",
            "",
        ]
    lines.append("const LangEntry LANGS[] = {")
    for code, native, rtl in languages:
        lines.append(
            f"    {{{c_string(code)}, {c_string(native)}, {'true' if rtl else 'false'}, "
            f"VALUES_{code}}},"
        )
    lines += [
        "};",
        "static_assert(sizeof(LANGS) / sizeof(LANGS[0]) == LANG_COUNT);",
        "",
        "} // namespace i18n_data",
        "",
    ]
    return "\n".join(lines)


def write_atomically(path, text):
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="utf-8", newline="\n") as f:
        f.write(text)
    os.replace(tmp, path)


def remove_quietly(path):
    try:
        os.remove(path)
    except OSError:
        pass


def main(argv):
    ap = argparse.ArgumentParser(description="Build the translation tables from po/.")
    ap.add_argument("--pot", required=True, help="the template, quillet.pot")
    ap.add_argument("--po-dir", required=True, help="folder holding <code>.po per language")
    ap.add_argument("--output", required=True, help="the C++ source to write")
    ap.add_argument(
        "--strict",
        action=argparse.BooleanOptionalAction,
        default=True,
        help="an untranslated text is an error (the default); with --no-strict it is only "
        "counted and shows in English",
    )
    ap.add_argument(
        "--languages",
        help="comma-separated codes to build, in this order (default: all built-in languages)",
    )
    ap.add_argument(
        "--expect-count",
        type=int,
        default=EXPECTED_KEYS,
        help=f"number of texts the template must hold (default {EXPECTED_KEYS})",
    )
    args = ap.parse_args(argv)

    errors = []
    by_code = {code: (code, native, rtl) for code, native, rtl in LANGUAGES}
    if args.languages:
        languages = []
        for code in args.languages.split(","):
            if code not in by_code:
                errors.append(f"{PROG}: error: {code!r} is not a built-in language")
            else:
                languages.append(by_code[code])
    else:
        languages = list(LANGUAGES)
    wanted = {code for code, _, _ in languages}

    # A catalogue without a row in the table would be silently left out.
    try:
        present = sorted(n[:-3] for n in os.listdir(args.po_dir) if n.endswith(".po"))
    except OSError as e:
        present = []
        errors.append(f"{args.po_dir}: error: cannot list the folder: {e.strerror}")
    for code in present:
        if code not in wanted:
            errors.append(
                f"{os.path.join(args.po_dir, code + '.po')}: error: catalogue for a language "
                f"that is not in the table"
            )

    keys = read_template(args.pot, args.expect_count, errors)
    values = {}
    untranslated = {}
    if keys is not None:
        for code, _, _ in languages:
            path = os.path.join(args.po_dir, code + ".po")
            if not os.path.exists(path):
                errors.append(f"{path}: error: the catalogue is missing")
                continue
            result = read_catalogue(path, code, keys, args.strict, errors)
            if result is not None:
                values[code], untranslated[code] = result

    for code, _, _ in languages:
        if code in untranslated:
            print(
                f"{PROG}: {code}.po: {len(untranslated[code])} of {len(keys)} texts untranslated"
            )

    if errors:
        for e in errors:
            print(e, file=sys.stderr)
        print(f"{PROG}: {len(errors)} error(s); {args.output} not written", file=sys.stderr)
        remove_quietly(args.output)
        return 1

    write_atomically(args.output, render(keys, languages, values))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
