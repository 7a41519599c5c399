#include "common/registry.h"

#include <gtest/gtest.h>

#include <sstream>

#include "common/banners.h"
#include "tevo.h"

using namespace tevo;

TEST(Registry, HoldsTheFiftyFiveCommandsInByteOrder) {
  ASSERT_EQ(g_brew_map.size(), 55u);
  std::string previous;
  for (const auto& entry : g_brew_map) {
    EXPECT_LT(previous, entry.first);
    EXPECT_EQ(entry.first.find_first_of(" \t\n"), std::string::npos);
    EXPECT_NE(entry.second, nullptr) << entry.first;
    previous = entry.first;
  }
  // The help text's spelling is not a command; the registered one is.
  EXPECT_EQ(g_brew_map.count("sequence_convertor"), 0u);
  EXPECT_EQ(g_brew_map.count("sequence_converter"), 1u);
  for (const char* absent : {"help", "senet", "phsior", "imgor", "extract_feature", "img2ubyte"})
    EXPECT_EQ(g_brew_map.count(absent), 0u) << absent;
  EXPECT_EQ(GetBrewFunction("about"), g_brew_map["about"]);
}

TEST(Registry, UsageTextLayout) {
  const std::string text = kUsageText;
  EXPECT_EQ(text.rfind(" usage command line\n tevo <command> <args>\n \n", 0), 0u);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    ASSERT_FALSE(line.empty());  // empty lines hold one blank
    if (line.rfind("  ", 0) == 0 && line[2] != ' ') {
      EXPECT_EQ(line[23], '-') << line;  // name padded to 21 columns
    }
  }
}

// The commands test these sentinels to pick their own defaults.
TEST(Flags, SentinelDefaults) {
  EXPECT_EQ(FLAGS_threshold, -1.0);
  EXPECT_EQ(FLAGS_n, -1);
  EXPECT_EQ(FLAGS_type, -1);
  EXPECT_EQ(FLAGS_atom_type, "CA");
}
