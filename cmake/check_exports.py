#!/usr/bin/env python3
"""Checks the exported interface of liblorn.so against its committed list.

    check_exports.py --library liblorn.so --exports cmake/exports.txt
                     --platform cmake/platform_exports.txt [OBJECT.o ...]

Each line of the exports list is an entry of the export table by its number
(1 to 145), "-" for a symbol that goes with the numbered entries, or "ext"
for an extension; then the demangled name. Every number must be listed. The
dynamic symbol table of the shared object must hold every entry of the
exports list and, beside the platform's classes, nothing else; a missing
entry is reported by its number. The object
files, when given, are checked the same way before the linker's version
script filters them: every symbol that their annotations leave visible must
be a listed entry, a platform symbol or an instantiation of the C++ standard
library, so that a wrong LORN_API or a missing LORN_INTERNAL shows even
though the version script keeps it out of the shared object.

Names known to belong inside the library (the index, the criteria, the cell
classes, the comparators, the line reader, the sidecar's writing and
reading, the text and locale helpers) are refused wherever they appear,
also in the lists themselves. Exit status 0 when all holds, 1 otherwise.
"""

import argparse
import fnmatch
import re
import subprocess
import sys

# Whatever matches one of these belongs inside the library.
INTERNAL_PATTERNS = [
    r"\bCIndex\b",
    r"\bCEntryCache\b",
    r"\bCCriteria(Str|Long|Real)?\b",
    r"\bCCell(Std|Range|RangeStr|RangeLong|RangeReal|Settings)\b",
    r"\bCLocaleScope\b",
    r"\bCLornDynLinkLibrary\b",
    r"\bCompare(Long|Real|Text|TextMb)(Entry)?\(",
    r"\bMatchText(Mb)?\(",
    r"\bCompareSign16\(",
    r"\b(ReadLine|SeekLine|MakeLineKey|SaveSide|LoadSide|ScanColumns)\(",
    r"\b(GetRoot|Reset|FreeColIndexes|DetachMaster|AddView|RemoveView|LeaveMaster)\(",
    r"\b(CopySettings|SameFileTime|ReadHostObject|IsLocaleValid|GetBaseRows)\(",
    r"\bCreateCriteria\(",
    r"\b(FoldCase|EnterLocale|LeaveLocale|IsNamedLocale)\(",
    r"\b(SplitCellEx|ClassifyCell|CreateCell|ParseCell|LoadCell)\(",
    r"\b(FindInFile|TextToLong|TextToReal)\(",
    r"\bMb(Find|ReverseFind|Left|Right|Append)\(",
    r"\bSetting(ColSep|RangeOpen|RangeClose|ValueSep|AnyValue|RangeSep|CatalogDir|Monitor)\(",
    r"\b(GetCellSettings|MonitorTitle|MonitorStep)\(",
    r"\b(MakeTempFile|GetTimeZoneBias|GetHostDefaultLocale)\(",
    r"\bg_(str|n|p)[A-Z]\w*",
]
INTERNAL_RE = re.compile("|".join(INTERNAL_PATTERNS))

# Mangled names of the C++ standard library's own entities (namespace std or
# __gnu_cxx, their class records and guard variables). Their instantiations
# are weak symbols that every user of the templates carries.
STD_MANGLED_RE = re.compile(r"^_Z(?:GV|T[VIST])?Z?N?[rVKRO]*(?:St|9__gnu_cxx)")

# Symbols that instrumentation adds (sanitizer builds).
TOOL_PREFIXES = ("__asan", "__odr_asan", "__ubsan", "__sancov", "__sanitizer")


def read_list(path):
    """The non-empty lines of a list file, without comments."""
    entries = []
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.strip()
            if line and not line.startswith("#"):
                entries.append(line)
    return entries


ENTRY_COUNT = 145


def read_exports(path):
    """[(tag, name)] of the exports list: tag is the entry number as text,
    "-" or "ext". A line without a valid tag is refused."""
    entries = []
    for line in read_list(path):
        tag, _, name = line.partition(" ")
        name = name.strip()
        if not name or not (tag in ("-", "ext") or
                            (tag.isdigit() and 1 <= int(tag) <= ENTRY_COUNT)):
            raise SystemExit(f"{path}: a line needs an entry number, - or ext: {line}")
        entries.append((tag, name))
    return entries


def read_platform(path):
    """(required exact names, allowed glob patterns) of the platform list."""
    required, patterns = [], []
    for line in read_list(path):
        if len(line) >= 2 and line[0] == '"' and line[-1] == '"':
            required.append(line[1:-1])
        else:
            patterns.append(line)
    return required, patterns


