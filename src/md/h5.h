// Small access layer over HDF5 for the coarse-grained configuration and
// trajectory file. Every failure is thrown as a std::string; HDF5's own error
// printing is switched off so that users never see its stack.
#pragma once

#include <hdf5.h>  // hid_t, herr_t, hsize_t appear in the signatures

#include <string>
#include <type_traits>
#include <vector>

namespace tevo {
namespace h5 {

// Turns off HDF5's automatic error printing (idempotent; every entry point
// of this layer that opens something calls it).
void h5_silence();

// Returns `status` when it is not negative; otherwise throws "error <status>"
// (or "<name> error <status>").
template <typename S>
S h5_noerr(S status) {
  if (status < 0) throw std::string("error ") + std::to_string(status);
  return status;
}
template <typename S>
S h5_noerr(const char* name, S status) {
  if (status < 0) throw std::string(name) + " error " + std::to_string(status);
  return status;
}

// Owning handle: closes the identifier with `close` when it goes out of scope.
class h5_obj {
 public:
  using Closer = herr_t (*)(hid_t);
  h5_obj() = default;
  h5_obj(Closer close, hid_t id) : close_(close), id_(id) {}
  h5_obj(const h5_obj&) = delete;
  h5_obj& operator=(const h5_obj&) = delete;
  h5_obj(h5_obj&& o) noexcept : close_(o.close_), id_(o.id_) { o.id_ = -1; }
  h5_obj& operator=(h5_obj&& o) noexcept;
  ~h5_obj() { reset(); }
  hid_t get() const { return id_; }
  void reset();

 private:
  Closer close_ = nullptr;
  hid_t id_ = -1;
};

// Opens an existing file (H5F_ACC_RDONLY or H5F_ACC_RDWR); throws
// "cannot open the HDF5 file <path>" when it is absent or not HDF5.
h5_obj open_file(const std::string& path, unsigned flags);
// Creates (truncates) a file.
h5_obj create_file(const std::string& path);

bool h5_exists(hid_t base, const char* name, bool check_valid = true);
hid_t open_group(hid_t base, const char* name);    // caller closes (H5Gclose)
hid_t ensure_group(hid_t base, const char* name);  // opens, creating when absent
void ensure_not_exist(hid_t base, const char* name);

// Dimensions of a dataset of rank `ndims`; throws
// "wrong number of dimensions (expected n, but got m)".
std::vector<hsize_t> get_dset_size(int ndims, hid_t base, const char* name);

// Throws "size mismatch (expected) but got (actual) in <name>" unless the
// dataset has exactly these dimensions.
void check_size(hid_t base, const char* name, const std::vector<hsize_t>& sizes);
void check_size(hid_t base, const char* name, hsize_t n0);
void check_size(hid_t base, const char* name, hsize_t n0, hsize_t n1);
void check_size(hid_t base, const char* name, hsize_t n0, hsize_t n1, hsize_t n2);
void check_size(hid_t base, const char* name, hsize_t n0, hsize_t n1, hsize_t n2, hsize_t n3);
void check_size(hid_t base, const char* name, hsize_t n0, hsize_t n1, hsize_t n2, hsize_t n3, hsize_t n4);

// Attributes of the object at `path` (relative to `base`). T is float, int or
// std::vector<std::string> (a fixed- or variable-length string array; a
// single string reads as a list of one). Failure throws
// "while reading attribute '<name>' of '<path>'".
template <typename T>
T read_attribute(hid_t base, const char* path, const char* name);
// The same, returning `fallback` when the attribute is absent.
template <typename T>
T read_attribute(hid_t base, const char* path, const char* name, T fallback);

void write_attribute(hid_t obj, const char* name, float value);
void write_attribute(hid_t obj, const char* name, int value);
void write_attribute(hid_t obj, const char* name, const std::string& value);
void write_attribute(hid_t obj, const char* name, const std::vector<std::string>& values);

// Writes a whole dataset in one call (T float, double or int; dims row-major).
template <typename T>
void write_dset(hid_t base, const char* name, const std::vector<hsize_t>& dims, const std::vector<T>& data);
// A fixed-length string dataset of rank 1.
void write_string_dset(hid_t base, const char* name, const std::vector<std::string>& values);

// The whole dataset read as T, with its dimensions (rank must be `rank`).
template <typename T>
std::vector<T> read_dset(hid_t base, const char* name, int rank, std::vector<hsize_t>* dims);
// Fixed-length strings of a dataset of rank `rank`, trailing blanks and NULs
// removed. Variable-length strings throw "variable-length strings not supported".
std::vector<std::string> read_string_dset(hid_t base, const char* name, int rank, std::vector<hsize_t>* dims);

// Calls callback(i0, ..., i_{Rank-1}, value) for each element in row order.
// Any failure inside is rethrown as "while traversing <name>, <message>".
template <int Rank, typename T, typename F>
void traverse_dset(hid_t base, const char* name, F&& callback);
template <int Rank, typename F>
void traverse_string_dset(hid_t base, const char* name, F&& callback);

// Extendable chunked dataset: the one dimension given as -1 grows (it starts
// at 0); `chunk` gives the chunk size of every dimension. With `compress` the
// chunks are deflated. The caller closes the returned dataset (H5Dclose).
hid_t create_earray(hid_t base, const char* name, hid_t type, const std::vector<int>& dims,
                    const std::vector<int>& chunk, bool compress);
// Grows the dataset along `axis` and writes n_elem elements of `data` at the
// end; n_elem must be a multiple of the product of the other dimensions.
void append_to_dset(hid_t dset, hid_t type, size_t n_elem, const void* data, int axis);

// Names of the child groups of `path`, in the order HDF5 lists them.
std::vector<std::string> node_names_in_group(hid_t base, const std::string& path);

// ---- templates --------------------------------------------------------------

namespace detail {
template <typename T, size_t... I, typename F>
void call_row_order(const std::vector<T>& data, const std::vector<hsize_t>& dims, F& callback,
                    std::index_sequence<I...>) {
  constexpr size_t rank = sizeof...(I);
  size_t index[rank] = {};
  for (size_t flat = 0; flat < data.size(); ++flat) {
    callback(static_cast<int>(index[I])..., data[flat]);
    for (int d = static_cast<int>(rank) - 1; d >= 0; --d) {
      if (++index[d] < dims[d]) break;
      index[d] = 0;
    }
  }
}
}  // namespace detail

template <int Rank, typename T, typename F>
void traverse_dset(hid_t base, const char* name, F&& callback) {
  try {
    std::vector<hsize_t> dims;
    std::vector<T> data = read_dset<T>(base, name, Rank, &dims);
    detail::call_row_order(data, dims, callback, std::make_index_sequence<Rank>{});
  } catch (const std::string& e) {
    throw "while traversing " + std::string(name) + ", " + e;
  }
}

template <int Rank, typename F>
void traverse_string_dset(hid_t base, const char* name, F&& callback) {
  try {
    std::vector<hsize_t> dims;
    std::vector<std::string> data = read_string_dset(base, name, Rank, &dims);
    detail::call_row_order(data, dims, callback, std::make_index_sequence<Rank>{});
  } catch (const std::string& e) {
    throw "while traversing " + std::string(name) + ", " + e;
  }
}

}  // namespace h5
}  // namespace tevo
