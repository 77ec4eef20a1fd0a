"""Rewrites: compact and uncompact, crypt and decrypt, deleting rows."""

import os

import pytest

import lorn
from conftest import write_table


def rows_of(path):
    with lorn.Table(path) as table:
        return list(table)


def test_compact_and_uncompact_round_trip(tmp_path):
    rows = [("A", "ROUGE"), ("A", "BLEU"), ("B", "VERT")]
    path = write_table(tmp_path / "c.txt", ("REF", "COULEUR"), rows)
    reports = []
    lorn.compact(path, "COULEUR", progress=lambda pos, text: reports.append(pos))
    assert sorted(rows_of(path)) == [("A", "BLEU*ROUGE"), ("B", "VERT")]
    assert reports
    target = tmp_path / "flat.txt"
    lorn.uncompact(path, "COULEUR", to=target)
    assert sorted(rows_of(target)) == sorted(rows)
    with pytest.raises(FileExistsError):
        lorn.uncompact(path, "COULEUR", to=target)
    with lorn.Table(path), pytest.raises(lorn.Error, match="close it"):
        lorn.compact(path)
    assert len(rows_of(path)) == 2  # with a target, the table stays as it was
    lorn.uncompact(path)
    assert sorted(rows_of(path)) == sorted(rows)


def test_crypt_and_decrypt_write_twins(tmp_path):
    path = write_table(tmp_path / "s.txt", ("K", "V"), [("a", "1"), ("b", "2")])
    scrambled = lorn.crypt(path)
    assert scrambled == str(tmp_path / "s.SDC")
    assert open(scrambled, "rb").read() != open(path, "rb").read()
    with lorn.Table(scrambled) as table:
        assert table.scrambled and table.query("K=b").select("V") == [("2",)]
    with pytest.raises(lorn.Error, match="plain already"):
        lorn.decrypt(path)
    with pytest.raises(FileExistsError):
        lorn.crypt(path)
    os.remove(path)
    assert lorn.decrypt(scrambled) == str(tmp_path / "s.TXT")
    assert rows_of(tmp_path / "s.TXT") == [("a", "1"), ("b", "2")]


def test_delete_rows(tmp_path):
    path = write_table(tmp_path / "d.txt", ("K",), [("a",), ("b",), ("c",), ("d",)])
    lorn.delete_rows(path, [2, 0])
    assert rows_of(path) == [("b",), ("d",)]
    with pytest.raises(IndexError):
        lorn.delete_rows(path, [2])
    scrambled = lorn.crypt(path)
    with pytest.raises(lorn.Error, match="scrambled"):
        lorn.delete_rows(scrambled, [0])


@pytest.mark.parametrize("rewrite", [
    lambda path, force: lorn.compact(path, force=force),
    lambda path, force: lorn.uncompact(path, force=force),
    lambda path, force: lorn.delete_rows(path, [0], force=force),
])
def test_rewrites_refuse_a_last_line_without_line_end(tmp_path, rewrite):
    path = tmp_path / "u.txt"
    path.write_bytes(b"K\tV\r\na\t1\r\nb\t2")
    with pytest.raises(lorn.Error, match="no line end"):
        rewrite(path, False)
    assert path.read_bytes().endswith(b"b\t2")
    rewrite(path, True)
