#include "util/console.h"

#include <gtest/gtest.h>

#include "util/capture.h"

using namespace tevo;

TEST(Console, ColoursAndNumberedMessages) {
  EXPECT_EQ(captured_stdout([] { print_text("hi", kBlue, ' '); }), "-- \x1b[34mhi\x1b[0m ");
  EXPECT_EQ(captured_stdout([] { print_text("hi", 7); }), "-- hi\n");  // not a colour: plain
  EXPECT_EQ(captured_stdout([] { print_info("", 0); }), "-- \x1b[32mHi there, I am Ragraf!\x1b[0m\n");
  EXPECT_EQ(captured_stdout([] { print_info("FASTQ file", 4); }),
            "-- \x1b[31mError: where to locate the FASTQ file?\x1b[0m\n");
  EXPECT_EQ(captured_stdout([] { print_info("slow", 11); }), "-- \x1b[33mWarning: slow\x1b[0m\n");
  EXPECT_EQ(captured_stdout([] { print_info("ignored", 51); }), "-- \x1b[34mInvocation:\x1b[0m\n");
  // Codes outside the table, and all from 52 on, print the text plainly.
  EXPECT_EQ(captured_stdout([] { print_info("", 10); }), "-- \n");
  EXPECT_EQ(captured_stdout([] { print_info("abc", 52); }), "-- abc\n");
}

TEST(Console, ProgressBarFormats) {
  EXPECT_EQ(captured_stdout([] { progress_bar<double>("Reading", 1, 3, "files", -999.0, 0); }),
            "\r-- Reading (1/3 files) [=========                  ] 33.33% completed ");
  EXPECT_EQ(captured_stdout([] { progress_bar<double>("Fit", 1, 2, "loss", 0.25, 0); }),
            "\r-- Fit 1/2 loss 0.250 [=============              ] 50.00% completed ");
  EXPECT_EQ(captured_stdout([] { progress_bar<double>("Fit", 1, 2, "acc", 0.25, 1); }),
            "\r-- Fit 1/2 acc 25.000% [=============              ] 50.00% completed ");
  EXPECT_EQ(captured_stdout([] { progress_bar<double>("Fit", 1, 2, "err", 0.25, 2); }),
            "\r-- Fit 1/2 err 2.50e-01 [=============              ] 50.00% completed ");
  EXPECT_EQ(captured_stdout([] { progress_bar<float>("Only", -1, 4, "", 0.0f, 0); }),
            "\r-- Only[                           ] -25.00% completed ");
  // Degenerate counts draw an empty bar instead of overflowing it.
  EXPECT_NO_FATAL_FAILURE(captured_stdout([] { progress_bar<int>("x", 5, 0, "", -999, 0); }));
}
