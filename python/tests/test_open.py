"""Open and inspect: columns, indexing with progress, rows and values."""

import pytest

import lorn


def test_columns_tell_type_size_and_index(tools):
    with lorn.Table(tools) as table:
        assert len(table) == 6
        columns = table.columns
        assert [(c.name, c.type) for c in columns] == [
            ("REF", "Str"), ("LIBELLE", "Str"), ("FAMILLE", "Str"),
            ("PRIX", "Real"), ("STOCK", "Long"), ("COULEUR", "Str")]
        assert columns[0].size >= 2 and columns[4].size == 4
        assert not any(c.indexed for c in columns)

        reports = []
        table.index("prix", "#5", progress=lambda pos, text: reports.append((pos, text)))
        assert [c.indexed for c in table.columns] == [False, False, False, True, False, True]
        positions = [pos for pos, _ in reports]
        assert positions and positions == sorted(positions) and positions[-1] > 50
        assert len(set(reports)) == len(reports)  # each change once
        assert any("Indexation" in text or "Tri" in text for _, text in reports)


def test_a_failing_progress_callback_is_raised_after_the_work(tools):
    def fail(pos, text):
        raise RuntimeError("stop")
    with lorn.Table(tools) as table:
        with pytest.raises(RuntimeError, match="stop"):
            table.index("STOCK", progress=fail)
        assert table.columns[4].indexed  # the work was not cut short


def test_rows_values_and_row_numbers(tools):
    with lorn.Table(tools) as table:
        assert table.row(3) == ("B1", "Pelle", "JARDIN", "30", "7", "VERT")
        assert table.rows([5, 0], columns=["STOCK", "REF", "stock"]) == [
            ("140", "C1", "140"), ("10", "A1", "10")]
        assert list(table)[1][0] == "A2"
        assert table.values("FAMILLE") == ["JARDIN", "OUTILS"]
        # Lists give each value; the wildcard and the empty cell give none.
        assert table.values("COULEUR") == ["BLEU", "GRIS", "ROUGE", "VERT"]
        for number in (-1, 6):
            with pytest.raises(IndexError, match="6 rows"):
                table.row(number)


@pytest.mark.parametrize("options, where", [
    ({}, "cache"),                         # a read-only folder: the user's cache
    ({"sidecar_dir": "side"}, "side"),     # every sidecar in the folder given
    ({"sidecar_beside": True}, "beside"),  # beside the table all the same
])
def test_sidecars_of_tables_in_read_only_folders(tmp_path, monkeypatch, tools, options, where):
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path / "cache"))
    folder = tmp_path / "ro"
    folder.mkdir()
    table_path = folder / "t.txt"
    table_path.write_bytes(open(tools, "rb").read())
    folder.chmod(0o555)
    try:
        if "sidecar_dir" in options:
            options = {"sidecar_dir": tmp_path / options["sidecar_dir"]}
        with lorn.Table(table_path, **options) as table:
            table.index("STOCK")
            assert table.query("STOCK>=0").count() == 6
            assert table.path == str(table_path)
        sidecars = {p.parent.parent.name if p.parent != folder else "beside"
                    for p in tmp_path.rglob("*.SDX")}
        assert sidecars == {"lorn" if where == "cache" else where}
    finally:
        folder.chmod(0o755)
