"""lorn: fast access to catalogues from Python.

A catalogue is a flat table kept as delimited text (``.TXT``, or its
scrambled twin ``.SDC``) whose cells may hold one value, a list
(``BLEU*ROUGE``), a range (``(10..20(``) or the lone wildcard ``*``. Beside it
the library keeps a sidecar (``.SDX``) of column types, row offsets and
indexes, made and brought up to date on demand.

    import lorn
    with lorn.Table("catalogue.txt") as table:
        for row in table.query("FAMILLE=OUTILS & PRIX<50"):
            print(row)

Cells come as ``str`` decoded from the table's code page (Windows-1252 for a
table without a locale, UTF-8 for the ``utf8`` locale), or as the stored
``bytes`` with ``Table(path, bytes=True)``. The library is single-threaded:
every call takes one lock, and indexing and rewrites let other Python threads
run meanwhile.
"""

from __future__ import annotations

import dataclasses
import errno
import os
from typing import Any, Callable, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Tuple

from . import _lorn
from ._lorn import ColumnError, Error, QueryError

__all__ = [
    "Cell", "Column", "ColumnError", "Error", "Query", "QueryError", "Settings", "Table", "View",
    "cell", "compact", "configure", "crypt", "decrypt", "delete_rows", "settings", "uncompact",
]

_TYPE_NAMES = {1: "Long", 2: "Real", 4: "Str"}
_MASKS = {"=": 1, "==": 1, "<": 16, "<=": 17, ">": 32, ">=": 33, "!=": 48, "<>": 48}
_CHUNK = 2048  # rows read per call into the library while iterating

Progress = Callable[[int, str], Any]


class Column(NamedTuple):
    """A column of a table: its name, type ("Long", "Real", "Str", or None
    before the column has been examined), key size in bytes, and whether its
    index is built in the sidecar."""

    name: Any
    type: Optional[str]
    size: int
    indexed: bool


class Table:
    """A catalogue table, opened on its path (plain or scrambled).

    ``bytes=True`` hands cells and names back as the stored bytes instead of
    decoded text. The sidecar stands beside the table, but for a table in a
    read-only or system folder (not the user's, or under /usr, /etc, /opt,
    /var/lib, ...): its sidecar then lives in the user's cache
    (``$XDG_CACHE_HOME/lorn``, else ``~/.cache/lorn``), reached through a
    link to the table. ``sidecar_dir`` puts every sidecar in that folder
    instead; ``sidecar_beside=True`` keeps it beside the table wherever it is. Use it as a context manager, or call :meth:`close`; queries
    made on a table keep it alive, but raise :class:`lorn.Error` once it is
    closed.

    Raises FileNotFoundError, PermissionError or IsADirectoryError for a path
    that cannot be read, and lorn.Error for a file that is no table.
    """

    def __init__(self, path: "os.PathLike[str] | str", *, bytes: bool = False,
                 sidecar_dir: "os.PathLike[str] | str | None" = None,
                 sidecar_beside: bool = False) -> None:
        self._core = _lorn.TableCore(os.fspath(path), bytes,
                                     None if sidecar_dir is None else os.fspath(sidecar_dir),
                                     sidecar_beside)

    def __enter__(self) -> "Table":
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "closed" if self.closed else "open"
        return f"<lorn.Table {self.path!r} {state}>"

    def close(self) -> None:
        """Closes the table. Later calls on it, or on its queries, raise lorn.Error."""
        self._core.close()

    @property
    def closed(self) -> bool:
        """Whether the table is closed."""
        return self._core.closed

    @property
    def path(self) -> str:
        """The path the table was opened with."""
        return self._core.path

    @property
    def encoding(self) -> str:
        """The Python codec of the table's code page ("cp1252", "utf-8", ...)."""
        return self._core.encoding

    @property
    def scrambled(self) -> bool:
        """Whether the table file is the scrambled form (SDC)."""
        return self._core.scrambled()

    @property
    def locale(self) -> str:
        """The table's locale name, empty when it has none."""
        return self._core.locale()

    @property
    def columns(self) -> List[Column]:
        """The columns, in table order (examines the table when needed)."""
        return [Column(name, _TYPE_NAMES.get(kind), size, built)
                for name, kind, size, built in self._core.columns()]

    @property
    def column_names(self) -> List[Any]:
        """The column names, in table order."""
        return [column.name for column in self.columns]

    def index(self, *columns: "str | int", progress: Optional[Progress] = None) -> None:
        """Examines the table and builds the indexes of the columns named
        (by name in any case, "#N" or number) that the sidecar lacks.

        ``progress(percent, text)`` is called as the work goes on; it cannot
        stop it, and what it raises is raised when the work is over.
        """
        self._core.index(list(columns), progress)

    def __len__(self) -> int:
        """The number of rows (examines the table when needed)."""
        return self._core.row_count()

    def __iter__(self) -> Iterator[tuple]:
        """Every row, in table order, as a tuple of its cells."""
        return _iterate(self._core, range(len(self)), None)

    def row(self, number: int) -> tuple:
        """The cells of one row (numbered from 0). IndexError beyond the last."""
        return self._core.rows([number])[0]

    def rows(self, numbers: Iterable[int], columns: Optional[Sequence["str | int"]] = None) -> List[tuple]:
        """The rows of the numbers given, as tuples of all cells or of the
        columns given, in that order."""
        return self._core.rows(list(numbers), None if columns is None else list(columns))

    def values(self, column: "str | int") -> List[Any]:
        """The distinct values of a column, in key order (indexes it when needed)."""
        return self._core.values(column)

    def query(self, expression: str) -> "Query":
        """A query from an expression: criteria ``COLUMN OP VALUE`` joined left
        to right by "&" and "|", with no brackets and no precedence
        (``A & B | C`` is ``(A and B) or C``). OP is one of = < <= > >= != <>;
        a value runs to the next connector, trimmed, or is quoted ('...' or
        "...") to hold blanks, connectors or = < >. In text values "?" stands
        for one character and a final "*" for any rest.

        Raises lorn.QueryError (a ValueError) with ``position``, the character
        from 1 where the expression goes wrong.
        """
        return Query(self, [tuple(c) for c in _lorn.parse(expression)])

    def where(self, column: "str | int", op: str, value: Any) -> "Query":
        """A query of one criterion, for values that hold connectors or
        quotes: ``table.where("PRIX", "<", 50).or_("COULEUR", "=", "A|B")``."""
        return Query(self, [_criterion("&", column, op, value)])

    def to_pandas(self, *, typed: bool = False) -> Any:
        """Every row as a pandas DataFrame; see :meth:`Query.to_pandas`."""
        return _frame(self._core, None, typed)


