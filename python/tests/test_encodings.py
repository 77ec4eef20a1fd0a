"""Encodings: text decoded from the table's code page, and bytes mode."""

import pytest

import lorn
from conftest import run_python, write_table


def test_windows_1252_without_a_locale(tmp_path):
    every = bytes(range(0x20, 0x100))
    path = write_table(tmp_path / "w.txt", ("NOM", "PRIX"),
                       [(b"Cl\xe9 \x80", b"1"), (b"a\x81z", b"2"), (b"\xc9t\xe9", b"3"),
                        (every, b"4")])
    with lorn.Table(path) as table:
        assert table.encoding == "cp1252" and table.locale == ""
        assert table.row(3)[0] == every.decode("cp1252", "replace")
        assert [v for v in table.values("NOM") if len(v) < 9] == ["a\ufffdz", "Clé €", "Été"]
        assert table.query("NOM='Été'").select("PRIX") == [("3",)]
        with pytest.raises(UnicodeEncodeError):
            table.query("NOM=日本").count()
    with lorn.Table(path, bytes=True) as table:
        assert table.column_names == [b"NOM", b"PRIX"]
        assert table.row(0) == (b"Cl\xe9 \x80", b"1")
        # Bytes reach the table as they are, in either mode.
        assert table.where("NOM", "=", b"a\x81z").select("PRIX") == [(b"2",)]


def test_utf8_and_double_byte_locales(tmp_path):
    write_table(tmp_path / "u.txt", ("NOM", "N"), [("Ζεύς", "1"), ("ﬁn", "2")], "utf-8")
    write_table(tmp_path / "j.txt", ("NOM", "N"), [("日本", "1"), ("東京", "2")], "cp932")
    out = run_python("""
import lorn
lorn.configure(default_locale="utf8")
with lorn.Table("u.txt") as t:
    print(t.encoding, t.values("NOM"), t.query("NOM=ζεύς").row_numbers())
lorn.configure(default_locale="jpn")
with lorn.Table("j.txt") as t:
    print(t.encoding, t.values("NOM"), t.query("NOM=東京").row_numbers())
with lorn.Table("j.txt", bytes=True) as t:
    print(t.row(0)[0] == "日本".encode("cp932"))
""", tmp_path)
    assert out.splitlines() == [
        "utf-8 ['Ζεύς', 'ﬁn'] [0]",
        "cp932 ['東京', '日本'] [1]",  # key order: bytes of the code page
        "True",
    ]
