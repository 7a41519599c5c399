// HDF5 access layer: handles, groups, sizes, attributes, whole-dataset reads
// and writes, and extendable arrays.
#include "md/h5.h"

#include <hdf5_hl.h>

#include <numeric>

namespace tevo {
namespace h5 {

namespace {

template <typename T>
hid_t native_type();
template <>
hid_t native_type<float>() {
  return H5T_NATIVE_FLOAT;
}
template <>
hid_t native_type<double>() {
  return H5T_NATIVE_DOUBLE;
}
template <>
hid_t native_type<int>() {
  return H5T_NATIVE_INT;
}

std::string join_sizes(const std::vector<hsize_t>& sizes) {
  std::string text;
  for (size_t i = 0; i < sizes.size(); ++i) text += (i ? ", " : "") + std::to_string(sizes[i]);
  return text;
}

std::string trim_name(const char* p, size_t n) {
  size_t len = 0;
  while (len < n && p[len] != '\0') ++len;
  while (len > 0 && (p[len - 1] == ' ' || p[len - 1] == '\t')) --len;
  return std::string(p, len);
}

// Strings held by an attribute or dataset with the given type and space.
std::vector<std::string> read_strings(hid_t obj, hid_t type, hid_t space, bool is_attr) {
  const hssize_t n = h5_noerr("H5Sget_simple_extent_npoints", H5Sget_simple_extent_npoints(space));
  if (H5Tget_class(type) != H5T_STRING) throw std::string("not a string type");
  std::vector<std::string> out;
  if (H5Tis_variable_str(type) > 0) {
    if (!is_attr) throw std::string("variable-length strings not supported");
    h5_obj mem(H5Tclose, h5_noerr(H5Tcopy(H5T_C_S1)));
    h5_noerr(H5Tset_size(mem.get(), H5T_VARIABLE));
    std::vector<char*> ptrs(n, nullptr);
    h5_noerr("H5Aread", H5Aread(obj, mem.get(), ptrs.data()));
    for (char* p : ptrs) out.push_back(p ? trim_name(p, std::string(p).size()) : std::string());
    H5Dvlen_reclaim(mem.get(), space, H5P_DEFAULT, ptrs.data());
    return out;
  }
  const size_t width = H5Tget_size(type);
  if (width == 0) throw std::string("H5Tget_size error");
  h5_obj mem(H5Tclose, h5_noerr(H5Tcopy(H5T_C_S1)));
  h5_noerr(H5Tset_size(mem.get(), width));
  std::vector<char> buffer(static_cast<size_t>(n) * width + 1, '\0');
  if (is_attr)
    h5_noerr("H5Aread", H5Aread(obj, mem.get(), buffer.data()));
  else
    h5_noerr("H5Dread", H5Dread(obj, mem.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, buffer.data()));
  for (hssize_t i = 0; i < n; ++i) out.push_back(trim_name(buffer.data() + i * width, width));
  return out;
}

}  // namespace

void h5_silence() {
  static const bool silenced = [] {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    return true;
  }();
  (void)silenced;
}

h5_obj& h5_obj::operator=(h5_obj&& o) noexcept {
  if (this != &o) {
    reset();
    close_ = o.close_;
    id_ = o.id_;
    o.id_ = -1;
  }
  return *this;
}

void h5_obj::reset() {
  if (id_ >= 0 && close_) close_(id_);
  id_ = -1;
}

h5_obj open_file(const std::string& path, unsigned flags) {
  h5_silence();
  const hid_t id = H5Fopen(path.c_str(), flags, H5P_DEFAULT);
  if (id < 0) throw "cannot open the HDF5 file " + path;
  return h5_obj(H5Fclose, id);
}

h5_obj create_file(const std::string& path) {
  h5_silence();
  const hid_t id = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
  if (id < 0) throw "cannot create the HDF5 file " + path;
  return h5_obj(H5Fclose, id);
}

bool h5_exists(hid_t base, const char* name, bool check_valid) {
  h5_silence();
  return h5_noerr("H5LTpath_valid", H5LTpath_valid(base, name, check_valid)) > 0;
}

hid_t open_group(hid_t base, const char* name) {
  h5_silence();
  return h5_noerr("H5Gopen2", H5Gopen2(base, name, H5P_DEFAULT));
}

hid_t ensure_group(hid_t base, const char* name) {
  if (h5_exists(base, name)) return open_group(base, name);
  return h5_noerr("H5Gcreate2", H5Gcreate2(base, name, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
}

void ensure_not_exist(hid_t base, const char* name) {
  if (h5_exists(base, name, false)) h5_noerr("H5Ldelete", H5Ldelete(base, name, H5P_DEFAULT));
}

std::vector<hsize_t> get_dset_size(int ndims, hid_t base, const char* name) {
  h5_silence();
  h5_obj dset(H5Dclose, h5_noerr("H5Dopen2", H5Dopen2(base, name, H5P_DEFAULT)));
  h5_obj space(H5Sclose, h5_noerr("H5Dget_space", H5Dget_space(dset.get())));
  const int rank = h5_noerr("H5Sget_simple_extent_ndims", H5Sget_simple_extent_ndims(space.get()));
  if (rank != ndims)
    throw "wrong number of dimensions (expected " + std::to_string(ndims) + ", but got " + std::to_string(rank) + ")";
  std::vector<hsize_t> dims(rank);
  h5_noerr("H5Sget_simple_extent_dims", H5Sget_simple_extent_dims(space.get(), dims.data(), nullptr));
  return dims;
}

void check_size(hid_t base, const char* name, const std::vector<hsize_t>& sizes) {
  const std::vector<hsize_t> actual = get_dset_size(static_cast<int>(sizes.size()), base, name);
  if (actual != sizes)
    throw "size mismatch (" + join_sizes(sizes) + ") but got (" + join_sizes(actual) + ") in " + name;
}
void check_size(hid_t base, const char* name, hsize_t n0) { check_size(base, name, std::vector<hsize_t>{n0}); }
void check_size(hid_t base, const char* name, hsize_t n0, hsize_t n1) {
  check_size(base, name, std::vector<hsize_t>{n0, n1});
}
void check_size(hid_t base, const char* name, hsize_t n0, hsize_t n1, hsize_t n2) {
  check_size(base, name, std::vector<hsize_t>{n0, n1, n2});
}
void check_size(hid_t base, const char* name, hsize_t n0, hsize_t n1, hsize_t n2, hsize_t n3) {
  check_size(base, name, std::vector<hsize_t>{n0, n1, n2, n3});
}
void check_size(hid_t base, const char* name, hsize_t n0, hsize_t n1, hsize_t n2, hsize_t n3, hsize_t n4) {
  check_size(base, name, std::vector<hsize_t>{n0, n1, n2, n3, n4});
}

namespace {

template <typename T>
T read_attribute_value(hid_t attr, hid_t space);

template <>
float read_attribute_value<float>(hid_t attr, hid_t space) {
  if (H5Sget_simple_extent_npoints(space) != 1) throw std::string("not a single value");
  float v = 0;
  h5_noerr("H5Aread", H5Aread(attr, H5T_NATIVE_FLOAT, &v));
  return v;
}
template <>
int read_attribute_value<int>(hid_t attr, hid_t space) {
  if (H5Sget_simple_extent_npoints(space) != 1) throw std::string("not a single value");
  int v = 0;
  h5_noerr("H5Aread", H5Aread(attr, H5T_NATIVE_INT, &v));
  return v;
}
template <>
std::vector<std::string> read_attribute_value<std::vector<std::string>>(hid_t attr, hid_t space) {
  h5_obj type(H5Tclose, h5_noerr(H5Aget_type(attr)));
  return read_strings(attr, type.get(), space, true);
}

}  // namespace

template <typename T>
T read_attribute(hid_t base, const char* path, const char* name) {
  h5_silence();
  try {
    h5_obj attr(H5Aclose, h5_noerr(H5Aopen_by_name(base, path, name, H5P_DEFAULT, H5P_DEFAULT)));
    h5_obj space(H5Sclose, h5_noerr(H5Aget_space(attr.get())));
    return read_attribute_value<T>(attr.get(), space.get());
  } catch (const std::string&) {
    throw "while reading attribute '" + std::string(name) + "' of '" + path + "'";
  }
}

template <typename T>
T read_attribute(hid_t base, const char* path, const char* name, T fallback) {
  h5_silence();
  const htri_t present = H5Aexists_by_name(base, path, name, H5P_DEFAULT);
  if (present == 0) return fallback;
  return read_attribute<T>(base, path, name);
}

template float read_attribute<float>(hid_t, const char*, const char*);
template int read_attribute<int>(hid_t, const char*, const char*);
template std::vector<std::string> read_attribute<std::vector<std::string>>(hid_t, const char*, const char*);
template float read_attribute<float>(hid_t, const char*, const char*, float);
template int read_attribute<int>(hid_t, const char*, const char*, int);
template std::vector<std::string> read_attribute<std::vector<std::string>>(hid_t, const char*, const char*,
                                                                           std::vector<std::string>);

namespace {
void write_attribute_raw(hid_t obj, const char* name, hid_t type, hid_t space, const void* data) {
  h5_silence();
  if (H5Aexists(obj, name) > 0) h5_noerr("H5Adelete", H5Adelete(obj, name));
  h5_obj attr(H5Aclose, h5_noerr("H5Acreate2", H5Acreate2(obj, name, type, space, H5P_DEFAULT, H5P_DEFAULT)));
  h5_noerr("H5Awrite", H5Awrite(attr.get(), type, data));
}
}  // namespace

void write_attribute(hid_t obj, const char* name, float value) {
  h5_obj space(H5Sclose, h5_noerr(H5Screate(H5S_SCALAR)));
  write_attribute_raw(obj, name, H5T_NATIVE_FLOAT, space.get(), &value);
}

void write_attribute(hid_t obj, const char* name, int value) {
  h5_obj space(H5Sclose, h5_noerr(H5Screate(H5S_SCALAR)));
  write_attribute_raw(obj, name, H5T_NATIVE_INT, space.get(), &value);
}

void write_attribute(hid_t obj, const char* name, const std::string& value) {
  h5_obj type(H5Tclose, h5_noerr(H5Tcopy(H5T_C_S1)));
  h5_noerr(H5Tset_size(type.get(), value.empty() ? 1 : value.size()));
  h5_obj space(H5Sclose, h5_noerr(H5Screate(H5S_SCALAR)));
  std::string padded = value.empty() ? std::string(1, '\0') : value;
  write_attribute_raw(obj, name, type.get(), space.get(), padded.data());
}

void write_attribute(hid_t obj, const char* name, const std::vector<std::string>& values) {
  size_t width = 1;
  for (const std::string& v : values) width = std::max(width, v.size());
  std::vector<char> buffer(std::max<size_t>(values.size(), 1) * width, '\0');
  for (size_t i = 0; i < values.size(); ++i) values[i].copy(buffer.data() + i * width, width);
  h5_obj type(H5Tclose, h5_noerr(H5Tcopy(H5T_C_S1)));
  h5_noerr(H5Tset_size(type.get(), width));
  const hsize_t n = values.size();
  h5_obj space(H5Sclose, h5_noerr(n ? H5Screate_simple(1, &n, nullptr) : H5Screate(H5S_NULL)));
  write_attribute_raw(obj, name, type.get(), space.get(), buffer.data());
}

template <typename T>
void write_dset(hid_t base, const char* name, const std::vector<hsize_t>& dims, const std::vector<T>& data) {
  h5_silence();
  const hsize_t n = std::accumulate(dims.begin(), dims.end(), hsize_t{1}, std::multiplies<hsize_t>());
  if (n != data.size()) throw std::string("internal error: ") + name + " has the wrong number of values";
  h5_obj space(H5Sclose, h5_noerr(H5Screate_simple(static_cast<int>(dims.size()), dims.data(), nullptr)));
  h5_obj dset(H5Dclose, h5_noerr("H5Dcreate2", H5Dcreate2(base, name, native_type<T>(), space.get(), H5P_DEFAULT,
                                                          H5P_DEFAULT, H5P_DEFAULT)));
  if (n) h5_noerr("H5Dwrite", H5Dwrite(dset.get(), native_type<T>(), H5S_ALL, H5S_ALL, H5P_DEFAULT, data.data()));
}

template void write_dset<float>(hid_t, const char*, const std::vector<hsize_t>&, const std::vector<float>&);
template void write_dset<double>(hid_t, const char*, const std::vector<hsize_t>&, const std::vector<double>&);
template void write_dset<int>(hid_t, const char*, const std::vector<hsize_t>&, const std::vector<int>&);

void write_string_dset(hid_t base, const char* name, const std::vector<std::string>& values) {
  h5_silence();
  size_t width = 1;
  for (const std::string& v : values) width = std::max(width, v.size());
  std::vector<char> buffer(std::max<size_t>(values.size(), 1) * width, '\0');
  for (size_t i = 0; i < values.size(); ++i) values[i].copy(buffer.data() + i * width, width);
  h5_obj type(H5Tclose, h5_noerr(H5Tcopy(H5T_C_S1)));
  h5_noerr(H5Tset_size(type.get(), width));
  const hsize_t n = values.size();
  h5_obj space(H5Sclose, h5_noerr(H5Screate_simple(1, &n, nullptr)));
  h5_obj dset(H5Dclose, h5_noerr("H5Dcreate2", H5Dcreate2(base, name, type.get(), space.get(), H5P_DEFAULT, H5P_DEFAULT,
                                                          H5P_DEFAULT)));
  if (n) h5_noerr("H5Dwrite", H5Dwrite(dset.get(), type.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, buffer.data()));
}

template <typename T>
std::vector<T> read_dset(hid_t base, const char* name, int rank, std::vector<hsize_t>* dims) {
  *dims = get_dset_size(rank, base, name);
  const hsize_t n = std::accumulate(dims->begin(), dims->end(), hsize_t{1}, std::multiplies<hsize_t>());
  h5_obj dset(H5Dclose, h5_noerr("H5Dopen2", H5Dopen2(base, name, H5P_DEFAULT)));
  h5_obj type(H5Tclose, h5_noerr("H5Dget_type", H5Dget_type(dset.get())));
  const H5T_class_t cls = H5Tget_class(type.get());
  if (cls != H5T_INTEGER && cls != H5T_FLOAT) throw std::string("not a numeric dataset");
  std::vector<T> data(n);
  if (n) h5_noerr("H5Dread", H5Dread(dset.get(), native_type<T>(), H5S_ALL, H5S_ALL, H5P_DEFAULT, data.data()));
  return data;
}

template std::vector<float> read_dset<float>(hid_t, const char*, int, std::vector<hsize_t>*);
template std::vector<double> read_dset<double>(hid_t, const char*, int, std::vector<hsize_t>*);
template std::vector<int> read_dset<int>(hid_t, const char*, int, std::vector<hsize_t>*);

std::vector<std::string> read_string_dset(hid_t base, const char* name, int rank, std::vector<hsize_t>* dims) {
  *dims = get_dset_size(rank, base, name);
  h5_obj dset(H5Dclose, h5_noerr("H5Dopen2", H5Dopen2(base, name, H5P_DEFAULT)));
  h5_obj type(H5Tclose, h5_noerr("H5Dget_type", H5Dget_type(dset.get())));
  h5_obj space(H5Sclose, h5_noerr("H5Dget_space", H5Dget_space(dset.get())));
  return read_strings(dset.get(), type.get(), space.get(), false);
}

hid_t create_earray(hid_t base, const char* name, hid_t type, const std::vector<int>& dims,
                    const std::vector<int>& chunk, bool compress) {
  h5_silence();
  if (dims.size() != chunk.size() || dims.empty()) throw std::string("dimension mismatch");
  std::vector<hsize_t> start(dims.size()), max_dims(dims.size()), chunk_dims(dims.size());
  int n_extendable = 0;
  for (size_t d = 0; d < dims.size(); ++d) {
    const bool grows = dims[d] == -1;
    n_extendable += grows;
    if (!grows && dims[d] < 0) throw std::string("dimension mismatch");
    start[d] = grows ? 0 : dims[d];
    max_dims[d] = grows ? H5S_UNLIMITED : dims[d];
    chunk_dims[d] = std::max(chunk[d], 1);
  }
  if (n_extendable != 1) throw std::string("an extendable array needs exactly one dimension of -1");
  h5_obj space(H5Sclose, h5_noerr(H5Screate_simple(static_cast<int>(dims.size()), start.data(), max_dims.data())));
  h5_obj props(H5Pclose, h5_noerr(H5Pcreate(H5P_DATASET_CREATE)));
  h5_noerr("H5Pset_chunk", H5Pset_chunk(props.get(), static_cast<int>(dims.size()), chunk_dims.data()));
  if (compress) {
    h5_noerr("H5Pset_shuffle", H5Pset_shuffle(props.get()));
    h5_noerr("H5Pset_deflate", H5Pset_deflate(props.get(), 5));
  }
  return h5_noerr("H5Dcreate2", H5Dcreate2(base, name, type, space.get(), H5P_DEFAULT, props.get(), H5P_DEFAULT));
}

void append_to_dset(hid_t dset, hid_t type, size_t n_elem, const void* data, int axis) {
  if (n_elem == 0) return;
  h5_silence();
  h5_obj space(H5Sclose, h5_noerr("H5Dget_space", H5Dget_space(dset)));
  const int rank = h5_noerr("H5Sget_simple_extent_ndims", H5Sget_simple_extent_ndims(space.get()));
  if (axis < 0 || axis >= rank) throw std::string("dimension mismatch");
  std::vector<hsize_t> dims(rank);
  h5_noerr("H5Sget_simple_extent_dims", H5Sget_simple_extent_dims(space.get(), dims.data(), nullptr));
  hsize_t others = 1;
  for (int d = 0; d < rank; ++d)
    if (d != axis) others *= dims[d];
  if (others == 0 || n_elem % others != 0) throw std::string("dimension mismatch");
  std::vector<hsize_t> offset(rank, 0), count = dims;
  offset[axis] = dims[axis];
  count[axis] = n_elem / others;
  dims[axis] += count[axis];
  h5_noerr("H5Dset_extent", H5Dset_extent(dset, dims.data()));
  h5_obj file_space(H5Sclose, h5_noerr("H5Dget_space", H5Dget_space(dset)));
  h5_noerr("H5Sselect_hyperslab",
           H5Sselect_hyperslab(file_space.get(), H5S_SELECT_SET, offset.data(), nullptr, count.data(), nullptr));
  h5_obj mem_space(H5Sclose, h5_noerr(H5Screate_simple(rank, count.data(), nullptr)));
  h5_noerr("H5Dwrite", H5Dwrite(dset, type, mem_space.get(), file_space.get(), H5P_DEFAULT, data));
}

namespace {
herr_t collect_group(hid_t base, const char* name, const H5L_info_t*, void* out) {
  H5O_info_t info;
  if (H5Oget_info_by_name(base, name, &info, H5P_DEFAULT) < 0) return -1;
  if (info.type == H5O_TYPE_GROUP) static_cast<std::vector<std::string>*>(out)->push_back(name);
  return 0;
}
}  // namespace

std::vector<std::string> node_names_in_group(hid_t base, const std::string& path) {
  h5_obj group(H5Gclose, open_group(base, path.c_str()));
  std::vector<std::string> names;
  h5_noerr("H5Literate", H5Literate(group.get(), H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, collect_group, &names));
  return names;
}

}  // namespace h5
}  // namespace tevo
