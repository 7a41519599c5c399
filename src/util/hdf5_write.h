// One HDF5 data set written in one call.
#pragma once

#include <hdf5.h>

#include <string>

namespace tevo {

// Creates the data set `name` under `group` with element type `type`, shape
// dims[rank] and default property lists, and writes `data` into it. A data
// set that cannot be created or written prints "Error: ..." and exits 1.
void hdf5_write_data(hid_t group, hid_t type, const std::string& name, int rank, const hsize_t* dims,
                     const void* data);

// T is the element as stored: float, double, int, or a fixed array such as
// float[3]; only `type` tells HDF5 what it is.
template <typename T>
void hdf5_write(hid_t group, hid_t type, const std::string& name, int rank, const hsize_t* dims, const T* data) {
  hdf5_write_data(group, type, name, rank, dims, static_cast<const void*>(data));
}

}  // namespace tevo
