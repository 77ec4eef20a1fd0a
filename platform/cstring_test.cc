#include "platform/cstring.h"

#include <gtest/gtest.h>

#include <cstring>
#include <unordered_set>

#include "platform/exceptions.h"
#include "platform/mbcs.h"

namespace {

// Switches the multi-byte code page for one test and restores it after.
class CodePage {
 public:
  explicit CodePage(int nCodePage) : m_nSaved(_getmbcp()) { EXPECT_EQ(0, _setmbcp(nCodePage)); }
  ~CodePage() { _setmbcp(m_nSaved); }

 private:
  int m_nSaved;
};

TEST(CString, ConstructionAndBounds) {
  EXPECT_TRUE(CString(nullptr).IsEmpty());
  EXPECT_EQ(CString("abcdef", 3), "abc");
  EXPECT_EQ(CString('x', 3), "xxx");
  EXPECT_THROW(CString("abc", -1), CInvalidArgException);
  EXPECT_THROW(CString(nullptr, 2), CInvalidArgException);

  CString str("abc");
  EXPECT_EQ('c', str.GetAt(2));
  EXPECT_EQ('\0', str[3]);  // the terminator may be read
  EXPECT_THROW(str.GetAt(4), CInvalidArgException);
  EXPECT_THROW((void)str[-1], CInvalidArgException);
  str.SetAt(0, 'X');
  EXPECT_EQ(str, "Xbc");
  EXPECT_THROW(str.SetAt(3, 'y'), CInvalidArgException);
  EXPECT_EQ(str, "Xbc");
  EXPECT_THROW(str.Truncate(4), CInvalidArgException);
  str.Truncate(1);
  EXPECT_EQ(str, "X");
}

TEST(CString, ConcatenationAndComparison) {
  CString str = CString("ab") + "cd" + 'e';
  str += CString("f");
  str += 'g';
  str = 'z' + str;
  EXPECT_EQ(str, "zabcdefg");
  EXPECT_EQ("<" + str + ">", "<zabcdefg>");

  EXPECT_TRUE(CString("abc") < CString("abd"));
  EXPECT_TRUE("abc" <= CString("abc"));
  EXPECT_TRUE(CString("abc") != "abC");
  EXPECT_TRUE("abc" == CString("abc"));
  // Bytes order unsigned: an accented letter comes after every ASCII one.
  EXPECT_GT(CString("\xE9").Compare("z"), 0);
  EXPECT_EQ(0, CString("").Compare(nullptr));
  EXPECT_EQ(0, CString("MiXeD").CompareNoCase("mIxEd"));
  EXPECT_LT(CString("apple").CompareNoCase("BANANA"), 0);

  std::unordered_set<CString> setSeen = {CString("one"), CString("two")};
  EXPECT_EQ(1u, setSeen.count(CString("t") + "wo"));
  EXPECT_EQ(0u, setSeen.count(CString("three")));
}

TEST(CString, SubstringsClamp) {
  CString str("hello");
  EXPECT_EQ(str.Left(2), "he");
  EXPECT_EQ(str.Left(-1), "");
  EXPECT_EQ(str.Left(99), "hello");
  EXPECT_EQ(str.Right(3), "llo");
  EXPECT_EQ(str.Mid(1, 3), "ell");
  EXPECT_EQ(str.Mid(-2, 2), "he");
  EXPECT_EQ(str.Mid(4, 99), "o");
  EXPECT_EQ(str.Mid(9, 2), "");
  EXPECT_EQ(str.Mid(2, -1), "");

  EXPECT_EQ(6, str.Insert(99, '!'));
  EXPECT_EQ(8, str.Insert(-3, ">>"));
  EXPECT_EQ(str, ">>hello!");
  EXPECT_EQ(6, str.Delete(0, 2));
  EXPECT_EQ(5, str.Delete(5, 10));
  EXPECT_EQ(5, str.Delete(7));
  EXPECT_EQ(5, str.Delete(1, -1));
  EXPECT_EQ(str, "hello");
}

TEST(CString, FindSingleByte) {
  CString str("a,b,,c");
  EXPECT_EQ(1, str.Find(','));
  EXPECT_EQ(3, str.Find(',', 2));
  EXPECT_EQ(-1, str.Find(',', 99));
  EXPECT_EQ(-1, str.Find(',', -1));
  EXPECT_EQ(3, str.Find(",,"));
  EXPECT_EQ(2, str.Find("", 2));
  EXPECT_EQ(-1, str.Find(",,", 4));
  EXPECT_EQ(4, str.ReverseFind(','));
  EXPECT_EQ(2, str.FindOneOf("xb"));
  EXPECT_EQ(-1, str.FindOneOf("xyz"));
  EXPECT_EQ(CString("123abc").SpanIncluding("0123456789"), "123");
  EXPECT_EQ(CString("abc;def").SpanExcluding(";,"), "abc");
}

TEST(CString, CharacterOperationsSkipTrailBytes) {
  CodePage cp(932);
  // 0x83 0x5C is one character whose trail byte is the code of a backslash.
  const char szText[] = "a\x83\\b\\c";
  CString str(szText);
  EXPECT_EQ(4, str.Find('\\'));
  EXPECT_EQ(-1, str.Find('\\', 5));
  EXPECT_EQ(4, str.ReverseFind('\\'));
  EXPECT_EQ(-1, CString("\x83\\").ReverseFind('\\'));
  EXPECT_EQ(4, str.Find("\\"));
  EXPECT_EQ(1, str.FindOneOf("\x83\\"));
  EXPECT_EQ(str.SpanExcluding("\\"), "a\x83\\b");

  CString strRemove(szText);
  EXPECT_EQ(1, strRemove.Remove('\\'));
  EXPECT_EQ(strRemove, "a\x83\\bc");
  CString strReplace(szText);
  EXPECT_EQ(1, strReplace.Replace('\\', '/'));
  EXPECT_EQ(strReplace, "a\x83\\b/c");
  CString strTrim("\\\x83\\\\\\");
  strTrim.TrimRight('\\');
  EXPECT_EQ(strTrim, "\\\x83\\");
  strTrim.TrimLeft('\\');
  EXPECT_EQ(strTrim, "\x83\\");
  CString strReverse("ab\x83\\c");
  EXPECT_EQ(strReverse.MakeReverse(), "c\x83\\ba");

  // Under a single-byte page the same bytes are two characters.
  CodePage cpWestern(1252);
  EXPECT_EQ(2, str.Find('\\'));
}

TEST(CString, TrimReplaceAndFoldCase) {
  CString str(" \t\r\n\v\fword  \n");
  EXPECT_EQ(str.Trim(), "word");
  CString strLeft("  x ");
  EXPECT_EQ(strLeft.TrimLeft(), "x ");
  EXPECT_EQ(strLeft.TrimRight(), "x");
  CString strZeros("00120");
  EXPECT_EQ(strZeros.TrimLeft('0'), "120");
  EXPECT_EQ(strZeros.TrimRight('0'), "12");

  CString strReplace("a..b..c");
  EXPECT_EQ(2, strReplace.Replace("..", "-"));
  EXPECT_EQ(strReplace, "a-b-c");
  EXPECT_EQ(2, strReplace.Replace("-", "<->"));
  EXPECT_EQ(strReplace, "a<->b<->c");
  EXPECT_EQ(0, strReplace.Replace("", "x"));
  EXPECT_EQ(2, strReplace.Replace("<->", nullptr));
  EXPECT_EQ(strReplace, "abc");

  CodePage cp(1252);
  CString strCase("Caf\xE9 au Lait");
  EXPECT_EQ(strCase.MakeUpper(), "CAF\xC9 AU LAIT");
  EXPECT_EQ(strCase.MakeLower(), "caf\xE9 au lait");
}

TEST(CString, Format) {
  CString str;
  str.Format("%s=%05d;%.2f;%c", "n", 42, 2.5, 'z');
  EXPECT_EQ(str, "n=00042;2.50;z");
  // Longer than any small internal buffer.
  CString strLong;
  strLong.Format("%s|%s", CString('a', 300).GetString(), CString('b', 300).GetString());
  EXPECT_EQ(strLong, CString('a', 300) + "|" + CString('b', 300));
  str.AppendFormat("/%u", 7u);
  EXPECT_EQ(str, "n=00042;2.50;z/7");
}

TEST(CString, BufferAccess) {
  CString str("abc");
  char* pBuf = str.GetBuffer(10);
  EXPECT_EQ(0, std::strcmp(pBuf, "abc"));
  std::strcpy(pBuf, "0123456789");
  str.ReleaseBuffer();
  EXPECT_EQ(str, "0123456789");

  pBuf = str.GetBuffer(0);
  pBuf[4] = '\0';
  str.ReleaseBuffer();
  EXPECT_EQ(str, "0123");

  pBuf = str.GetBufferSetLength(2);
  EXPECT_EQ(2, str.GetLength());
  pBuf[1] = 'X';
  str.ReleaseBuffer(2);
  EXPECT_EQ(str, "0X");

  str.GetBuffer(5);
  EXPECT_THROW(str.ReleaseBuffer(6), CInvalidArgException);
  str.ReleaseBuffer(1);
  EXPECT_EQ(str, "0");
  EXPECT_THROW(str.GetBuffer(-1), CInvalidArgException);
  EXPECT_THROW(str.GetBufferSetLength(-1), CInvalidArgException);
}

}  // namespace
