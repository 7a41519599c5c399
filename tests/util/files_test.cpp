// Table files: exact bytes written, reader rules, bzip2 and HDF5 round trips,
// output names, and the failures that end the run.
#include "util/files.h"

#include <bzlib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "util/hdf5_write.h"
#include "util/exit_with.h"
#include "util/random.h"

using namespace tevo;
namespace fs = boost::filesystem;

namespace {

class Files : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / fs::unique_path("tevo-files-%%%%-%%%%");
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string path(const std::string& name) const { return (dir_ / name).string(); }
  std::string put(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }
  static std::string slurp(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  std::string put_bz2(const std::string& name, const std::string& content) const {
    std::vector<char> out(content.size() + content.size() / 50 + 1024);
    unsigned int size = static_cast<unsigned int>(out.size());
    EXPECT_EQ(BZ2_bzBuffToBuffCompress(out.data(), &size, const_cast<char*>(content.data()),
                                       static_cast<unsigned int>(content.size()), 9, 0, 0), BZ_OK);
    return put(name, std::string(out.data(), size));
  }
  fs::path dir_;
};

const std::string kHeaderBlock = "# title\n# TEVANA (Tevo version 2.6.9) \n# tevo@tevana.org\n\n";

}  // namespace

TEST_F(Files, WriteMatrixModes) {
  double r0[3] = {3.7, 0.0, 1.23456789}, r1[3] = {0.0, 0.0, 0.0}, r2[3] = {-2.5, -0.1, 1e-3};
  const double* m[3] = {r0, r1, r2};
  std::string file = path("dense");
  write_matrix(file, m, 3, 3, 0, "title", "\t", ".tsv", "f", 3);
  EXPECT_EQ(file, path("dense") + ".tsv");  // the caller's name takes the extension
  // Column 0 and exact zeros use "%1.f": no decimals, and "%1.f" rounds.
  EXPECT_EQ(slurp(file), kHeaderBlock + "4\t0\t1.235\n0\t0\t0\n-2\t-0.100\t0.001\n\n");
  std::string dense = path("one");
  write_matrix(dense, m, 3, 3, 1, "", ",", ".csv", "e", 2);
  EXPECT_EQ(slurp(dense), "3.70e+00,0.00e+00,1.23e+00\n0.00e+00,0.00e+00,0.00e+00\n-2.50e+00,-1.00e-01,1.00e-03\n\n");
  int i0[2] = {7, 0}, i1[2] = {-3, 12};
  const int* im[2] = {i0, i1};
  write_matrix(path("ints"), im, 2, 2, 1, "", " ", ".txt", "i", 5);
  EXPECT_EQ(slurp(path("ints.txt")), "7 0\n-3 12\n\n");
  write_matrix(path("walked"), im, 2, 2, 3, "", ",", ".csv", "f", 2);
  EXPECT_EQ(slurp(path("walked.csv")), "\n");  // mode 3: no cells
  write_matrix(path("empty"), m, 0, 3, 0, "title");  // no rows: the header and one empty line
  EXPECT_EQ(slurp(path("empty.csv")), kHeaderBlock + "\n");

  // Sparse: mode 2 numbers from 1 or takes the given ids, mode 4 numbers from 0.
  float f0[3] = {1.5f, 0.0f, 0.0f}, f1[3] = {0.0f, 0.0f, -2.0f};
  const float* s[2] = {f0, f1};
  write_matrix(path("s2"), s, 2, 3, 2, "", ",", ".csv", "f", 2);
  EXPECT_EQ(slurp(path("s2.csv")), "1,1,1.50\n2,3,-2.00\n\n");
  const int rows[2] = {10, 20}, cols[3] = {100, 200, 300};
  write_matrix(path("s2ids"), s, 2, 3, 2, "", "\t", ".csv", "f", 1, rows, cols);
  EXPECT_EQ(slurp(path("s2ids.csv")), "10\t100\t1.5\n20\t300\t-2.0\n\n");
  write_matrix(path("s4"), s, 2, 3, 4, "", ",", ".csv", "f", 2, rows, cols);
  EXPECT_EQ(slurp(path("s4.csv")), "0,0,1.50\n1,2,-2.00\n\n");
}

