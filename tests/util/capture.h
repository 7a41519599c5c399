// Captures what a piece of code prints to standard output.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

template <typename F>
std::string captured_stdout(F&& body) {
  testing::internal::CaptureStdout();
  body();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}
