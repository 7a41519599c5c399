// One HDF5 data set written in one call.
#include "util/hdf5_write.h"

#include <cstdlib>

#include "util/console.h"

namespace tevo {

void hdf5_write_data(hid_t group, hid_t type, const std::string& name, int rank, const hsize_t* dims,
                     const void* data) {
  const hid_t space = H5Screate_simple(rank, dims, nullptr);
  const hid_t set = space < 0 ? -1 : H5Dcreate2(group, name.c_str(), type, space, H5P_DEFAULT, H5P_DEFAULT,
                                                H5P_DEFAULT);
  herr_t written = -1;
  hid_t file_space = -1;
  if (set >= 0) {
    file_space = H5Dget_space(set);
    written = H5Dwrite(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, data);
  }
  if (set >= 0) H5Dclose(set);
  if (file_space >= 0) H5Sclose(file_space);
  if (space >= 0) H5Sclose(space);
  if (written < 0) {
    print_info("cannot write the HDF5 data set " + name, 9);
    std::exit(1);
  }
}

}  // namespace tevo
