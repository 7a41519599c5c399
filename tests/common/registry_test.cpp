#include "common/registry.h"

#include <gtest/gtest.h>

#include <cstring>
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
  EXPECT_EQ(g_brew_map.begin()->first, "about");
  EXPECT_EQ(g_brew_map.rbegin()->first, "vtf2pdb");
  // The help text's spelling is not a command; the registered one is.
  EXPECT_EQ(g_brew_map.count("sequence_convertor"), 0u);
  EXPECT_EQ(g_brew_map.count("sequence_converter"), 1u);
  for (const char* absent : {"help", "senet", "phsior", "imgor", "extract_feature", "img2ubyte"})
    EXPECT_EQ(g_brew_map.count(absent), 0u) << absent;
  EXPECT_EQ(GetBrewFunction("about"), g_brew_map["about"]);
}

TEST(Registry, UsageTextLayout) {
  const std::string text = kUsageText;
  EXPECT_EQ(text.size(), 3937u);
  EXPECT_EQ(text.rfind(" usage command line\n tevo <command> <args>\n \n", 0), 0u);
  EXPECT_EQ(text.substr(text.size() - 4), " \n \n");
  std::istringstream lines(text);
  std::string line;
  int headings = 0, omics = 0;
  while (std::getline(lines, line)) {
    ASSERT_FALSE(line.empty());  // empty lines hold one blank
    if (line.rfind(" work on the omics", 0) == 0) ++omics;
    if (line.rfind("  ", 0) == 0 && line[2] != ' ') {
      EXPECT_EQ(line[23], '-') << line;  // name padded to 21 columns
    } else if (line != " " && line[1] != ' ') {
      ++headings;
    }
  }
  EXPECT_EQ(omics, 2);
  EXPECT_EQ(headings, 13);  // 10 group headings and the 3 lines of the preamble
}

TEST(Flags, DefaultsThatCommandsDependOn) {
  EXPECT_EQ(FLAGS_lrate, static_cast<double>(0.04f));
  EXPECT_EQ(FLAGS_threshold, -1.0);
  EXPECT_EQ(FLAGS_n, -1);
  EXPECT_EQ(FLAGS_type, -1);
  EXPECT_EQ(FLAGS_phase, -1);
  EXPECT_EQ(FLAGS_nout, -1);
  EXPECT_EQ(FLAGS_atom_type, "CA");
  EXPECT_EQ(FLAGS_solver, "adam");
  EXPECT_EQ(FLAGS_taskname, "Untitled");
  EXPECT_EQ(FLAGS_gpu, "0");
  std::vector<gflags::CommandLineFlagInfo> all;
  gflags::GetAllFlags(&all);
  int ours = 0;
  for (const auto& flag : all)
    if (flag.filename.find("common/flags.cpp") != std::string::npos) ++ours;
  EXPECT_EQ(ours, 60);
}