TEST_F(Files, OtherWritersAndHeaders) {
  std::string text = "Learned model", mark = "//";
  copyright(text, mark);
  EXPECT_EQ(mark, "// ");
  EXPECT_EQ(text, "// Learned model\n// TEVANA (Tevo version 2.6.9) \n// tevo@tevana.org\n");
  const double v[3] = {0.5, 0.0, -1.25};
  write_vector(path("vec"), v, 3, "title", ",", ".csv", "f", "w", 3, "value");
  write_vector(path("vec"), v, 1, "", ",", ".csv", "f", "a+", 1);
  EXPECT_EQ(slurp(path("vec.csv")), kHeaderBlock + "value\n0.500\n0.000\n-1.250\n0.5\n");
  write_string(path("log"), "1-1-1-0\nfirst\n", "w");
  write_string(path("log"), "second", "a+", "", "#", "\n");
  EXPECT_EQ(slurp(path("log")), "1-1-1-0\nfirst\nsecond\n");
  write_string(path("log"), "x", "w", "title", "#", "", ".txt");
  EXPECT_EQ(slurp(path("log.txt")), kHeaderBlock + "x");
  const double r0[2] = {1, 0.25}, r1[2] = {2, 0.5};
  const double* m[2] = {r0, r1};
  write_matrix_w_index(path("idx"), m, 2, 2, {" ", "A1", "B2"}, {"seq1", "seq2"}, ",", ".csv", "f", 2);
  EXPECT_EQ(slurp(path("idx.csv")), " ,A1,B2\nseq1,1.00,0.25\nseq2,2.00,0.50\n");
  write_matrix_w_index(path("cols"), m, 2, 2, {"Identity", "Counts"}, {}, ",", ".csv", "f", 1);
  EXPECT_EQ(slurp(path("cols.csv")), "Identity,Counts\n1.0,0.2\n2.0,0.5\n");
}

TEST_F(Files, UnwritableTargetsEndTheRun) {
  const double r0[1] = {1};
  const double* m[1] = {r0};
  EXPECT_EXIT_1(write_matrix(path("no/such/dir/x"), m, 1, 1), "Error: cannot write out .*no/such/dir/x.csv");
  EXPECT_EXIT_1(write_string(path("no/such/file"), "x"), "Error: cannot open ");
  if (access("/dev/full", W_OK) == 0) {
    // Writes to /dev/full fail with "no space left" once the buffer is flushed.
    std::vector<double> big(100000, 1.5);
    std::vector<const double*> rows(1000, big.data());
    EXPECT_EXIT_1(write_matrix(std::string("/dev/full"), rows.data(), 1000, 100, 1, "", ",", ""),
                  "Error: cannot write out /dev/full");
    EXPECT_EXIT_1(write_vector("/dev/full", big.data(), 1000, "", ",", ""), "cannot write out");
    EXPECT_EQ(access("/dev/full", W_OK), 0);  // a device is never removed as a failed output
  }
}

