// Tables in UTF-8 under the utf8 locale, an extension: keys fold accented,
// Greek and Cyrillic letters, the text passes through unconverted, and info
// tells a table without a locale whose text is UTF-8.
#include <string>
#include <vector>

#include "tools/lorn/cli_test_util.h"

namespace {

using namespace lorn_cli_test;
using namespace lorn_test;
using ::testing::HasSubstr;

TEST_F(LornCli, Utf8TablesFoldAndPassThrough) {
  WriteFile(File("towns.txt"), Table({"ID\tNAME", "1\tC\xC3\xB4te d'Ivoire", "2\tZ\xC3\xBCrich",
                                      "3\t\xCE\x91\xCE\xB8\xCE\xAE\xCE\xBD\xCE\xB1",
                                      "4\t\xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0",
                                      "5\tStra\xC3\x9F\x65", "6\tcote"}));
  // Before any sidecar, without a locale: info suggests one.
  EXPECT_THAT(Run({"info", "towns.txt"}).strOut,
              HasSubstr("hint     text in UTF-8: lorn --locale utf8 index towns.txt"));
  struct {
    std::vector<std::string> args;
    const char* pszOut;
  } cases[] = {
      // The first run names the locale with a POSIX name; the sidecar keeps it.
      {{"--locale", "en_US.UTF-8", "--utf8", "query", "towns.txt", "NAME=C\xC3\x94TE*"},
       "ID\tNAME\n1\tC\xC3\xB4te d'Ivoire\n"},
      {{"--json", "query", "towns.txt", "NAME=\xD0\xBC\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0"},
       "{\"ID\":\"4\",\"NAME\":\"\xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0\"}\n"},
      {{"query", "towns.txt", "NAME=\xCE\x91\xCE\x98\xCE\x89\xCE\x9D\xCE\x91"},
       "ID\tNAME\n3\t\xCE\x91\xCE\xB8\xCE\xAE\xCE\xBD\xCE\xB1\n"},
      {{"query", "towns.txt", "NAME=Z\xC3\x9CRICH"}, "ID\tNAME\n2\tZ\xC3\xBCrich\n"},
      // "ß" keeps its case: "STRASSE" is another word.
      {{"query", "towns.txt", "NAME=STRA\xC3\x9F\x45"}, "ID\tNAME\n5\tStra\xC3\x9F\x65\n"},
      {{"query", "towns.txt", "NAME=STRASSE"}, "ID\tNAME\n"},
      // Code-point order: "CÔTE" (C3 94) stands above "COTE" and below "D".
      {{"query", "towns.txt", "NAME<D"}, "ID\tNAME\n1\tC\xC3\xB4te d'Ivoire\n6\tcote\n"},
  };
  for (const auto& c : cases) {
    CRun run = Run(c.args);
    // Status 1 tells that no row qualified.
    EXPECT_EQ(run.nStatus, std::string(c.pszOut) == "ID\tNAME\n" ? 1 : 0) << run.strErr;
    EXPECT_EQ(run.strOut, c.pszOut) << c.args.back();
  }
  CRun info = Run({"info", "towns.txt"});
  EXPECT_THAT(info.strOut, HasSubstr("locale   utf8\n"));
  EXPECT_THAT(info.strOut, ::testing::Not(HasSubstr("hint")));
  // A sidecar without a locale: the hint says to drop it first.
  ASSERT_EQ(Run({"drop", "towns.txt"}).nStatus, 0);
  ASSERT_EQ(Run({"index", "towns.txt"}).nStatus, 0);
  EXPECT_THAT(Run({"info", "towns.txt"}).strOut,
              HasSubstr("lorn drop towns.txt && lorn --locale utf8 index towns.txt"));
  // Text that is not UTF-8, or plain ASCII, gets no hint.
  WriteFile(File("latin.txt"), Table({"NAME", "caf\xE9"}));
  EXPECT_THAT(Run({"info", "latin.txt"}).strOut, ::testing::Not(HasSubstr("hint")));
  EXPECT_THAT(Run({"info", "tools.txt"}).strOut, ::testing::Not(HasSubstr("hint")));
}

}  // namespace