def _column_list(columns: tuple) -> list:
    if len(columns) == 1 and isinstance(columns[0], (list, tuple)):
        return list(columns[0])
    return list(columns)


def _criterion(connector: str, column: Any, op: str, value: Any) -> tuple:
    if op not in _MASKS:
        raise QueryError(f"unknown operator {op!r}; the operators are = < <= > >= != <>")
    return (connector, column, _MASKS[op], value)


def _iterate(core: Any, numbers: Sequence[int], columns: Optional[list]) -> Iterator[tuple]:
    if len(numbers) <= _CHUNK:
        return iter(core.rows(numbers, columns))
    return _chunks(core, numbers, columns)


def _chunks(core: Any, numbers: Sequence[int], columns: Optional[list]) -> Iterator[tuple]:
    for start in range(0, len(numbers), _CHUNK):
        yield from core.rows(list(numbers[start:start + _CHUNK]), columns)


class Query:
    """The rows of a table that meet criteria, each row once, in table order.

    Made by :meth:`Table.query` or :meth:`Table.where`; :meth:`and_` and
    :meth:`or_` give a new query with one more criterion. The search runs at
    the first use and its row numbers are kept. Iterating gives the rows as
    tuples of every cell.
    """

    def __init__(self, table: Table, criteria: List[tuple]) -> None:
        self._table = table
        self._criteria = criteria
        self._rows: Optional[List[int]] = None

    def __repr__(self) -> str:
        ops = {mask: op for op, mask in _MASKS.items() if op not in ("==", "<>")}
        text = " ".join(f"{c} {col}{ops[m]}{v!r}" for c, col, m, v in self._criteria)[2:]
        return f"<lorn.Query on {self._table.path!r}: {text}>"

    def and_(self, column: "str | int", op: str, value: Any) -> "Query":
        """This query "&" one more criterion (read left to right)."""
        return Query(self._table, self._criteria + [_criterion("&", column, op, value)])

    where = and_

    def or_(self, column: "str | int", op: str, value: Any) -> "Query":
        """This query "|" one more criterion (read left to right)."""
        return Query(self._table, self._criteria + [_criterion("|", column, op, value)])

    def _core(self) -> Any:
        core = self._table._core
        if core.closed:
            raise Error(f"{core.path}: the table is closed")
        return core

    def _numbers(self) -> List[int]:
        core = self._core()
        if self._rows is None:
            self._rows = core.run(self._criteria)
        return self._rows

    def row_numbers(self) -> List[int]:
        """The numbers (from 0) of the rows that qualify, ascending."""
        return list(self._numbers())

    def count(self) -> int:
        """The number of rows that qualify."""
        return len(self._numbers())

    def __len__(self) -> int:
        """The number of rows that qualify."""
        return self.count()

    def __iter__(self) -> Iterator[tuple]:
        """The rows that qualify, in table order, as tuples of every cell."""
        core = self._core()
        if self._rows is None:
            # A first run with few rows reads them in the same call.
            self._rows, rows = core.run_rows(self._criteria, _CHUNK)
            if rows is not None:
                return iter(rows)
        return _iterate(core, self._rows, None)

    def select(self, *columns: "str | int | Sequence[str | int]") -> List[tuple]:
        """The rows that qualify as tuples of the columns given (as arguments
        or as one list), in the order given (a column may repeat)."""
        return list(_iterate(self._core(), self._numbers(), _column_list(columns)))

    def view(self, *columns: "str | int | Sequence[str | int]") -> "View":
        """The rows that qualify seen through the columns given (as arguments
        or as one list): the columns in table order, and rows that agree in
        all of them once (the first row of each group, case counts). A view
        keeps at most 16,383 rows."""
        names, numbers, cells = self._core().view(self._criteria, _column_list(columns))
        return View(names, numbers, cells)

    def to_pandas(self, *, typed: bool = False, columns: Optional[Sequence["str | int"]] = None) -> Any:
        """The rows that qualify as a pandas DataFrame indexed by row number.

        Cells are strings (bytes in bytes mode). With ``typed=True`` a Long or
        Real column whose every cell is a single number or empty becomes
        numbers (Long: int64, or Int64 with empty cells as <NA>; Real: float64,
        empty cells NaN); a column with a list, range or wildcard stays text.
        """
        return _frame(self._core(), self._numbers(), typed, columns)


