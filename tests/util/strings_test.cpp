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
  EXPECT_EQ(num2string(5, 0), "5");
  EXPECT_EQ(num2string(12, 3), "12");  // integers have no decimals to cut
  EXPECT_EQ(num2string(true, 0), "1");
  EXPECT_EQ(num2string(42UL, 0), "42");
  EXPECT_EQ(num2string(1.5f, 2, 7), "   1.50");
  EXPECT_EQ(num2string(1.5f, 2, 7, true), "1.50   ");
  EXPECT_EQ(num2string(123.456, 1, 2), "123.4");  // never cut to fit a width
  EXPECT_EQ(num2string(1.0 / 0.0, 3), "inf");
}

TEST(Strings, ToStr) {
  EXPECT_EQ(to_str("12.3456", 2), "12.34");
  EXPECT_EQ(to_str("12.3456", 0), "12");
  EXPECT_EQ(to_str("12.3", 4, ","), "12,3");
  EXPECT_EQ(to_str("12", 0), "12");
  EXPECT_THROW(to_str("12", 2), std::out_of_range);
}

TEST(Strings, TrimAllRunsFixedPasses) {
  auto trimmed = [](std::string s) { trim_all(s); return s; };
  EXPECT_EQ(trimmed("\t\v\f  abc \r\n\t"), "abc");  // right passes: tab, LF, VT, FF, CR, blank
  EXPECT_EQ(trimmed("\tabc\t"), "abc");
  EXPECT_EQ(trimmed(" \tabc"), "\tabc");  // a blank before a tab keeps the tab
  EXPECT_EQ(trimmed("\nabc"), "\nabc");   // LF and CR are not taken from the left
  EXPECT_EQ(trimmed("abc\r \n"), "abc\r");  // the CR pass comes before the blank one
  EXPECT_EQ(trimmed("abc \r"), "abc");
  EXPECT_EQ(trimmed(std::string("ab\0cd", 5)), "ab");
  EXPECT_EQ(trimmed("   "), "");
  EXPECT_EQ(trimmed(""), "");
}

TEST(Strings, SplitSkipsEmptyFieldsKeepsBlankOnes) {
  EXPECT_EQ(string_split("a,,b, ", ','), (std::vector<std::string>{"a", "b", ""}));
  EXPECT_EQ(string_split(" 1\t2 \t", '\t'), (std::vector<std::string>{"1", "2"}));
  EXPECT_EQ(string_split("x,", ','), (std::vector<std::string>{"x"}));
  EXPECT_TRUE(string_split("", ',').empty());
  EXPECT_TRUE(string_split(",,,", ',').empty());
}

TEST(Strings, ReplaceNeverRescansInsertedText) {
  std::string s = "aaa";
  str_replace(s, "a", "aa");
  EXPECT_EQ(s, "aaaaaa");
  s = "abab";
  str_replace(s, "", "x");
  EXPECT_EQ(s, "abab");
  s = "x  y   z    w";
  replace_space(s);
  EXPECT_EQ(s, "x y z w");
  s = "a     b";  // five blanks: three become one (three left), then one pair
  replace_space(s);
  EXPECT_EQ(s, "a  b");
}

TEST(Strings, StringPrintLayout) {
  EXPECT_EQ(captured_stdout([] { string_print("ACDEFGH", 5); }), "-- ACDEF  5\n-- GH     7\n");
  EXPECT_EQ(captured_stdout([] { string_print("ACDEF", 5); }), "-- ACDEF  5\n--   5\n");
  const std::string long_seq(120, 'A');
  const std::string text = captured_stdout([&] { string_print(long_seq, 3); });  // width < 5: 50
  EXPECT_EQ(text, "-- " + std::string(50, 'A') + "  50\n-- " + std::string(50, 'A') + " 100\n-- " +
                      std::string(20, 'A') + std::string(30, ' ') + " 120\n");
}

TEST(Strings, SequenceHtmlHasRuler) {
  const std::string html = string_print_seq(std::string(25, 'K'), 20);
  EXPECT_NE(html.find("        10        20"), std::string::npos);
  EXPECT_NE(html.find(std::string(20, 'K') + "\n"), std::string::npos);
  EXPECT_NE(html.find("KKKKK\n</pre>"), std::string::npos);
}
