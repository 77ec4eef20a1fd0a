"""Shared helpers: small tables written by the tests themselves."""

import os
import sys

import pytest

# The package under test is the one just built (PYTHONPATH from CTest).
import lorn  # noqa: F401


def write_table(path, header, rows, encoding="cp1252"):
    """Writes a TAB-separated table with CR LF line ends; cells may be str
    (written in encoding) or bytes (written as they are)."""
    def line(cells):
        return b"\t".join(c if isinstance(c, bytes) else str(c).encode(encoding) for c in cells)
    data = b"".join(line(cells) + b"\r\n" for cells in [header] + list(rows))
    with open(path, "wb") as out:
        out.write(data)
    return str(path)


@pytest.fixture
def tools(tmp_path):
    """A small catalogue of tools: REF, LIBELLE, FAMILLE, PRIX (Real),
    STOCK (Long), COULEUR (lists and the wildcard)."""
    rows = [
        ("A1", "Marteau", "OUTILS", "12.5", "10", "ROUGE"),
        ("A2", "Pince", "OUTILS", "48", "3", "BLEU*ROUGE"),
        ("A3", "Scie", "OUTILS", "75.2", "0", "*"),
        ("B1", "Pelle", "JARDIN", "30", "7", "VERT"),
        ("B2", "Râteau", "JARDIN", "19.9", "12", ""),
        ("C1", "Clé à molette", "OUTILS", "7.15", "140", "GRIS"),
    ]
    return write_table(tmp_path / "tools.txt",
                       ("REF", "LIBELLE", "FAMILLE", "PRIX", "STOCK", "COULEUR"), rows)


def pytest_configure(config):
    sys.dont_write_bytecode = True
    os.environ.setdefault("PYTHONDONTWRITEBYTECODE", "1")


def run_python(code, cwd):
    """Runs code in a fresh interpreter (the library's settings are
    process-wide) and gives its standard output; fails on an error."""
    import subprocess
    result = subprocess.run([sys.executable, "-c", code], cwd=cwd, capture_output=True,
                            text=True, env=dict(os.environ))
    assert result.returncode == 0, result.stderr
    return result.stdout