TEST_F(Files, ParseDoubleAgreesWithStrtod) {
  std::vector<std::string> cases = {
      "0", "-0", "+1", "1.", ".5", "-.5e-3", "1e22", "1e23", "9007199254740993", "123456789012345678901",
      "0.1", "0.000000000000000000000000001", "1e", "1e+", "2E-5", "0x1A", "inf", "-Infinity", "nan", "abc",
      "", "-", ".", "12abc", " 7", "\n8", "1.5e-400", "1e400", "5e-324", "00012.5000",
      "4.9406564584124654e-324", "1.7976931348623157e308"};
  MT19937<double> rng;
  rng.init_genrand(12);
  char buf[64];
  const char* formats[] = {"%.6f", "%.17g", "%.3e", "%.12f", "%g"};
  for (int i = 0; i < 20000; ++i) {
    const double x = (rng.genrand_res53() - 0.5) * std::pow(10.0, static_cast<int>(rng.genrand_int32() % 40) - 20);
    std::snprintf(buf, sizeof buf, formats[i % 5], x);
    cases.emplace_back(buf);
  }
  for (const std::string& c : cases) {
    const double want = std::strtod(c.c_str(), nullptr), got = parse_double(c.c_str());
    if (std::isnan(want))
      EXPECT_TRUE(std::isnan(got)) << c;
    else  // bit for bit, sign of 0 too
      ASSERT_EQ(std::memcmp(&want, &got, sizeof got), 0) << c << " " << want << " " << got;
  }
  EXPECT_EQ(narrow_number<int>(-3.9), -3);
  EXPECT_EQ(narrow_number<int>(1e20), 2147483647);
  EXPECT_EQ(narrow_number<int>(-1e20), -2147483647 - 1);
  EXPECT_EQ(narrow_number<int>(std::nan("")), 0);
  EXPECT_TRUE(std::isinf(narrow_number<float>(1e300)));
}

TEST_F(Files, TableReaderRules) {
  // Comments and empty lines drop out; "abc" reads 0; fields are trimmed by
  // fixed passes; empty fields vanish; rows keep their own length; the last
  // line needs no line feed; a NUL ends its field.
  const std::string text = std::string("# heading\n\n1\t2.5\t-3\n\tabc\t \t7 \r\n#x\n 4\t\v5\n") +
                           "1e3\t\t2\n \t9\n8" + '\0' + "99\t1";
  std::vector<std::vector<double>> m;
  std::vector<long> lines;
  read_matrix_from_file(m, put("t.tsv", text), '\t', &lines);
  EXPECT_EQ(m, (std::vector<std::vector<double>>{{1, 2.5, -3}, {0, 0, 7}, {4, 5}, {1000, 2}, {0, 9}, {8, 1}}));
  EXPECT_EQ(lines, (std::vector<long>{3, 4, 6, 7, 8, 9}));
  // Over 4 MiB: lines cross the read blocks, and the table is sized from the file.
  const int many_rows = 400000;
  std::string many;
  for (int i = 1; i <= many_rows; ++i) many += std::to_string(i) + (i % 3 ? "\t1.25\n" : "\n#\n");
  ASSERT_GT(many.size(), std::size_t(4) << 20);
  m.clear();
  lines.clear();
  read_matrix_from_file(m, put("many.tsv", many), '\t', &lines);
  ASSERT_EQ(m.size(), std::size_t(many_rows));
  for (int i = 1; i <= many_rows; ++i) {
    ASSERT_EQ(m[i - 1][0], i);
    ASSERT_EQ(m[i - 1].size(), i % 3 ? 2u : 1u) << i;
    ASSERT_EQ(lines[i - 1], i + (i - 1) / 3);
  }
  // " \t5": the blank pass comes after the tab pass, so the tab survives and strtod skips it.
  std::vector<std::vector<int>> ints;
  read_matrix_from_file(ints, put("i.csv", "1.9,-2.9,x, \t5\n"), ',');
  EXPECT_EQ(ints, (std::vector<std::vector<int>>{{1, -2, 0, 5}}));

  std::vector<std::vector<double>> t;
  std::vector<std::string> labels;
  read_matrix_w_index(t, labels, put("w.tsv", "a\t1\t2\nb\t3\n"), 0);  // skip 0 counts as 1
  read_matrix_w_index(t, labels, put("w2.tsv", "1\tx\t5\n"), 2);  // the label is the last skipped field
  EXPECT_EQ(labels, (std::vector<std::string>{"a", "b", "x"}));
  EXPECT_EQ(t, (std::vector<std::vector<double>>{{1, 2}, {3}, {5}}));
  t.clear();
  labels.clear();
  read_matrix_from_atgc_file(labels, t, put("a.tsv", "name\tv1\tv2\nACGT\t1\t2\n GG\t3\n"));
  EXPECT_EQ(labels, (std::vector<std::string>{"ACGT", "GG"}));
  EXPECT_EQ(t, (std::vector<std::vector<double>>{{1, 2}, {3}}));

  double flat[5] = {0, 0, 0, 0, 0};
  testing::internal::CaptureStdout();
  EXPECT_EQ(read_matrix_from_file(flat, put("p.txt", "# c\n1 2,3\n\n4\t5\n"), "psi-psi", 5), 5);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "-- Loading psi-psi probilities ... done.\n");
  EXPECT_EQ(flat[4], 5);
  EXPECT_EXIT_1(read_matrix_from_file(flat, put("q.txt", "1 2 3\n4 5 6\n"), "x", 5), "line 2: more than 5 numbers");
  EXPECT_EXIT_1(read_matrix_from_file(flat, path("none"), "x", 5), "Error: I cannot open file: ");
  EXPECT_EXIT_1(read_matrix_from_file(m, path("missing.tsv")), "Error: I cannot load data from: <.*missing.tsv>");
  EXPECT_EXIT_1(read_matrix_from_file(m, dir_.string()), "cannot load data from");
}