def demangle(names):
    """Demangled forms of names, in order, through one c++filt call."""
    if not names:
        return []
    out = subprocess.run(["c++filt"], input="\n".join(names) + "\n",
                         capture_output=True, text=True, check=True).stdout
    result = out.split("\n")[: len(names)]
    if len(result) != len(names):
        raise RuntimeError("c++filt gave fewer lines than it was given")
    return result


def dynamic_symbols(library):
    """Mangled names of the defined symbols of the dynamic symbol table."""
    out = subprocess.run(["nm", "-D", "--defined-only", library],
                         capture_output=True, text=True, check=True).stdout
    names = []
    for line in out.splitlines():
        parts = line.split()
        if len(parts) >= 3:
            names.append(parts[2].split("@")[0])
    return names


SYMTAB_RE = re.compile(
    r"^\s*\d+:\s+[0-9a-fA-F]+\s+\d+\s+(\S+)\s+(\S+)\s+(\S+)\s+(\S+)\s+(\S+)")


def visible_object_symbols(objects):
    """Mangled names that the objects define as global or weak with default
    visibility: what a link without a version script would export."""
    names = set()
    for obj in objects:
        out = subprocess.run(["readelf", "-sW", obj],
                             capture_output=True, text=True, check=True).stdout
        for line in out.splitlines():
            m = SYMTAB_RE.match(line)
            if not m:
                continue
            sym_type, bind, vis, ndx, name = m.groups()
            if bind not in ("GLOBAL", "WEAK", "UNIQUE") or vis != "DEFAULT":
                continue
            if ndx == "UND" or sym_type in ("FILE", "SECTION"):
                continue
            names.add(name)
    return sorted(names)


def is_platform(name, patterns):
    return any(fnmatch.fnmatchcase(name, p) for p in patterns)


def classify(mangled_names, exports, platform_required, platform_patterns, skip_std):
    """(unexpected, internal, found) for a list of mangled names."""
    kept = [n for n in mangled_names if not n.startswith(TOOL_PREFIXES)]
    if skip_std:
        kept = [n for n in kept if not STD_MANGLED_RE.match(n)]
    unexpected, internal, found = set(), set(), set()
    for name in demangle(kept):
        found.add(name)
        if INTERNAL_RE.search(name):
            internal.add(name)
        elif name in exports or name in platform_required:
            continue
        elif not is_platform(name, platform_patterns):
            unexpected.add(name)
    return unexpected, internal, found


def report(title, names):
    if names:
        print(f"{title} ({len(names)}):")
        for name in sorted(names):
            print(f"  {name}")
    return bool(names)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--library", required=True)
    parser.add_argument("--exports", required=True)
    parser.add_argument("--platform", required=True)
    parser.add_argument("objects", nargs="*")
    args = parser.parse_args()

    tagged = read_exports(args.exports)
    exports = [name for _, name in tagged]
    entry_of = {name: tag for tag, name in tagged if tag.isdigit()}
    platform_required, platform_patterns = read_platform(args.platform)
    failed = False

    numbered = {int(tag) for tag, _ in tagged if tag.isdigit()}
    failed |= report("entries of the export table that the list lacks",
                     {f"entry {n}" for n in range(1, ENTRY_COUNT + 1) if n not in numbered})

    duplicates = {e for e in exports if exports.count(e) > 1}
    failed |= report("entries listed twice in the exports list", duplicates)
    failed |= report("internal names in the exports list",
                     {e for e in exports if INTERNAL_RE.search(e)})
    failed |= report("library entries in the platform list",
                     {e for e in exports if e in platform_required
                      or is_platform(e, platform_patterns)})
    exports = set(exports)

    unexpected, internal, found = classify(
        dynamic_symbols(args.library), exports, platform_required, platform_patterns,
        skip_std=False)
    failed |= report(f"{args.library}: internal symbols exported", internal)
    failed |= report(f"{args.library}: exported symbols that are not listed", unexpected)
    failed |= report(f"{args.library}: listed entries that are not exported",
                     {f"{entry_of.get(e, '-')} {e}" for e in exports - found})
    failed |= report(f"{args.library}: platform entries that are not exported",
                     set(platform_required) - found)

    if args.objects:
        unexpected, internal, found = classify(
            visible_object_symbols(args.objects), exports, platform_required,
            platform_patterns, skip_std=True)
        failed |= report("object files: internal symbols with default visibility", internal)
        failed |= report("object files: visible symbols that are not listed", unexpected)
        failed |= report("object files: listed entries that are not visible",
                         exports - found)

    if failed:
        return 1
    print(f"{args.library}: entries 1 to {ENTRY_COUNT}, {len(exports)} names in all, and the "
          "platform's classes, nothing else")
    return 0


if __name__ == "__main__":
    sys.exit(main())
