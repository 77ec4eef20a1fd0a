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