TEST_F(Files, LinesNamesAndDirectories) {
  const std::string file = put("l.txt", "# c\nkey = 1\n\n\r\nlast");
  EXPECT_EQ(read_file(file), (std::vector<std::string>{"key = 1", "\r", "last"}));
  auto mark = [](const std::string& line, char c) { return line.empty() ? line : c + line; };  // "" drops
  EXPECT_EQ(read_file<char>(file, +mark, '>'), (std::vector<std::string>{"># c", ">key = 1", ">\r", ">last"}));
  EXPECT_EXIT_1(read_file(path("none")), "Error: cannot open ");
  long count = 0;
  get_num_of_lines_in_file(&count, file, 0);
  EXPECT_EQ(count, 4);  // "\r" is not empty
  get_num_of_lines_in_file(&count, file, 2);
  EXPECT_EQ(count, 2);
  EXPECT_EXIT_1(get_num_of_lines_in_file(&count, path("none")), "cannot open");

  std::string out;
  define_output_file_name(out, "/data/run.1/reads.fastq", "/out/", "sff_cvt.fastq");
  EXPECT_EQ(out, "/out/reads_sff_cvt.fastq");
  define_output_file_name(out, "C:\\x\\a.b.c", "", "s");
  EXPECT_EQ(out, "a.b_s");
  for (auto [in, want] : std::vector<std::pair<std::string, std::string>>{
           {"a/b", "a/b/"}, {"a/b/", "a/b/"}, {"a\\", "a\\"}, {"a\\b", "a\\b/"}, {"", "/"}}) {
    dirt_check(in);
    EXPECT_EQ(in, want);
  }
  put("z.txt", "");
  std::vector<std::string> names = {"kept"};
  get_file_list(names, dir_.string());
  EXPECT_EQ(names, (std::vector<std::string>{"kept", path("l.txt"), path("z.txt")}));
  EXPECT_EXIT_1(get_file_list(names, path("none")), "Error: cannot open ");
}

