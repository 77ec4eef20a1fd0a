"""Query and iterate: expressions, the builder, selections and views."""

import pytest

import lorn


@pytest.mark.parametrize("expression, refs", [
    ("FAMILLE=OUTILS & PRIX<50", ["A1", "A2", "C1"]),
    ("famille = jardin | STOCK>=100", ["B1", "B2", "C1"]),
    ("COULEUR=ROUGE", ["A1", "A2", "A3"]),          # a list holds it, the wildcard matches all
    ("REF=A*", ["A1", "A2", "A3"]),
    ("#4<=3 | COULEUR!=BLEU", ["A1", "A2", "A3", "B1", "B2", "C1"]),  # an empty cell differs
    ("LIBELLE='Clé à molette'", ["C1"]),
    ("PRIX>100", []),
])
def test_expression_finds_rows_once_in_table_order(tools, expression, refs):
    with lorn.Table(tools) as table:
        query = table.query(expression)
        rows = list(query)
        assert [row[0] for row in rows] == refs
        assert query.count() == len(refs)
        assert [table.row(n)[0] for n in query.row_numbers()] == refs


def test_builder_takes_values_that_hold_connectors(tmp_path):
    from conftest import write_table
    path = write_table(tmp_path / "t.txt", ("K", "V"),
                       [("a|b", "1"), ("c&d", "2"), ("e", "3"), ("x=y", "4")])
    with lorn.Table(path) as table:
        query = table.where("K", "=", "a|b").or_("K", "=", "c&d").or_("V", ">", 3)
        assert query.select("V", "K") == [("1", "a|b"), ("2", "c&d"), ("4", "x=y")]
        assert query.select(["K"]) == [("a|b",), ("c&d",), ("x=y",)]
        assert table.where("V", ">=", 2).and_("V", "<", 4).row_numbers() == [1, 2]
        # The expression and the builder read the same criteria alike.
        assert table.query("K='a|b' | V>3").row_numbers() == [0, 3]


def test_view_shows_chosen_columns_with_repeats_removed(tools):
    with lorn.Table(tools) as table:
        view = table.query("PRIX>0").view("FAMILLE")
        assert view.columns == ["FAMILLE"]
        assert view.rows == [("OUTILS",), ("JARDIN",)]
        assert view.row_numbers == [0, 3]
        # Columns come in table order, whatever order they are asked in.
        view = table.query("FAMILLE=JARDIN").view("STOCK", "REF")
        assert view.columns == ["REF", "STOCK"]
        assert list(view) == [("B1", "7"), ("B2", "12")]


def test_queries_of_one_shape_in_a_row(tools):
    with lorn.Table(tools) as table:
        everything = list(table)
        for family, price in [("OUTILS", 50), ("JARDIN", 50), ("OUTILS", 10), ("NONE", 99)]:
            expected = [row for row in everything if row[2] == family and float(row[3]) < price]
            assert list(table.query(f"FAMILLE={family} & PRIX<{price}")) == expected
