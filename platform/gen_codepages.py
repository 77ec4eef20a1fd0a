#!/usr/bin/env python3
"""Writes platform/codepage_tables.cc, the character tables of the Windows code
pages that the multi-byte text layer knows.

Usage: gen_codepages.py [OUTPUT]   (default: codepage_tables.cc beside this script)

For each page it emits the upper-case and lower-case maps of its single bytes,
the lead-byte flags of a double-byte page, the case pairs of the characters of
more than one byte, and the byte to UTF-16 map of a single-byte page. Only the
standard codecs of Python and its own case mappings are used.

Case maps: a byte is decoded, Python's upper()/lower() is applied, and the
result is kept only when it is one character that encodes back to one byte of
the same page; otherwise the byte maps to itself. In a double-byte page only the
ASCII letters change among the single bytes.

Double-byte case pairs follow what the Windows runtime's _mbsupr and _mbslwr do
with a double-byte character: the two bytes go to UTF-16, are upper- (lower-)
cased there, and come back to the page. So every double-byte character is
decoded, str.upper() (str.lower()) is applied, and the pair is kept when the
result is one character that the page writes with two bytes. That folds the
full-width Latin letters of all four pages, the Greek and Cyrillic letters
where the page holds them, the small Roman numerals, and in 949 the Latin
letters of its symbol rows. A character that decodes but that the page writes
back elsewhere (the duplicate rows of 932) is folded all the same, to the
page's own encoding of the result.

UTF-8 (65001), an extension of the layer: the pairs are those of every code
point whose upper (lower) case is one code point of the same length in UTF-8
(so the case of a key never changes its length); "ß", whose upper case is
"SS", and the few letters whose case partner is longer or shorter stay. The
pairs are those of the Unicode version of the Python that ran this script,
which the tables record.

The pairs are stored as runs: characters first..last, every stride-th, whose
partner is the character plus delta. Characters are lead * 256 + trail in a
double-byte page and code points in UTF-8.

Lead bytes: the codecs leave out the user-defined areas, so the ranges are the
ones that the pages declare, and the codec is used to check them: no lead byte
may decode alone, and every byte that opens a two-byte character must be a lead.
"""

import os
import sys
import unicodedata

SINGLE_BYTE_PAGES = (1250, 1251, 1252, 1253, 1254, 1257)

# Lead-byte ranges, both ends included, as the double-byte pages declare them.
LEAD_RANGES = {
    932: ((0x81, 0x9F), (0xE0, 0xFC)),
    936: ((0x81, 0xFE),),
    949: ((0x81, 0xFE),),
    950: ((0x81, 0xFE),),
}

UNDEFINED = 0xFFFD

UTF8_PAGE = 65001


def codec(page):
    return "cp%d" % page


def decode_byte(page, b):
    """The one character that byte b stands for, or None."""
    try:
        text = bytes([b]).decode(codec(page))
    except UnicodeDecodeError:
        return None
    return text if len(text) == 1 else None


def encode_char(page, ch):
    """The byte that encodes ch in the page, or None when it takes more or none."""
    try:
        data = ch.encode(codec(page))
    except UnicodeEncodeError:
        return None
    return data[0] if len(data) == 1 else None


def single_byte_case_map(page, fold):
    result = []
    for b in range(256):
        ch = decode_byte(page, b)
        mapped = b
        if ch is not None:
            folded = fold(ch)
            if len(folded) == 1:
                back = encode_char(page, folded)
                if back is not None:
                    mapped = back
        result.append(mapped)
    return result


def ascii_case_map(to_upper):
    result = list(range(256))
    first, last, delta = (0x61, 0x7A, -0x20) if to_upper else (0x41, 0x5A, 0x20)
    for b in range(first, last + 1):
        result[b] = b + delta
    return result


def lead_bytes(page):
    flags = [0] * 256
    for first, last in LEAD_RANGES[page]:
        for b in range(first, last + 1):
            flags[b] = 1
    for b in range(256):
        if flags[b] and decode_byte(page, b) is not None:
            sys.exit("cp%d: declared lead byte 0x%02X decodes alone" % (page, b))
        if not flags[b] and decode_byte(page, b) is None:
            for trail in range(0x40, 0x100):
                try:
                    text = bytes([b, trail]).decode(codec(page))
                except UnicodeDecodeError:
                    continue
                if len(text) == 1:
                    sys.exit("cp%d: byte 0x%02X opens a character but is no lead" % (page, b))
    return flags


def to_unicode(page):
    result = []
    for b in range(256):
        ch = decode_byte(page, b)
        result.append(ord(ch) if ch is not None and ord(ch) <= 0xFFFF else UNDEFINED)
    return result


def double_byte_chars(page):
    """(value, character) of every two-byte sequence of the page that decodes."""
    for first, last in LEAD_RANGES[page]:
        for lead in range(first, last + 1):
            for trail in range(1, 256):
                try:
                    text = bytes([lead, trail]).decode(codec(page))
                except UnicodeDecodeError:
                    continue
                if len(text) == 1:
                    yield lead * 256 + trail, text


def double_byte_pairs(page, fold):
    pairs = []
    for value, ch in double_byte_chars(page):
        folded = fold(ch)
        if len(folded) != 1 or folded == ch:
            continue
        try:
            back = folded.encode(codec(page))
        except UnicodeEncodeError:
            continue
        if len(back) == 2 and back[0] * 256 + back[1] != value:
            pairs.append((value, back[0] * 256 + back[1]))
    return pairs


