// Writes the seed corpus of every fuzz target: valid inputs, each in the
// input form its target describes.
//
//   fuzz_make_seeds DIR     writes DIR/<target>/<name> for every target
//
// Sidecars and archives are made by the library itself, from the sample
// table, so that they are what the library writes today.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "fuzz/fuzz_util.h"
#include "platform/carchive.h"
#include "platform/cfile.h"
#include "query/query_std.h"
#include "query/result_std.h"
#include "table/cat_std.h"

namespace {

using lorn_fuzz::WorkFile;

std::string g_strOut;

void Seed(const std::string& strTarget, const std::string& strName, const std::string& strBytes) {
  const std::string strDir = g_strOut + "/" + strTarget;
  std::filesystem::create_directories(strDir);
  lorn_fuzz::PutFile(strDir + "/" + strName, strBytes);
}

std::string Word(unsigned n) {
  return std::string{static_cast<char>(n & 0xFF), static_cast<char>((n >> 8) & 0xFF)};
}

std::string Dword(unsigned n) {
  return Word(n & 0xFFFF) + Word(n >> 16);
}

// An input whose text Expand makes: prefix, unit repeated, rest, to the
// length of limit nLimit of the target plus nDelta.
std::string Expanded(const std::string& strPrefix, const std::string& strUnit, int nLimit,
                     int nDelta, const std::string& strRest) {
  return std::string{static_cast<char>(nLimit), static_cast<char>(nDelta)} +
         Word(static_cast<unsigned>(strPrefix.size())) +
         std::string(1, static_cast<char>(strUnit.size())) + strPrefix + strUnit + strRest;
}

void CellSeeds() {
  const char* const arCells[] = {"",          "*",        "  *",           "* ",
                                 "**",        "abc",      "b*a",           "10*9",
                                 " b * a ",   "(1..5)",   ")1..5(",        "(1..5(",
                                 ")1..5)",    "(1 .. 5)", "(..5)",         "(1..)",
                                 "(1..2..3)", "(1*2..3)", "(1..5)*(7..9)", "7*(1..5)",
                                 "(15)",      "1..5",     "((1..5)",       ")(1..5)",
                                 "()1..5)",   "-12",      "1.5",           "+ 12",
                                 "1e5",       "- "};
  int n = 0;
  for (const char* pszCell : arCells) {
    Seed("cell_grammar", "cell" + std::to_string(n++), std::string(1, '\0') + pszCell);
  }
  // Double-byte text under code page 932, with a trail byte equal to "*".
  Seed("cell_grammar", "cp932", std::string("\x01") + "\x82\xA0*\x82\x2A*(1..\x82\xA1)");
  // Another grammar: "[" "]" "|" "?" and the range separator "~".
  Seed("cell_grammar", "grammar",
       std::string("\x08") + "[]|?" + std::string(1, '\0') + "~" + "[1~5]");
  // A list and a range longer than offsets of 15 bits.
  Seed("cell_grammar", "long_list", std::string("\x10") + Expanded("(", "1*", 1, 2, "..5)"));
  Seed("cell_grammar", "long_value", std::string("\x10") + Expanded("x", "y", 2, 0, "*z"));
}

void LineSeeds() {
  const std::string& strTable = lorn_fuzz::SampleTable();
  const std::string strParams = Word(40) + Dword(30);
  Seed("line_reader", "plain", std::string("\x00", 1) + strParams + strTable);
  Seed("line_reader", "scrambled",
       std::string("\x01") + strParams + lorn_fuzz::Scramble(strTable, '\t'));
  Seed("line_reader", "indexed", std::string("\xC0") + strParams + strTable);
  Seed("line_reader", "line_ends",
       std::string("\x40") + strParams + "A\tB\r\r\n1\t2\n\r3\t4\r\n\r\n5\x00\r\n\x00" + "6\t7");
  Seed("line_reader", "semicolon",
       std::string("\x60") + ";" + strParams + "A;B;C\r\n1;2;3\r\n4;;\r\n;;\r\n");
  // Lines and cells across fills of the line buffer.
  Seed(
      "line_reader", "long_line",
      std::string("\x50") + strParams + Expanded("A\tB\r\n", "abcdefgh\t", 2, 10, "z\r\n1\t2\r\n"));
  Seed("line_reader", "long_cell",
       std::string("\x50") + strParams + Expanded("A\tB\r\n1\t", "y", 1, 0, "\r\n2\t3\r\n"));
  Seed("line_reader", "too_long_cell",
       std::string("\x10") + strParams + Expanded("A\r\n", "y", 1, 5, "\r\n"));
  // Headers of more columns than a signed 16-bit count holds.
  Seed("line_reader", "wide_header",
       std::string("\x50") + strParams + Expanded("", "\t", 0, 10, "\r\n1\t2\r\n"));
  Seed("line_reader", "widest_header",
       std::string("\x50") + strParams + Expanded("", "\t", 2, 10, "\r\n1\t2\r\n"));
  // Double-byte characters (code page 932) across a fill.
  Seed("line_reader", "cp932",
       std::string("\x52") + strParams +
           Expanded("H\r\n", "\x82\xA0\x82\xA1\x82\xA2x\t", 1, 3, "\r\n"));
}

// The sidecar of the sample table with an index on the columns in arCols.
std::string BuildSidecar(const std::vector<WORD>& arCols, const char* pszLocale) {
  lorn_fuzz::RemoveFile(WorkFile("T.SDX"));
  CCatStd table(WorkFile("T.TXT").c_str());
  if (pszLocale != nullptr) {
    table.SetLocale(pszLocale);
  }
  for (WORD nCol : arCols) {
    table.SetColFlags(nCol, COL_FLAG_INDEXED);
  }
  table.IndexTable();
  table.Close();
  return lorn_fuzz::GetFile(WorkFile("T.SDX"));
}

void SidecarSeeds() {
  Seed("sidecar", "no_index", "\x01" + BuildSidecar({}, nullptr));
  Seed("sidecar", "all_indexes", "\x0D" + BuildSidecar({0, 1, 2, 3, 4}, nullptr));
  Seed("sidecar", "some_indexes", "\x05" + BuildSidecar({1, 3}, nullptr));
  Seed("sidecar", "scrambled", "\x0B" + BuildSidecar({2, 4}, nullptr));
  Seed("sidecar", "locale", "\x31" + BuildSidecar({1, 3, 4}, "fra"));
  Seed("sidecar", "all_columns", "\x75" + BuildSidecar({0, 1, 2, 3, 4}, nullptr));
  // As stored with another stamp: dropped at Open and built anew.
  Seed("sidecar", "stale", "\x00" + BuildSidecar({0, 3}, nullptr));
}

std::string StoreObject(CCatStd* pObject) {
  {
    CFile file;
    file.Open(WorkFile("archive").c_str(), CFile::modeCreate | CFile::modeReadWrite);
    CArchive ar(&file, CArchive::store);
    ar.WriteObject(pObject);
    ar.Close();
  }
  return lorn_fuzz::GetFile(WorkFile("archive"));
}

void ArchiveSeeds() {
  // Stored paths hold no "/": the table is opened from its own directory.
  if (chdir(lorn_fuzz::WorkDir().c_str()) != 0) {
    std::perror("chdir");
    return;
  }
  BuildSidecar({0, 1, 2, 3, 4}, nullptr);
  CCatStd table("T.TXT");
  Seed("archive", "table", "\x00" + StoreObject(&table));
  CCatStd closed;
  Seed("archive", "closed_table", "\x00" + StoreObject(&closed));

  CQueryStd query(&table);
  query.AddCriteria(1, CRIT_GREATER | CRIT_EQUAL, "3");
  query.AddOperator(CRIT_OR);
  query.AddCriteria(3, CRIT_EQUAL, "red");
  Seed("archive", "query", "\x01" + StoreObject(&query));
  query.GetCount();
  Seed("archive", "query_done", "\x01" + StoreObject(&query));

  CQueryStd restricted("T.TXT");
  CDWordArray arRows;
  arRows.Add(1);
  arRows.Add(4);
  arRows.Add(7);
  restricted.SetRestriction(&arRows);
  restricted.AddCriteria(2, CRIT_LESS, "2");
  restricted.GetCount();
  Seed("archive", "query_restricted", "\x01" + StoreObject(&restricted));

  CStringArray arNames;
  arNames.Add("COLOR");
  arNames.Add("NAME");
  CResultStd result(&query, &arNames);
  result.GetCount();
  Seed("archive", "result", "\x02" + StoreObject(&result));
  CQueryStd onQuery(&query);
  onQuery.AddCriteria(4, CRIT_EQUAL, "H*");
  CResultStd resultOnChain(&onQuery, &arNames);
  Seed("archive", "result_chain", "\x02" + StoreObject(&resultOnChain));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
    return 2;
  }
  g_strOut = std::filesystem::absolute(argv[1]).string();
  lorn_fuzz::WriteSampleFiles();
  CellSeeds();
  LineSeeds();
  SidecarSeeds();
  ArchiveSeeds();
  return 0;
}