TEST_F(Files, Bzip2RoundTrips) {
  const std::string table = "# c\n1\t2\n\n3\t4\t5\n";
  const std::string one = put_bz2("t.bz2", table);
  std::string text;
  read_bz2_file(text, one);
  EXPECT_EQ(text, table);
  EXPECT_EQ(read_matrix_from_bz2file(one), (std::vector<std::string>{"1\t2", "3\t4\t5"}));
  Bz2Handle* h = bz2_open(one);
  ASSERT_NE(h, nullptr);
  std::string piecewise = "x";
  bz2_read(piecewise, h);
  bz2_close(h);
  EXPECT_EQ(piecewise, "x" + table);
  // Two streams back to back (as parallel compressors write) read as one,
  // and a line longer than the read block makes the buffer grow.
  std::string long_line(5 << 20, ' ');
  long_line += "3\t1\n";
  put("cat.bz2", slurp(put_bz2("p1", table)) + slurp(put_bz2("p2", long_line)));
  std::vector<std::vector<double>> m;
  read_matrix_from_bz2file(m, path("cat.bz2"));
  EXPECT_EQ(m, (std::vector<std::vector<double>>{{1, 2}, {3, 4, 5}, {3, 1}}));
  text.clear();
  read_bz2_file(text, path("cat.bz2"));
  EXPECT_EQ(text.size(), table.size() + long_line.size());

  // Bad input: not bzip2, cut short, corrupt, missing.
  EXPECT_EXIT_1(read_matrix_from_bz2file(m, put("plain.bz2", "1\t2\n")), "not a bzip2 file");
  std::string whole = slurp(one);
  EXPECT_EXIT_1(read_bz2_file(text, put("cut.bz2", whole.substr(0, whole.size() / 2))),
                "Error: .*cut.bz2: the bzip2 data is");
  whole[whole.size() / 2] ^= 0x55;
  EXPECT_EXIT_1(read_bz2_file(text, put("bad.bz2", whole)), "the bzip2 data is corrupt");
  EXPECT_EXIT_1(bz2_open(path("none.bz2")), "Error: cannot open ");
  EXPECT_EXIT_1(read_bz2_file(text, path("none.bz2")), "Error: cannot read ");
  EXPECT_EXIT_1(read_matrix_from_bz2file(m, path("none.bz2")), "cannot load data");
}

TEST_F(Files, Hdf5DataSetRoundTrip) {
  const std::string name = path("t.h5");
  const hid_t file = H5Fcreate(name.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
  ASSERT_GE(file, 0);
  const hid_t group = H5Gcreate2(file, "input", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
  const double pos[2][3] = {{1, 2, 3}, {4, 5, 6.5}};
  const hsize_t dims[2] = {2, 3};
  hdf5_write(group, H5T_NATIVE_DOUBLE, "pos", 2, dims, pos);
  H5Gclose(group);
  H5Fclose(file);
  const hid_t again = H5Fopen(name.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
  const hid_t set = H5Dopen2(again, "/input/pos", H5P_DEFAULT);
  double back[2][3] = {};
  ASSERT_GE(H5Dread(set, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, back), 0);
  H5Dclose(set);
  H5Fclose(again);
  EXPECT_EQ(std::memcmp(back, pos, sizeof pos), 0);
  // A second data set of the same name cannot be created: an error, not a silent gap.
  EXPECT_EXIT_1(
      {
        H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
        hdf5_write(H5Fopen(name.c_str(), H5F_ACC_RDWR, H5P_DEFAULT), H5T_NATIVE_DOUBLE, "/input/pos", 2, dims, pos);
      }, "Error: cannot write the HDF5 data set /input/pos");
}

TEST_F(Files, RealTablesFromSharedData) {
  const std::string iris = std::string(TEVO_SHARED_DATA) + "/tables/sklearn/iris.csv";
  if (!fs::exists(iris)) GTEST_SKIP() << "no shared data";
  std::vector<std::vector<double>> m;
  read_matrix_from_file(m, iris, ',');
  ASSERT_EQ(m.size(), 151u);  // the count line and 150 flowers
  EXPECT_EQ(m[0], (std::vector<double>{150, 4, 0, 0, 0}));  // class names read as 0
  double sepal = 0;
  for (std::size_t i = 1; i < m.size(); ++i) {
    ASSERT_EQ(m[i].size(), 5u) << i;
    sepal += m[i][0];
  }
  EXPECT_NEAR(sepal / 150, 5.843333, 1e-6);  // the published mean sepal length
  // The same table written and read back gives the same numbers.
  std::vector<double*> rows;
  for (auto& r : m) rows.push_back(r.data());
  std::string out = path("iris");
  write_matrix(out, rows.data(), 151, 5, 1, "iris", ",", ".csv", "f", 4);
  std::vector<std::vector<double>> back;
  read_matrix_from_file(back, out, ',');
  EXPECT_EQ(back, m);
}
