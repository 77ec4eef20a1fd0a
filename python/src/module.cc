// _lorn: the compiled half of the lorn package. The package (lorn/__init__.py)
// gives the Python face; this module binds the library's table, its queries,
// rewrites, settings and cell grammar, under one lock.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "frame/lorn_defs.h"
#include "frame/settings.h"
#include "host/expr_parser.h"
#include "host/sidecar_place.h"
#include "platform/collections.h"
#include "python/src/lib_lock.h"
#include "python/src/py_errors.h"
#include "python/src/py_rewrite.h"
#include "python/src/py_table.h"
#include "python/src/py_text.h"
#include "table/cat_std.h"

namespace py = pybind11;

namespace {

// A one-byte setting from a str or bytes of one character (code below 256).
char SettingChar(const py::handle& value, const char* pszName) {
  std::string strValue;
  if (py::isinstance<py::bytes>(value)) {
    strValue = value.cast<std::string>();
  } else {
    std::u32string strWide = value.cast<std::u32string>();
    if (strWide.size() == 1 && strWide[0] < 256) {
      strValue.assign(1, static_cast<char>(strWide[0]));
    }
  }
  if (strValue.size() != 1 || strValue[0] == '\0') {
    throw CValueError(Format("%s must be one character of code 1 to 255", pszName));
  }
  return strValue[0];
}

std::string ToLatin1(const py::handle& value) {
  if (py::isinstance<py::bytes>(value)) {
    return value.cast<std::string>();
  }
  return py::str(value).attr("encode")("latin-1").cast<std::string>();
}

py::object FromLatin1(const CString& strText) {
  return py::reinterpret_steal<py::object>(PyUnicode_DecodeLatin1(
      strText.GetString(), static_cast<Py_ssize_t>(strText.GetLength()), nullptr));
}

py::object FromLatin1(char c) {
  return py::reinterpret_steal<py::object>(PyUnicode_DecodeLatin1(&c, 1, nullptr));
}

// Sets the settings given; checks every one before it sets any, so that a
// refused value leaves all as they were.
void Configure(const py::dict& settings) {
  CLibLock lock;
  InitLibrary();
  std::vector<std::function<void()>> setters;
  for (const auto& [key, value] : settings) {
    std::string strKey = key.cast<std::string>();
    if (value.is_none()) {
      continue;
    }
    if (strKey == "col_sep") {
      setters.emplace_back([c = SettingChar(value, "col_sep")] { SetColSep(c); });
    } else if (strKey == "range_open") {
      setters.emplace_back([c = SettingChar(value, "range_open")] { SetRange(c, 0, nullptr); });
    } else if (strKey == "range_close") {
      setters.emplace_back([c = SettingChar(value, "range_close")] { SetRange(0, c, nullptr); });
    } else if (strKey == "range_sep") {
      std::string strSep = ToLatin1(value);
      if (strSep.empty() || strSep.find('\0') != std::string::npos) {
        throw CValueError("range_sep must be a text of at least one character");
      }
      setters.emplace_back([strSep] { SetRange(0, 0, strSep.c_str()); });
    } else if (strKey == "value_sep") {
      setters.emplace_back([c = SettingChar(value, "value_sep")] { SetValueSep(c); });
    } else if (strKey == "any_value") {
      setters.emplace_back([c = SettingChar(value, "any_value")] { SetAnyValue(c); });
    } else if (strKey == "exact_search") {
      setters.emplace_back([b = value.cast<bool>()] { SetExactSearch(b ? TRUE : FALSE); });
    } else if (strKey == "default_locale") {
      std::string strLocale = value.cast<std::string>();
      if (strLocale.size() >= 8 || !IsLocaleValid(strLocale.c_str())) {
        throw CValueError("default_locale \"" + strLocale +
                          "\" is refused: a locale name the system knows, under 8 bytes "
                          "(\"fra\", \"jpn\", \"utf8\", ...)");
      }
      setters.emplace_back([strLocale] { SetDefaultLocale(strLocale.c_str()); });
    } else {
      throw CValueError("no setting \"" + strKey + "\"");
    }
  }
  for (const std::function<void()>& setter : setters) {
    setter();
  }
}

py::dict CurrentSettings() {
  CLibLock lock;
  CLornDynLinkLibrary* pLibrary = InitLibrary();
  CString strLocale;
  GetDefaultLocale(strLocale);
  py::dict settings;
  settings["col_sep"] = FromLatin1(pLibrary->m_cColSep);
  settings["range_open"] = FromLatin1(pLibrary->m_cRangeOpen);
  settings["range_close"] = FromLatin1(pLibrary->m_cRangeClose);
  settings["range_sep"] = FromLatin1(pLibrary->m_strRangeSep);
  settings["value_sep"] = FromLatin1(pLibrary->m_cValueSep);
  settings["any_value"] = FromLatin1(pLibrary->m_cAnyValue);
  settings["default_locale"] = FromLatin1(strLocale);
  settings["exact_search"] = GetExactSearch() != FALSE;
  return settings;
}

// How the cell grammar reads a text: (kind, values, range flags).
py::tuple ReadCell(const py::handle& text, const std::string& strEncoding) {
  bool bRaw = py::isinstance<py::bytes>(text);
  std::string strCell =
      bRaw ? text.cast<std::string>()
           : py::str(text).attr("encode")(strEncoding, "strict").cast<std::string>();
  if (strCell.find('\0') != std::string::npos) {
    throw CValueError("a cell holds no NUL character");
  }
  CLibLock lock;
  InitLibrary();
  CStringArray arValues;
  BYTE nFlags = 0;
  BYTE nKind = SplitCellDefault(strCell.c_str(), arValues, &nFlags);
  py::list values;
  for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
    const CString& strValue = arValues.GetAt(i);
    if (bRaw) {
      values.append(py::bytes(strValue.GetString(), static_cast<size_t>(strValue.GetLength())));
    } else {
      values.append(py::reinterpret_steal<py::object>(
          PyUnicode_Decode(strValue.GetString(), static_cast<Py_ssize_t>(strValue.GetLength()),
                           strEncoding.c_str(), "replace")));
    }
  }
  return py::make_tuple(nKind, values, nFlags);
}

