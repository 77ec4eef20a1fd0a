#include "frame/numbers.h"

#include <locale.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Value texts of every shape the tables hold and some they should not:
// conversions agree with the C library's, bit for bit.
TEST(Numbers, AgreeWithTheCLibrary) {
  const locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
  std::vector<std::string> arTexts = {
      "",     "  ", "-",   "+",    "-0",      "-0.0",  "0.1", ".5",  "5.",  "-.5",   "  12",
      "- 12", "+7", "1e5", "0x1A", "1.5e-3x", "86.49", "\t3", "nan", "inf", "1.2.3", "12abc"};
  // Past the limits of LONG and of a double's exact integers.
  arTexts.insert(arTexts.end(), {"2147483648", "-2147483649", "9007199254740993",
                                 "12345678901234567890", "0.30000000000000004"});
  std::mt19937 random(3);
  const char szChars[] = "0123456789.-+ e";
  for (int n = 0; n < 20000; ++n) {
    std::string strText;
    for (int nLen = static_cast<int>(random() % 22); nLen > 0; --nLen) {
      strText += n % 2 == 0 ? szChars[random() % 10] : szChars[random() % (sizeof(szChars) - 1)];
    }
    arTexts.push_back(strText);
  }
  for (const std::string& strText : arTexts) {
    const long long nWant = std::strtoll(strText.c_str(), nullptr, 10);
    EXPECT_EQ(TextToLong(strText.c_str()), std::clamp<long long>(nWant, INT_MIN, INT_MAX))
        << strText;
    const double dWant = strtod_l(strText.c_str(), nullptr, cLocale);
    const double dGot = TextToReal(strText.c_str());
    EXPECT_EQ(std::memcmp(&dGot, &dWant, sizeof(double)), 0) << strText;
  }
  EXPECT_EQ(TextToLong(nullptr), 0);
  EXPECT_EQ(TextToReal(nullptr), 0.0);
  freelocale(cLocale);
}