class View(NamedTuple):
    """A result view: column names (table order), row numbers, and the cells
    of those columns for each row."""

    columns: List[Any]
    row_numbers: List[int]
    rows: List[tuple]

    def __iter__(self):  # type: ignore[override]
        """The rows of the view, as tuples of its columns' cells."""
        return iter(self.rows)

    def __len__(self) -> int:  # type: ignore[override]
        """The number of rows of the view."""
        return len(self.rows)


def _frame(core: Any, numbers: Optional[List[int]], typed: bool,
           columns: Optional[Sequence["str | int"]] = None) -> Any:
    try:
        import pandas as pd
    except ImportError as error:
        raise ImportError("to_pandas needs pandas (Debian: python3-pandas)") from error

    described = core.columns()
    chosen = [core.column_number(c) for c in columns] if columns is not None else list(range(len(described)))
    arrays = core.column_arrays(numbers, chosen)
    count = len(arrays[0]) if arrays else (0 if numbers is None else len(numbers))
    index = pd.RangeIndex(count) if numbers is None else pd.Index(numbers, dtype="int64")
    data = {}
    for position, cells in enumerate(arrays):
        kind = described[chosen[position]][1]
        if typed and kind in (1, 2):
            cells = _typed(pd.Series(cells, index=index, copy=False), kind)
        data[position] = cells
    frame = pd.DataFrame(data, index=index, copy=False)
    frame.columns = [described[c][0] for c in chosen]
    frame.index.name = "row"
    return frame


def _typed(series: Any, kind: int) -> Any:
    import pandas as pd

    text = series.map(lambda c: c.decode("latin-1") if isinstance(c, bytes) else c)
    empty = text.str.strip() == ""
    numbers = pd.to_numeric(text.where(~empty, None), errors="coerce")
    if numbers[~empty].isna().any():
        return series  # a list, a range or the wildcard: the column stays text
    if kind == 2:
        return numbers.astype("float64")
    return numbers.astype("Int64" if empty.any() else "int64")


class Cell(NamedTuple):
    """How the cell grammar reads a text: kind ("empty", "single", "range",
    "list" or "any"), its values (the two bounds of a range), and for a range
    whether each bound is open (excluded)."""

    kind: str
    values: Tuple[Any, ...]
    low_open: Optional[bool] = None
    high_open: Optional[bool] = None


_KINDS = {0: "empty", 1: "single", 2: "range", 4: "list", 8: "any"}


def cell(text: "str | bytes", encoding: str = "cp1252") -> Cell:
    """How the cell grammar reads ``text`` under the current settings:
    ``lorn.cell("(10..20(")`` is a range from 10 included to 20 excluded.
    A str is written in ``encoding`` first (values come back decoded); bytes
    are read as they are."""
    kind, values, flags = _lorn.read_cell(text, encoding)
    if kind == 2:
        return Cell("range", tuple(values), bool(flags & 2), bool(flags & 8))
    return Cell(_KINDS.get(kind, str(kind)), tuple(values))


