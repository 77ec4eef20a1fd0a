"""Errors and lifetimes: the exceptions a user expects, closed and dropped
tables, threads."""

import gc
import os
import threading

import pytest

import lorn
from conftest import write_table


def test_files_that_cannot_be_opened(tmp_path):
    empty = tmp_path / "empty.txt"
    empty.write_bytes(b"")
    cases = [
        (tmp_path / "missing.txt", FileNotFoundError),
        (tmp_path, IsADirectoryError),
        (empty, lorn.Error),
    ]
    for path, error in cases:
        with pytest.raises(error) as caught:
            lorn.Table(path)
        if issubclass(error, OSError):
            assert caught.value.filename == str(path)


@pytest.mark.parametrize("content, message", [
    (b"A\tB\r\n1\t2", "no line end"),
    (b"A\tB\r\n" + b"x" * 70000 + b"\t1\r\n", "does not fit the line buffer"),
])
def test_tables_that_cannot_be_read(tmp_path, content, message):
    path = tmp_path / "t.txt"
    path.write_bytes(content)
    with pytest.raises(lorn.Error, match=message):
        with lorn.Table(path) as table:
            list(table)


@pytest.mark.skipif(os.geteuid() == 0, reason="root reads and writes every file")
def test_permissions(tools, tmp_path):
    os.chmod(tools, 0o200)
    try:
        with pytest.raises(PermissionError):
            lorn.Table(tools)
    finally:
        os.chmod(tools, 0o644)
    os.chmod(tmp_path, 0o500)
    try:
        with lorn.Table(tools) as table, pytest.raises(PermissionError):
            table.index("REF")
        with pytest.raises(PermissionError):
            lorn.compact(tools)
    finally:
        os.chmod(tmp_path, 0o755)


@pytest.mark.parametrize("expression, position", [
    ("", 1),
    ("PRIX==2", 5),
    ("PRIX=2 REF=A1", 8),
    ("REF='A1", 5),
    ("REF=A1 &", 9),
    ("REF", 4),
])
def test_bad_expressions_say_where(tools, expression, position):
    with lorn.Table(tools) as table:
        with pytest.raises(ValueError) as caught:
            table.query(expression)
    assert isinstance(caught.value, lorn.QueryError) and isinstance(caught.value, lorn.Error)
    assert caught.value.position == position


@pytest.mark.parametrize("make, error", [
    (lambda t: t.query("STOCK=2.5").count(), lorn.QueryError),   # Long wants a whole number
    (lambda t: t.query("PRIX<cheap").count(), lorn.QueryError),  # Real wants a number
    (lambda t: t.where("PRIX", "=>", 2), lorn.QueryError),
    (lambda t: t.query("NOPE=1").count(), lorn.ColumnError),
    (lambda t: t.values("#9"), lorn.ColumnError),
    (lambda t: t.rows([0], columns=["PRIX", "nope"]), KeyError),
])
def test_queries_that_cannot_be_made(tools, make, error):
    with lorn.Table(tools) as table:
        with pytest.raises(error) as caught:
            make(table)
    assert isinstance(caught.value, lorn.Error)
    if error is lorn.QueryError:
        assert caught.value.position is None


def test_a_query_keeps_its_table_until_the_table_is_closed(tools):
    table = lorn.Table(tools)
    kept = table.query("FAMILLE=JARDIN")
    del table
    gc.collect()
    assert [row[0] for row in kept] == ["B1", "B2"]

    with lorn.Table(tools) as table:
        query = table.query("FAMILLE=JARDIN")
        assert query.count() == 2
    assert table.closed
    for use in (query.count, query.row_numbers, lambda: list(query), lambda: table.row(0),
                lambda: len(table), lambda: table.query("REF=A1").count()):
        with pytest.raises(lorn.Error, match="closed"):
            use()


def test_a_table_removed_under_a_live_query(tools):
    table = lorn.Table(tools)
    query = table.query("STOCK>5")
    os.remove(tools)
    del table
    gc.collect()
    # The open table file still reads; no crash, no silent empty answer.
    assert [row[0] for row in query] == ["A1", "B1", "B2", "C1"]


def test_threads_take_turns(tmp_path):
    rows = [(f"R{i:04d}", str(i % 97), f"N{i % 13}") for i in range(3000)]
    path = write_table(tmp_path / "big.txt", ("REF", "NUM", "NAME"), rows)
    expected = {k: sum(1 for r in rows if r[1] == str(k)) for k in range(20)}
    errors = []

    def work(table, keys):
        try:
            for key in keys:
                assert table.query(f"NUM={key}").count() == expected[key]
        except Exception as error:  # noqa: BLE001 - handed to the main thread
            errors.append(error)

    with lorn.Table(path) as table:
        threads = [threading.Thread(target=work, args=(table, range(k, 20, 4))) for k in range(4)]
        for thread in threads:
            thread.start()
        table.index("NAME")  # runs without the interpreter lock meanwhile
        for thread in threads:
            thread.join()
    assert errors == []


def test_a_progress_callback_cannot_call_lorn(tools):
    with lorn.Table(tools) as table:
        other = lorn.Table(tools)
        with pytest.raises(lorn.Error, match="progress callback"):
            table.index("REF", progress=lambda pos, text: len(other))
        other.close()
