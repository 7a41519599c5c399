// Pross<T> samples: the window around each residue with its centre twice,
// zero rows beyond the chain, min-max scaling and the 9:1 file split.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "net/pross.h"

namespace {

struct DataDir {
  std::string path = testing::TempDir() + "/pross_" + std::to_string(getpid()) + "/";
  DataDir() { std::system(("mkdir -p " + path).c_str()); }
  ~DataDir() { std::system(("rm -rf " + path).c_str()); }
  void write(const std::string& name, const std::string& text) const { std::ofstream(path + name) << text; }
};

TEST(Pross, WindowsWithTheCentreTwiceAndZerosBeyondTheChain) {
  DataDir dir;
  // Residue codes A = 1, R = 2, N = 3; one feature each; classes 0, 1, 2.
  dir.write("list.txt", "# chains\nabc\n");
  tevo::Pross<double> pross(dir.path, "job");
  pross.set_dirt(dir.path);
  pross.set_window(3);
  pross.set_phase(true);  // predicting: every file is test data, no class column read
  dir.write("abc.csv", "A,4\nR,5\nN,6\n");
  pross.make_data();
  ASSERT_EQ(pross.sample_size, 8);  // (3 rows + centre again) x (code + 1 feature)
  ASSERT_EQ(pross.test_data.size(), 24u);
  // Residue 0: [zero row] A A R = 0 0 1 4 1 4 2 5, scaled by (v - 0) / 5.
  const double first[8] = {0, 0, 0.2, 0.8, 0.2, 0.8, 0.4, 1.0};
  for (int k = 0; k < 8; ++k) EXPECT_NEAR(pross.test_data[k], first[k], 1e-12) << k;
  // Residue 2: R N N [zero row] = 2 5 3 6 3 6 0 0, scaled by v / 6.
  const double last[8] = {2, 5, 3, 6, 3, 6, 0, 0};
  for (int k = 0; k < 8; ++k) EXPECT_NEAR(pross.test_data[16 + k], last[k] / 6, 1e-12) << k;
  EXPECT_EQ(pross.test_names, std::vector<std::string>{"abc"});
  EXPECT_EQ(pross.test_lengths, std::vector<int>{3});
}

TEST(Pross, NineInTenFilesTrainAndTheRestTest) {
  DataDir dir;
  std::string list;
  for (int f = 0; f < 10; ++f) {
    list += "c" + std::to_string(f) + "\n";
    dir.write("c" + std::to_string(f) + ".csv", "G,1,0\nV,2,2\n");
  }
  for (int files : {10, 1}) {
    dir.write("list.txt", list);
    tevo::Pross<float> pross(dir.path, "job");
    pross.set_dirt(dir.path);
    pross.set_window(1);
    pross.set_number(files);  // at most this many files of the list
    testing::internal::CaptureStdout();
    pross.make_data();
    EXPECT_NE(testing::internal::GetCapturedStdout().find("ratio of training and validation is set to 9:1"),
              std::string::npos);
    EXPECT_EQ(pross.train_files, files == 10 ? 9 : 0);
    EXPECT_EQ(pross.train_labels.size(), files == 10 ? 18u : 0u);
    EXPECT_EQ(pross.test_labels, (std::vector<int>{0, 2}));
    EXPECT_EQ(pross.sample_size, 4);  // window 1: the row and the row again
  }
}

}  // namespace
