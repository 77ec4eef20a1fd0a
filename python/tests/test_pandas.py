"""pandas: rows into a DataFrame, as text or typed."""

import pytest

import lorn
from conftest import write_table

pd = pytest.importorskip("pandas")


def test_frames_as_text_and_typed(tmp_path):
    path = write_table(tmp_path / "p.txt", ("REF", "PRIX", "STOCK", "TAILLE", "VIDE"), [
        ("A", "12.5", "10", "3", "1"),
        ("B", "48", "3", "(10..20(", ""),
        ("C", "7", "0", "5", "2"),
    ])
    with lorn.Table(path) as table:
        frame = table.to_pandas()
        assert list(frame.columns) == ["REF", "PRIX", "STOCK", "TAILLE", "VIDE"]
        assert frame.loc[1].tolist() == ["B", "48", "3", "(10..20(", ""]
        assert all(dtype == object for dtype in frame.dtypes)

        typed = table.query("STOCK>=3").to_pandas(typed=True)
        assert typed.index.tolist() == [0, 1]
        assert typed["PRIX"].dtype == "float64" and typed["PRIX"].tolist() == [12.5, 48.0]
        assert typed["STOCK"].dtype == "int64"
        assert typed["TAILLE"].dtype == object      # a range keeps the column text
        assert str(typed["VIDE"].dtype) == "Int64" and typed["VIDE"].isna().tolist() == [False, True]

        chosen = table.query("REF=C").to_pandas(columns=["STOCK", "REF"])
        assert chosen.to_dict("records") == [{"STOCK": "0", "REF": "C"}]
    with lorn.Table(path, bytes=True) as table:
        assert table.to_pandas(typed=True)[b"STOCK"].tolist() == [10, 3, 0]
        assert table.to_pandas()[b"REF"].tolist() == [b"A", b"B", b"C"]
