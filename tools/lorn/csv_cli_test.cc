// CSV in and out: lorn import, --csv output, and tables with CSV quoting
// refused under a comma separator.
#include <string>
#include <vector>

#include "tools/lorn/cli_test_util.h"
#include "tools/lorn/csv_format.h"

namespace {

using namespace lorn_cli_test;
using namespace lorn_test;
using ::testing::HasSubstr;

TEST(LornCsv, ReadsAndWritesQuotedFields) {
  std::string strText = "a,\"b,c\",\"say \"\"hi\"\"\"\r\n\"x\r\ny\",,\n\nlast";
  CCsvReader reader(strText, ',');
  std::vector<std::vector<std::string>> records;
  std::vector<CCsvField> fields;
  while (reader.Next(fields)) {
    records.emplace_back();
    for (const CCsvField& field : fields) {
      records.back().push_back(field.strText);
    }
  }
  std::vector<std::vector<std::string>> expected = {
      {"a", "b,c", "say \"hi\""}, {"x\r\ny", "", ""}, {""}, {"last"}};
  EXPECT_EQ(records, expected);
  for (const auto& record : expected) {
    for (const std::string& strField : record) {
      if (strField.empty()) {
        continue;  // an empty text holds no record
      }
      std::string strQuoted = CsvField(strField, ',');
      CCsvReader back(strQuoted, ',');
      ASSERT_TRUE(back.Next(fields));
      EXPECT_EQ(fields[0].strText, strField);
    }
  }
}

TEST_F(LornCli, ImportWritesATableOrSaysWhereItCannot) {
  WriteFile(File("people.csv"),
            "\xEF\xBB\xBFname,city,note\r\n\"Smith, John\",Z\xC3\xBCrich,\"said \"\"hi\"\"\"\r\n"
            "Anna,K\xC3\xB6ln,(1..5) as text\r\n");
  CRun run = Run({"import", "people.csv", "people.txt", "--literal"});
  ASSERT_EQ(run.nStatus, 0) << run.strErr;
  EXPECT_EQ(ReadFile(File("people.txt")),
            "name\tcity\tnote\r\nSmith, John\tZ\xC3\xBCrich\tsaid \"hi\"\r\n"
            "Anna\tK\xC3\xB6ln\t(1..5) as text\r\n");
  ExpectError({"import", "people.csv", "people.txt"}, "people.txt exists; give --force");
  EXPECT_EQ(Run({"import", "people.csv", "-", "--literal"}).strOut, ReadFile(File("people.txt")));
  ASSERT_EQ(
      Run({"import", "people.csv", "people.txt", "--force", "--to", "1252", "--literal"}).nStatus,
      0);
  EXPECT_THAT(ReadFile(File("people.txt")), HasSubstr("Z\xFCrich"));
  EXPECT_EQ(Run({"--csv", "query", "people.txt", "name=smith*"}).strOut,
            "name,city,note\n\"Smith, John\",Z\xFCrich,\"said \"\"hi\"\"\"\n");

  struct {
    const char* pszCsv;
    std::vector<std::string> options;
    const char* pszError;
  } cases[] = {
      {"a,b\n1,\"x\ty\"\n",
       {},
       "in.csv:2:3: the field holds a TAB, which a table cell cannot hold (its separator; "
       "another one is given before the command: lorn --sep ';' import ...)"},
      {"a,b\n1,\"x\ny\"\n", {}, "in.csv:2:3: the field holds an LF"},
      {"a;b\n1;x;y\n", {"--delimiter", ";"}, "in.csv:2: 3 fields where the header has 2"},
      {"a;b\n1;2\n", {}, "in.csv:1: the header is one field that holds \";\": give its delimiter"},
      {"a,b\n1,*\n", {}, "in.csv:2:3: the field is the lone wildcard"},
      {"a,b\n1,  red*blue\n", {}, "in.csv:2:3: the field holds \"*\""},
      {"a,b\n1,(1..5)\n", {}, "in.csv:2:3: the field starts with \"(\" and holds \"..\""},
      {"a,b\n1,caf\xE9\n",
       {"--to", "1252"},
       "in.csv:2:3: the field is not UTF-8 text (--encoding names the file's own)"},
      {"a,b\n1,\"x\n", {}, "in.csv:2:3: a quoted field has no closing quote"},
      {"a,b\n1,\"c\"d\n", {}, "in.csv:2:6: text behind the closing quote"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pszCsv);
    WriteFile(File("in.csv"), c.pszCsv);
    std::vector<std::string> args = {"import", "in.csv", "out.txt"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    ExpectError(args, c.pszError);
    EXPECT_FALSE(Exists(File("out.txt")));
  }
  // Plain texts pass: a bracket without the range separator, inner spaces.
  WriteFile(File("in.csv"), "a,b\n1,(note)\n2, x y \n");
  EXPECT_EQ(Run({"import", "in.csv", "out.txt"}).nStatus, 0);
}

TEST_F(LornCli, CsvOutputAndQuotedTablesUnderAComma) {
  EXPECT_EQ(Run({"--csv", "query", "tools.txt", "REF=D1", "--row-numbers"}).strOut,
            "#,REF,NAME,FAMILY,PRICE,QTY,COLOR\n5,D1,Nuts & Bolts,TOOLS,1,3,GREY\n");
  EXPECT_EQ(Run({"--csv", "rows", "tools.txt", "0"}).strOut,
            "REF,NAME,FAMILY,PRICE,QTY,COLOR\nA1,Hammer,TOOLS,12.5,5,RED*BLUE\n");
  WriteFile(File("commas.txt"), "K\tV\r\n1\ta,b\r\n2\tsay \"x\"\r\n");
  EXPECT_EQ(Run({"--csv", "values", "commas.txt", "V"}).strOut, "\"a,b\"\n\"say \"\"x\"\"\"\n");
  ExpectError({"--json", "--csv", "rows", "tools.txt", "0"}, "--json and --csv: choose one");

  // Lines ended by CR LF, LF or a CR alone are counted alike.
  const char* pszProblem = "quoted.csv:3: cell 2 is quoted as in CSV, which a table does not read";
  for (const char* pszEnd : {"\n", "\r", "\r\n"}) {
    std::string strEnd = pszEnd;
    WriteFile(File("quoted.csv"),
              "name,age" + strEnd + "Anna,30" + strEnd + "x,\"Smith, John\"" + strEnd);
    ExpectError({"--sep", ",", "query", "quoted.csv", "age>1"}, pszProblem);
  }
  // Every other command that reads the cells refuses too, info warns.
  for (std::vector<std::string> args : std::vector<std::vector<std::string>>{
           {"rows", "quoted.csv", "0"},
           {"values", "quoted.csv", "age"},
           {"index", "quoted.csv"},
           {"compact", "quoted.csv", "age"},
       }) {
    args.insert(args.begin(), {"--sep", ","});
    ExpectError(args, pszProblem);
  }
  CRun info = Run({"--sep", ",", "info", "quoted.csv"});
  EXPECT_EQ(info.nStatus, 0);
  // The quoted cell, then what the split made of its row.
  EXPECT_EQ(info.strErr, std::string("lorn: info: ") + pszProblem +
                             " (a separator inside quotes would split the cell); import it: "
                             "lorn import quoted.csv TABLE.txt, then read TABLE.txt without "
                             "--sep\n"
                             "lorn: warning: quoted.csv: 1 row has more cells than the header's "
                             "2 columns, the first on line 3 (row 1); cells behind the last "
                             "column are ignored\n");
  WriteFile(File("plain.csv"), "name,age\r\nSmith,40\r\n");
  EXPECT_EQ(Run({"--sep", ",", "query", "plain.csv", "age>1"}).strOut, "name\tage\nSmith\t40\n");
}

}  // namespace