def utf8_pairs(fold):
    pairs = []
    for cp in range(0x80, 0x110000):
        if 0xD800 <= cp <= 0xDFFF:
            continue
        ch = chr(cp)
        folded = fold(ch)
        if len(folded) == 1 and folded != ch and \
                len(folded.encode("utf-8")) == len(ch.encode("utf-8")):
            pairs.append((cp, ord(folded)))
    return pairs


def case_runs(pairs):
    """Runs (first, last, stride, delta) covering the sorted pairs exactly."""
    runs = []
    for value, folded in pairs:
        delta = folded - value
        if runs:
            first, last, stride, run_delta = runs[-1]
            step = value - last
            if run_delta == delta and step in (1, 2) and (first == last or step == stride):
                runs[-1] = (first, value, step, delta)
                continue
        runs.append((value, value, 1, delta))
    expanded = {}
    for first, last, stride, delta in runs:
        for value in range(first, last + 1, stride):
            expanded[value] = value + delta
    if expanded != dict(pairs):
        sys.exit("case runs do not cover the pairs exactly")
    return runs


def format_runs(name, runs):
    lines = ["const CCaseRun %s[] = {" % name]
    for first, last, stride, delta in runs:
        lines.append("    {0x%04X, 0x%04X, %d, %d}," % (first, last, stride, delta))
    lines.append("};")
    return "\n".join(lines)


def format_array(ctype, name, values, per_line, width):
    lines = ["const %s %s[256] = {" % (ctype, name)]
    for i in range(0, len(values), per_line):
        row = ", ".join("0x%0*X" % (width, v) for v in values[i:i + per_line])
        lines.append("    %s," % row)
    lines.append("};")
    return "\n".join(lines)


def generate():
    out = []
    out.append("// Generated by gen_codepages.py, do not edit.")
    out.append("//")
    out.append("// Character tables of the code pages known to the multi-byte text layer.")
    out.append("")
    out.append('#include "platform/mbcs.h"')
    out.append("")
    out.append("namespace {")
    entries = []
    for page in SINGLE_BYTE_PAGES + tuple(sorted(LEAD_RANGES)) + (UTF8_PAGE,):
        double_byte = page in LEAD_RANGES
        utf8 = page == UTF8_PAGE
        out.append("")
        out.append("// Code page %d%s." % (page, " (UTF-8)" if utf8 else ""))
        runs = "nullptr, 0, nullptr, 0"
        if double_byte or utf8:
            upper, lower = ascii_case_map(True), ascii_case_map(False)
            if utf8:
                lead = [1 if 0xC2 <= b <= 0xF4 else 0 for b in range(256)]
                upper_runs = case_runs(utf8_pairs(str.upper))
                lower_runs = case_runs(utf8_pairs(str.lower))
            else:
                lead = lead_bytes(page)
                upper_runs = case_runs(double_byte_pairs(page, str.upper))
                lower_runs = case_runs(double_byte_pairs(page, str.lower))
            out.append(format_array("unsigned char", "s_abLead%d" % page, lead, 16, 2))
            out.append(format_runs("s_aUpperRuns%d" % page, upper_runs))
            out.append(format_runs("s_aLowerRuns%d" % page, lower_runs))
            runs = "s_aUpperRuns%d, %d, s_aLowerRuns%d, %d" % (
                page, len(upper_runs), page, len(lower_runs))
        else:
            upper = single_byte_case_map(page, str.upper)
            lower = single_byte_case_map(page, str.lower)
        out.append(format_array("unsigned char", "s_abUpper%d" % page, upper, 16, 2))
        out.append(format_array("unsigned char", "s_abLower%d" % page, lower, 16, 2))
        single = not (double_byte or utf8)
        if single:
            out.append(format_array("char16_t", "s_awcToUnicode%d" % page, to_unicode(page), 12, 4))
        entries.append("    {%d, %s, s_abUpper%d, s_abLower%d, %s, %s, %s}," % (
            page, "nullptr" if single else "s_abLead%d" % page, page, page,
            "s_awcToUnicode%d" % page if single else "nullptr", runs,
            "true" if utf8 else "false"))
    out.append("")
    out.append("const CCodePageTable s_aTables[] = {")
    out.extend(entries)
    out.append("};")
    out.append("")
    out.append("}  // namespace")
    out.append("")
    out.append("const char* Utf8CaseUnicodeVersion() {")
    out.append('  return "%s";' % unicodedata.unidata_version)
    out.append("}")
    out.append("")
    out.append("const CCodePageTable* FindCodePageTable(int nCodePage) {")
    out.append("  for (const CCodePageTable& table : s_aTables) {")
    out.append("    if (table.m_nCodePage == nCodePage) {")
    out.append("      return &table;")
    out.append("    }")
    out.append("  }")
    out.append("  return nullptr;")
    out.append("}")
    return "\n".join(out) + "\n"


def main():
    if len(sys.argv) > 2:
        sys.exit(__doc__)
    target = sys.argv[1] if len(sys.argv) == 2 else os.path.join(
        os.path.dirname(os.path.abspath(__file__)), "codepage_tables.cc")
    with open(target, "w", encoding="ascii", newline="\n") as f:
        f.write(generate())


if __name__ == "__main__":
    main()
