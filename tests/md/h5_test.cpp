// Round trips through the HDF5 layer and its failure messages.
#include "md/h5.h"

#include <gtest/gtest.h>

namespace tevo {
namespace h5 {
namespace {

std::string thrown(const std::function<void()>& f) {
  try {
    f();
  } catch (const std::string& e) {
    return e;
  }
  return "(no throw)";
}

class H5Test : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = ::testing::TempDir() + "h5_" + ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".h5";
    file_ = create_file(path_);
  }
  hid_t f() const { return file_.get(); }
  std::string path_;
  h5_obj file_;
};

TEST_F(H5Test, GroupsAttributesAndSizes) {
  EXPECT_EQ(h5_noerr(3), 3);
  EXPECT_EQ(thrown([] { h5_noerr(-2); }), "error -2");
  EXPECT_EQ(thrown([] { h5_noerr("H5Xfoo", -1); }), "H5Xfoo error -1");

  EXPECT_FALSE(h5_exists(f(), "input"));
  { h5_obj g(H5Gclose, ensure_group(f(), "input")); }
  h5_obj g(H5Gclose, ensure_group(f(), "input"));  // opens the existing one
  EXPECT_TRUE(h5_exists(f(), "input"));
  { h5_obj a(H5Gclose, ensure_group(g.get(), "b_node")), b(H5Gclose, ensure_group(g.get(), "a_node")); }
  write_dset<float>(g.get(), "data", {2, 3}, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(node_names_in_group(f(), "input"), (std::vector<std::string>{"a_node", "b_node"}));  // groups only
  ensure_not_exist(g.get(), "b_node");
  ensure_not_exist(g.get(), "never_there");
  EXPECT_EQ(node_names_in_group(f(), "/input"), (std::vector<std::string>{"a_node"}));

  write_attribute(g.get(), "cutoff", 7.5f);
  write_attribute(g.get(), "count", 4);
  write_attribute(g.get(), "arguments", std::vector<std::string>{"rama_coord  ", "pos"});  // blanks are trimmed
  write_attribute(g.get(), "title", std::string("one"));
  EXPECT_EQ(read_attribute<float>(f(), "input", "cutoff"), 7.5f);
  EXPECT_EQ(read_attribute<int>(f(), "input", "count"), 4);
  EXPECT_EQ(read_attribute<std::vector<std::string>>(f(), "input", "arguments"),
            (std::vector<std::string>{"rama_coord", "pos"}));
  EXPECT_EQ(read_attribute<std::vector<std::string>>(f(), "input", "title"), (std::vector<std::string>{"one"}));
  EXPECT_EQ(read_attribute<float>(f(), "input", "absent", 2.5f), 2.5f);
  EXPECT_EQ(read_attribute<std::vector<std::string>>(f(), "input/a_node", "arguments", {}).size(), 0u);
  EXPECT_EQ(thrown([&] { read_attribute<float>(f(), "input", "absent"); }),
            "while reading attribute 'absent' of 'input'");
  EXPECT_EQ(thrown([&] { read_attribute<float>(f(), "input", "arguments"); }),
            "while reading attribute 'arguments' of 'input'");

  EXPECT_EQ(get_dset_size(2, g.get(), "data"), (std::vector<hsize_t>{2, 3}));
  EXPECT_EQ(thrown([&] { get_dset_size(3, g.get(), "data"); }), "wrong number of dimensions (expected 3, but got 2)");
  EXPECT_EQ(thrown([&] { get_dset_size(1, g.get(), "nothing"); }), "H5Dopen2 error -1");
  check_size(g.get(), "data", 2, 3);
  EXPECT_EQ(thrown([&] { check_size(g.get(), "data", 2, 4); }), "size mismatch (2, 4) but got (2, 3) in data");
  EXPECT_EQ(thrown([&] { check_size(g.get(), "data", 2, 3, 1); }),
            "wrong number of dimensions (expected 3, but got 2)");
  EXPECT_EQ(thrown([] { open_file("/nonexistent/x.h5", H5F_ACC_RDONLY); }),
            "cannot open the HDF5 file /nonexistent/x.h5");
}

TEST_F(H5Test, TraversalVisitsElementsInRowOrder) {
  std::vector<int> values(24);
  for (int i = 0; i < 24; ++i) values[i] = i;
  write_dset<int>(f(), "cube", {2, 3, 4}, values);
  int expected = 0;
  traverse_dset<3, int>(f(), "cube", [&](int i, int j, int k, int v) {
    EXPECT_EQ(v, expected++);
    EXPECT_EQ(v, (i * 3 + j) * 4 + k);
  });
  EXPECT_EQ(expected, 24);
  std::vector<double> read;
  traverse_dset<3, double>(f(), "cube", [&](int, int, int, double v) { read.push_back(v); });  // converted on read
  EXPECT_EQ(read.size(), 24u);
  EXPECT_EQ(thrown([&] { traverse_dset<2, int>(f(), "cube", [](int, int, int) {}); }),
            "while traversing cube, wrong number of dimensions (expected 2, but got 3)");

  write_string_dset(f(), "names", {"ALA", "GLY", "TRP"});
  std::string joined;
  traverse_string_dset<1>(f(), "names", [&](int i, const std::string& s) { joined += std::to_string(i) + s; });
  EXPECT_EQ(joined, "0ALA1GLY2TRP");
  // Variable-length strings are refused.
  h5_obj type(H5Tclose, H5Tcopy(H5T_C_S1));
  H5Tset_size(type.get(), H5T_VARIABLE);
  const hsize_t n = 1;
  h5_obj space(H5Sclose, H5Screate_simple(1, &n, nullptr));
  h5_obj d(H5Dclose, H5Dcreate2(f(), "vlen", type.get(), space.get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
  const char* text[1] = {"ALA"};
  H5Dwrite(d.get(), type.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, text);
  EXPECT_EQ(thrown([&] { traverse_string_dset<1>(f(), "vlen", [](int, const std::string&) {}); }),
            "while traversing vlen, variable-length strings not supported");
  EXPECT_EQ(thrown([&] { traverse_dset<1, float>(f(), "names", [](int, float) {}); }),
            "while traversing names, not a numeric dataset");
}

TEST_F(H5Test, ExtendableArraysGrowAlongTheirAxis) {
  for (bool compress : {false, true}) {
    const char* name = compress ? "packed" : "plain";
    h5_obj d(H5Dclose, create_earray(f(), name, H5T_NATIVE_FLOAT, {-1, 2, 3}, {100, 2, 3}, compress));
    EXPECT_EQ(get_dset_size(3, f(), name), (std::vector<hsize_t>{0, 2, 3}));
    std::vector<float> frames(18);
    for (int i = 0; i < 18; ++i) frames[i] = static_cast<float>(i);
    append_to_dset(d.get(), H5T_NATIVE_FLOAT, 0, frames.data(), 0);  // nothing
    EXPECT_EQ(get_dset_size(3, f(), name)[0], 0u);
    append_to_dset(d.get(), H5T_NATIVE_FLOAT, 6, frames.data(), 0);
    append_to_dset(d.get(), H5T_NATIVE_FLOAT, 12, frames.data() + 6, 0);
    EXPECT_EQ(get_dset_size(3, f(), name), (std::vector<hsize_t>{3, 2, 3}));
    std::vector<hsize_t> dims;
    EXPECT_EQ(read_dset<float>(f(), name, 3, &dims), frames);
    EXPECT_EQ(thrown([&] { append_to_dset(d.get(), H5T_NATIVE_FLOAT, 5, frames.data(), 0); }), "dimension mismatch");
  }
  // A second axis can grow too: one column per append.
  h5_obj d(H5Dclose, create_earray(f(), "columns", H5T_NATIVE_INT, {2, -1}, {2, 8}, false));
  const int a[2] = {1, 2}, b[2] = {3, 4};
  append_to_dset(d.get(), H5T_NATIVE_INT, 2, a, 1);
  append_to_dset(d.get(), H5T_NATIVE_INT, 2, b, 1);
  std::vector<hsize_t> dims;
  EXPECT_EQ(read_dset<int>(f(), "columns", 2, &dims), (std::vector<int>{1, 3, 2, 4}));
  EXPECT_EQ(thrown([&] {
              create_earray(f(), "x", H5T_NATIVE_INT, {2, 3}, {2, 3}, false);
            }),
            "an extendable array needs exactly one dimension of -1");
}

}  // namespace
}  // namespace h5
}  // namespace tevo
