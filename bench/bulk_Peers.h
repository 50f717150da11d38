#pragma once

#include <fcntl.h>
#include <hdf5.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "bench/bulk_Arrays.h"
#include "bench/bulk_Tools.h"

// What bulk arrays on a store are compared with: the same blocks in a plain file and in HDF5.

inline constexpr std::size_t BlockBytes = BlockCount * sizeof(double);

/// The lower bound: the same blocks in a plain file.
class PlainFile {
 public:
  explicit PlainFile(std::string path) : m_Path(std::move(path)), m_Block(BlockCount) {}

  void Write(int blocks) {
    int const file = ::open(m_Path.c_str(), O_CREAT | O_TRUNC | O_RDWR, 0644);
    Check(file >= 0, "plain file");
    for (int block = 0; block < blocks; ++block) {
      for (int i = 0; i < BlockCount; ++i)
        m_Block[static_cast<std::size_t>(i)] = (block * BlockCount + i) * 0.5;
      Check(::write(file, m_Block.data(), BlockBytes) == static_cast<ssize_t>(BlockBytes), "plain write");
    }
    Check(::fsync(file) == 0, "fsync");
    ::close(file);
  }
  double Scan(int blocks) {
    std::vector<int> order(static_cast<std::size_t>(blocks));
    std::iota(order.begin(), order.end(), 0);
    return Read(order, true);
  }
  double Read(std::vector<int> const& order, bool all) {
    int const file = ::open(m_Path.c_str(), O_RDONLY);
    double sum = 0;
    for (int const block : order) {
      Check(::pread(file, m_Block.data(), BlockBytes, static_cast<off_t>(block) * BlockBytes) ==
                static_cast<ssize_t>(BlockBytes),
            "plain read");
      sum += all ? std::accumulate(m_Block.begin(), m_Block.end(), 0.0) : m_Block[7];
    }
    ::close(file);
    return sum;
  }
  void Overwrite(std::vector<int> const& order, double value) {
    int const file = ::open(m_Path.c_str(), O_RDWR);
    std::ranges::fill(m_Block, value);
    for (int const block : order)
      Check(::pwrite(file, m_Block.data(), BlockBytes, static_cast<off_t>(block) * BlockBytes) ==
                static_cast<ssize_t>(BlockBytes),
            "plain overwrite");
    Check(::fsync(file) == 0, "fsync");
    ::close(file);
  }

 private:
  std::string m_Path;
  std::vector<double> m_Block;
};

/// HDF5 with one chunk per block, read and written block by block.
class Hdf5File {
 public:
  explicit Hdf5File(std::string path) : m_Path(std::move(path)), m_Block(BlockCount) {}

  void Write(int blocks) {
    hid_t const file = H5Fcreate(m_Path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    hsize_t const size = static_cast<hsize_t>(blocks) * BlockCount;
    hsize_t const chunk = BlockCount;
    hid_t const space = H5Screate_simple(1, &size, nullptr);
    hid_t const properties = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_chunk(properties, 1, &chunk);
    hid_t const data =
        H5Dcreate2(file, "history", H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, properties, H5P_DEFAULT);
    Check(data >= 0, "HDF5 data set");
    for (int block = 0; block < blocks; ++block) {
      for (int i = 0; i < BlockCount; ++i)
        m_Block[static_cast<std::size_t>(i)] = (block * BlockCount + i) * 0.5;
      Transfer(data, space, block, true);
    }
    H5Dclose(data);
    H5Pclose(properties);
    H5Sclose(space);
    H5Fflush(file, H5F_SCOPE_GLOBAL);
    H5Fclose(file);
    int const plain = ::open(m_Path.c_str(), O_RDWR);
    Check(::fsync(plain) == 0, "fsync");
    ::close(plain);
  }
  double Read(std::vector<int> const& order, bool all) {
    hid_t const file = H5Fopen(m_Path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    hid_t const data = H5Dopen2(file, "history", H5P_DEFAULT);
    hid_t const space = H5Dget_space(data);
    double sum = 0;
    for (int const block : order) {
      Transfer(data, space, block, false);
      sum += all ? std::accumulate(m_Block.begin(), m_Block.end(), 0.0) : m_Block[7];
    }
    H5Sclose(space);
    H5Dclose(data);
    H5Fclose(file);
    return sum;
  }

 private:
  void Transfer(hid_t data, hid_t space, int block, bool write) {
    hsize_t const start = static_cast<hsize_t>(block) * BlockCount;
    hsize_t const count = BlockCount;
    hid_t const memory = H5Screate_simple(1, &count, nullptr);
    H5Sselect_hyperslab(space, H5S_SELECT_SET, &start, nullptr, &count, nullptr);
    herr_t const status = write
                              ? H5Dwrite(data, H5T_NATIVE_DOUBLE, memory, space, H5P_DEFAULT, m_Block.data())
                              : H5Dread(data, H5T_NATIVE_DOUBLE, memory, space, H5P_DEFAULT, m_Block.data());
    H5Sclose(memory);
    Check(status >= 0, "HDF5 transfer");
  }

  std::string m_Path;
  std::vector<double> m_Block;
};
