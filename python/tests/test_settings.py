"""Settings and the cell grammar."""

import pytest

import lorn
from conftest import run_python


@pytest.mark.parametrize("text, expected", [
    ("", ("empty", ())),
    ("BLEU", ("single", ("BLEU",))),
    ("BLEU*ROUGE", ("list", ("BLEU", "ROUGE"))),
    ("*", ("any", ())),
    ("(10..20(", ("range", ("10", "20"), False, True)),
    (")10..20)", ("range", ("10", "20"), True, False)),
    ("Été", ("single", ("Été",))),
])
def test_cell_tells_how_the_grammar_reads_a_text(text, expected):
    assert tuple(lorn.cell(text)) == expected + (None,) * (4 - len(expected))


def test_settings_apply_to_tables_made_after(tmp_path):
    (tmp_path / "t.txt").write_bytes(b"K;V\r\na;1/2\r\nb;[3~9[\r\n")
    out = run_python("""
import lorn
print(lorn.settings().col_sep == "\\t", lorn.settings().value_sep, lorn.settings().exact_search)
lorn.configure(col_sep=";", value_sep="/", range_open="[", range_close="]", range_sep="~")
print(lorn.cell("[3~9[").kind, lorn.cell("1/2").values)
with lorn.Table("t.txt") as t:
    print(t.column_names, t.query("V=2").row_numbers(), t.query("V=5").row_numbers())
lorn.Settings(value_sep="+").apply()
print(lorn.settings().value_sep, lorn.settings().col_sep)
for bad in (dict(value_sep="/", col_sep=";;"), dict(value_sep="/", default_locale="nowhere"),
            dict(nope="x")):
    try:
        lorn.configure(**bad)
    except (ValueError, TypeError) as error:
        print(type(error).__name__, lorn.settings().value_sep)
""", tmp_path)
    assert out.splitlines() == [
        "True * True",
        "range ('1', '2')",
        "['K', 'V'] [0] [1]",
        "+ ;",
        "QueryError +", "QueryError +", "TypeError +",  # a refusal sets nothing
    ]
