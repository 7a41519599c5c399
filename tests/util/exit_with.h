// Death tests on the program's messages, which go to standard output.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

// Runs `statement` in a child that must exit with status 1 and print text
// matching `regex` (standard output is sent to where the matcher looks).
#define EXPECT_EXIT_1(statement, regex)                              \
  do {                                                               \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                  \
    EXPECT_EXIT(                                                     \
        {                                                            \
          std::fflush(stdout);                                       \
          dup2(2, 1);                                                \
          statement;                                                 \
        },                                                           \
        ::testing::ExitedWithCode(1), regex);                        \
  } while (0)
