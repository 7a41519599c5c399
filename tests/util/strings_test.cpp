#include "util/strings.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "util/capture.h"

using namespace tevo;

TEST(Strings, Num2StringCutsInsteadOfRounding) {
  EXPECT_EQ(num2string(3.14159265, 5), "3.14159");
  EXPECT_EQ(num2string(2.9999999, 3), "3.000");  // "%f" rounds once to six places
  EXPECT_EQ(num2string(2.9996, 3), "2.999");
  EXPECT_EQ(num2string(0.5, 0), "0");
  EXPECT_EQ(num2string(-1.75, 1), "-1.7");
  EXPECT_EQ(num2string(12, 3), "12");  // integers have no decimals to cut
  EXPECT_EQ(num2string(1.5f, 2, 7), "   1.50");
  EXPECT_EQ(num2string(1.5f, 2, 7, true), "1.50   ");
  EXPECT_EQ(num2string(123.456, 1, 2), "123.4");  // never cut to fit a width
  EXPECT_EQ(num2string(1.0 / 0.0, 3), "inf");
  EXPECT_EQ(to_str("12.3456", 2), "12.34");
  EXPECT_EQ(to_str("12.3456", 0), "12");
  EXPECT_EQ(to_str("12.3", 4, ","), "12,3");
  EXPECT_THROW(to_str("12", 2), std::out_of_range);
}

TEST(Strings, TrimAllRunsFixedPasses) {
  auto trimmed = [](std::string s) { trim_all(s); return s; };
  EXPECT_EQ(trimmed("\t\v\f  abc \r\n\t"), "abc");  // right passes: tab, LF, VT, FF, CR, blank
  EXPECT_EQ(trimmed(" \tabc"), "\tabc");  // a blank before a tab keeps the tab
  EXPECT_EQ(trimmed("\nabc"), "\nabc");   // LF and CR are not taken from the left
  EXPECT_EQ(trimmed("abc\r \n"), "abc\r");  // the CR pass comes before the blank one
  EXPECT_EQ(trimmed(std::string("ab\0cd", 5)), "ab");
  EXPECT_EQ(trimmed("   "), "");
}

TEST(Strings, SplitAndReplace) {
  EXPECT_EQ(string_split("a,,b, ", ','), (std::vector<std::string>{"a", "b", ""}));  // blank fields stay
  EXPECT_EQ(string_split(" 1\t2 \t", '\t'), (std::vector<std::string>{"1", "2"}));
  EXPECT_TRUE(string_split(",,,", ',').empty());
  std::string s = "aaa";
  str_replace(s, "a", "aa");  // never rescans inserted text
  EXPECT_EQ(s, "aaaaaa");
  s = "abab";
  str_replace(s, "", "x");
  EXPECT_EQ(s, "abab");
  s = "a     b";  // five blanks: three become one (three left), then one pair
  replace_space(s);
  EXPECT_EQ(s, "a  b");
}

TEST(Strings, StringPrintLayout) {
  EXPECT_EQ(captured_stdout([] { string_print("ACDEFGH", 5); }), "-- ACDEF  5\n-- GH     7\n");
  EXPECT_EQ(captured_stdout([] { string_print("ACDEF", 5); }), "-- ACDEF  5\n--   5\n");
  const std::string text = captured_stdout([] { string_print(std::string(120, 'A'), 3); });  // width < 5: 50
  EXPECT_EQ(text, "-- " + std::string(50, 'A') + "  50\n-- " + std::string(50, 'A') + " 100\n-- " +
                      std::string(20, 'A') + std::string(30, ' ') + " 120\n");
  const std::string html = string_print_seq(std::string(25, 'K'), 20);
  EXPECT_NE(html.find("        10        20"), std::string::npos);
  EXPECT_NE(html.find(std::string(20, 'K') + "\n"), std::string::npos);
  EXPECT_NE(html.find("KKKKK\n</pre>"), std::string::npos);
}