@dataclasses.dataclass
class Settings:
    """The library's settings; a field left None keeps its value.

    col_sep: the cell separator (TAB); range_open, range_close: the brackets
    of a range ("(" and ")"); range_sep: the text between its bounds ("..");
    value_sep: between the values of a list ("*"); any_value: the lone
    wildcard ("*"); default_locale: the locale of tables that have none yet
    ("", or a name such as "fra", "jpn", "utf8"); exact_search: queries find
    exactly the rows whose cells qualify (True, the package's default, as
    with the lorn command), or the rows of the index walk that other hosts
    make (False), which can differ at range bounds equal to the value and at
    "?" inside a text value.

    A table copies the cell syntax when it is opened: apply settings before
    making the tables they are meant for. exact_search reaches the queries
    run after it.
    """

    col_sep: Optional[str] = None
    range_open: Optional[str] = None
    range_close: Optional[str] = None
    range_sep: Optional[str] = None
    value_sep: Optional[str] = None
    any_value: Optional[str] = None
    default_locale: Optional[str] = None
    exact_search: Optional[bool] = None

    def apply(self) -> None:
        """Sets every field that is not None. Raises lorn.QueryError (a
        ValueError) for a character or locale name that cannot serve."""
        _lorn.configure(dataclasses.asdict(self))


def configure(**settings: Any) -> None:
    """Sets the settings given as keyword arguments; see :class:`Settings`."""
    Settings(**settings).apply()


def settings() -> Settings:
    """The settings in force."""
    return Settings(**_lorn.settings())


def _require_terminated(path: str, force: bool) -> None:
    # The reader delivers nothing behind the last separator of a line without
    # a line end: its last cell reads as empty, and a rewrite makes that final.
    if force:
        return
    with open(path, "rb") as table:
        table.seek(0, os.SEEK_END)
        if table.tell() == 0:
            return
        table.seek(-1, os.SEEK_END)
        if table.read(1) not in (b"\r", b"\n", b"\0"):
            raise Error(f"{path}: the last line has no line end, and a rewrite would lose its "
                        "last cell; end it with a line end, or give force=True")


def compact(path: "os.PathLike[str] | str", *columns: "str | int", force: bool = False,
            progress: Optional[Progress] = None) -> None:
    """Rewrites the table so that rows which agree in all cells but one stand
    as one row whose cell lists the values; one pass per column given (every
    column without any). The table is rewritten whole, or left as it was.

    The rewrites refuse a table that a lorn.Table of this process holds
    open (lorn.Error): close it first. compact, uncompact and delete_rows
    refuse a table whose last line has no line end, unless ``force``: that
    line's last cell would be lost."""
    _require_terminated(os.fspath(path), force)
    _lorn.compact(os.fspath(path), list(columns), progress)


def uncompact(path: "os.PathLike[str] | str", *columns: "str | int",
              to: "os.PathLike[str] | str | None" = None, overwrite: bool = False,
              force: bool = False, progress: Optional[Progress] = None) -> None:
    """Rewrites the table so that each list cell of the columns given (every
    column without any) becomes one row per value; with ``to``, writes the
    result there and leaves the table alone (FileExistsError when ``to``
    exists, unless ``overwrite``)."""
    target = "" if to is None else os.fspath(to)
    if target and os.path.exists(target) and not overwrite:
        raise FileExistsError(errno.EEXIST, "exists; give overwrite=True to replace it", target)
    _require_terminated(os.fspath(path), force)
    _lorn.uncompact(os.fspath(path), list(columns), target, progress)


def crypt(path: "os.PathLike[str] | str", *, overwrite: bool = False,
          progress: Optional[Progress] = None) -> str:
    """Writes the scrambled twin (.SDC) of a plain table and gives its path.
    FileExistsError when it exists, unless ``overwrite``."""
    return _lorn.convert(os.fspath(path), True, overwrite, progress)


def decrypt(path: "os.PathLike[str] | str", *, overwrite: bool = False,
            progress: Optional[Progress] = None) -> str:
    """Writes the plain twin (.TXT) of a scrambled table and gives its path.
    FileExistsError when it exists, unless ``overwrite``."""
    return _lorn.convert(os.fspath(path), False, overwrite, progress)


def delete_rows(path: "os.PathLike[str] | str", rows: Iterable[int], *,
                force: bool = False) -> None:
    """Deletes the rows (numbers from 0) of a plain table; the rows after them
    move up. IndexError for a number beyond the last row."""
    _require_terminated(os.fspath(path), force)
    _lorn.delete_rows(os.fspath(path), list(rows))