std::vector<CPyCriterion> ToCriteria(const py::list& criteria) {
  std::vector<CPyCriterion> result;
  for (const py::handle& item : criteria) {
    auto tuple = item.cast<py::tuple>();
    if (tuple.size() != 4) {
      throw CValueError("a criterion is (connector, column, mask, value)");
    }
    result.push_back({tuple[0].cast<std::string>(), py::reinterpret_borrow<py::object>(tuple[1]),
                      tuple[2].cast<int>(), py::reinterpret_borrow<py::object>(tuple[3])});
  }
  return result;
}

std::vector<WORD> ToColumns(CPyTable& table, const py::object& columns) {
  std::vector<WORD> cols;
  if (columns.is_none()) {
    return cols;
  }
  CLibLock lock;
  for (const py::handle& column : columns) {
    cols.push_back(table.ResolveColumn(column));
  }
  return cols;
}

}  // namespace

PYBIND11_MODULE(_lorn, m) {
  m.doc() = "The compiled half of the lorn package; use the lorn package itself.";
  RegisterErrors(m);
  {
    CLibLock lock;
    InitLibrary();
    // Queries answer what their criteria plainly mean, as the lorn command's
    // do; exact_search=False gives the index walk's answers.
    SetExactSearch(TRUE);
  }

  py::class_<CPyTable>(m, "TableCore", "One open table; lorn.Table wraps it.")
      .def(py::init([](const std::string& strPath, bool bRaw, const py::object& sidecarDir,
                       bool bBeside) {
             std::string strDir;
             if (!sidecarDir.is_none()) {
               strDir = py::str(sidecarDir);
               if (strDir.empty()) {
                 throw CValueError("sidecar_dir wants a folder");
               }
             }
             // A table in a read-only or system folder is opened through a
             // link in the user's cache, where its sidecar can live.
             const std::string strOpen =
                 PlaceForSidecar(strPath, sidecarDir.is_none() ? nullptr : &strDir, bBeside);
             return std::make_unique<CPyTable>(strPath, bRaw, strOpen);
           }),
           py::arg("path"), py::arg("raw") = false, py::arg("sidecar_dir") = py::none(),
           py::arg("sidecar_beside") = false)
      .def("close", &CPyTable::Close, "Closes the table; later calls raise lorn.Error.")
      .def_property_readonly("closed", &CPyTable::IsClosed, "Whether the table is closed.")
      .def_property_readonly("path", &CPyTable::Path, "The path the table was opened with.")
      .def_property_readonly(
          "encoding", [](const CPyTable& table) { return table.Text().Encoding(); },
          "The Python codec of the table's code page.")
      .def_property_readonly(
          "raw", [](const CPyTable& table) { return table.Text().IsRaw(); },
          "Whether cells come as bytes.")
      .def("scrambled", &CPyTable::IsScrambled, "Whether the table file is scrambled (SDC).")
      .def("locale", &CPyTable::Locale, "The table's locale name, empty for none.")
      .def("columns", &CPyTable::Columns, "(name, type, key size, index built) per column.")
      .def("index", &CPyTable::Index, py::arg("columns"), py::arg("progress") = py::none(),
           "Marks the columns as wanted and builds what the sidecar lacks.")
      .def("row_count", &CPyTable::RowCount, "The number of rows.")
      .def(
          "rows",
          [](CPyTable& table, const std::vector<long long>& rows, const py::object& columns) {
            return table.Rows(rows, ToColumns(table, columns));
          },
          py::arg("rows"), py::arg("columns") = py::none(), "Rows by number, as tuples.")
      .def(
          "column_arrays",
          [](CPyTable& table, const py::object& rows, const py::object& columns) {
            std::vector<long long> numbers;
            if (!rows.is_none()) {
              numbers = rows.cast<std::vector<long long>>();
            }
            return table.ColumnArrays(numbers, rows.is_none(), ToColumns(table, columns));
          },
          py::arg("rows"), py::arg("columns") = py::none(),
          "Cells column by column, one numpy object array per column; rows None: every row.")
      .def("values", &CPyTable::Values, py::arg("column"),
           "The distinct values of a column in key order.")
      .def(
          "run",
          [](CPyTable& table, const py::list& criteria) { return table.Run(ToCriteria(criteria)); },
          py::arg("criteria"), "The rows that qualify, ascending, each once.")
      .def(
          "run_rows",
          [](CPyTable& table, const py::list& criteria, size_t nLimit) {
            std::vector<DWORD> numbers = table.Run(ToCriteria(criteria));
            py::object rows = py::none();
            if (numbers.size() <= nLimit) {
              rows = table.Rows(std::vector<long long>(numbers.begin(), numbers.end()), {});
            }
            return py::make_tuple(py::cast(numbers), rows);
          },
          py::arg("criteria"), py::arg("limit"),
          "(row numbers, their rows as tuples) in one call; rows None above limit rows.")
      .def(
          "view",
          [](CPyTable& table, const py::list& criteria, const py::object& columns) {
            return table.View(ToCriteria(criteria), ToColumns(table, columns));
          },
          py::arg("criteria"), py::arg("columns"),
          "(names, row numbers, cells) of the rows through the columns, repeats removed.")
      .def(
          "column_number",
          [](CPyTable& table, const py::handle& column) {
            CLibLock lock;
            return table.ResolveColumn(column);
          },
          py::arg("column"), "A column number from a name, \"#N\" or a number.");

  m.def(
      "parse",
      [](const std::string& strExpr) {
        py::list criteria;
        for (const CExprCriterion& criterion : ParseExpression(strExpr)) {
          criteria.append(py::make_tuple(std::string(1, static_cast<char>(criterion.cConnector)),
                                         criterion.strColumn, criterion.nMask, criterion.strValue));
        }
        return criteria;
      },
      py::arg("expression"), "Criteria (connector, column, mask, value) of an expression.");
  m.def("configure", &Configure, py::arg("settings"), "Sets the library's settings.");
  m.def("settings", &CurrentSettings, "The library's settings.");
  m.def("read_cell", &ReadCell, py::arg("text"), py::arg("encoding") = "cp1252",
        "(kind, values, range flags) of a cell text.");
  m.def("compact", &CompactTable, py::arg("path"), py::arg("columns"),
        py::arg("progress") = py::none(), "Folds rows into list cells.");
  m.def("uncompact", &UncompactTable, py::arg("path"), py::arg("columns"), py::arg("target") = "",
        py::arg("progress") = py::none(), "Expands list cells into rows.");
  m.def("convert", &ConvertTable, py::arg("path"), py::arg("crypt"), py::arg("overwrite"),
        py::arg("progress") = py::none(), "Writes the scrambled or plain twin.");
  m.def("delete_rows", &DeleteTableRows, py::arg("path"), py::arg("rows"),
        "Deletes rows of a plain table.");
}
