#include "bench/objects_Hdf5Contenders.h"

#include <hdf5.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <utility>

#include "bench/bench_PlainFile.h"
#include "bench/objects_PlainNote.h"

namespace {

/// Ends the program if a call of HDF5 failed.
void Check(herr_t status, char const* what) {
  objects_Require(status >= 0, what);
}

/// An open object of HDF5, with the function that closes it.
class Handle {
 public:
  Handle() = default;
  Handle(hid_t id, herr_t (*close)(hid_t), char const* what) : m_Id(id), m_Close(close) {
    objects_Require(id >= 0, what);
  }
  Handle(Handle&& other) noexcept : m_Id(std::exchange(other.m_Id, -1)), m_Close(other.m_Close) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(m_Id, other.m_Id);
    std::swap(m_Close, other.m_Close);
    return *this;
  }
  ~Handle() {
    if (m_Id >= 0) m_Close(m_Id);
  }

  [[nodiscard]] hid_t Get() const noexcept { return m_Id; }

 private:
  hid_t m_Id = -1;
  herr_t (*m_Close)(hid_t) = nullptr;
};

/// The newest file format that the library can write: groups of many links are faster and smaller in it.
Handle NewestFormat() {
  Handle access(H5Pcreate(H5P_FILE_ACCESS), H5Pclose, "HDF5 properties");
  Check(H5Pset_libver_bounds(access.Get(), H5F_LIBVER_LATEST, H5F_LIBVER_LATEST), "HDF5 format");
  return access;
}

Handle CreateFile(std::string const& path) {
  return {H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, NewestFormat().Get()), H5Fclose, "HDF5 file"};
}

Handle OpenFile(std::string const& path) {
  return {H5Fopen(path.c_str(), H5F_ACC_RDONLY, NewestFormat().Get()), H5Fclose, "HDF5 file"};
}

Handle TextType(std::size_t length) {
  Handle type(H5Tcopy(H5T_C_S1), H5Tclose, "HDF5 string");
  Check(H5Tset_size(type.Get(), length), "HDF5 string");
  if (length != H5T_VARIABLE) Check(H5Tset_strpad(type.Get(), H5T_STR_NULLPAD), "HDF5 string");
  return type;
}

/// The compound of an object, and how rows of it are filled and read.
class FixedRows {
 public:
  explicit FixedRows(std::vector<objects_Sample> const& samples) {
    for (objects_Sample const& sample : samples) {
      m_NameLength = std::max(m_NameLength, sample.m_Name.size());
      m_MessageLength = std::max(m_MessageLength, sample.m_Message.size());
    }
  }

  [[nodiscard]] std::size_t Bytes() const { return m_NameLength + sizeof(int) + m_MessageLength; }
  [[nodiscard]] Handle Type() const {
    Handle type(H5Tcreate(H5T_COMPOUND, Bytes()), H5Tclose, "HDF5 compound");
    H5Tinsert(type.Get(), "name", 0, TextType(m_NameLength).Get());
    H5Tinsert(type.Get(), "number", m_NameLength, H5T_NATIVE_INT);
    H5Tinsert(type.Get(), "message", m_NameLength + sizeof(int), TextType(m_MessageLength).Get());
    return type;
  }
  void Fill(char* row, objects_PlainNote const& note) const {
    std::memset(row, 0, Bytes());
    std::memcpy(row, note.m_Name.data(), note.m_Name.size());
    std::memcpy(row + m_NameLength, &note.m_Number, sizeof note.m_Number);
    std::memcpy(row + m_NameLength + sizeof(int), note.m_Message.data(), note.m_Message.size());
  }
  [[nodiscard]] std::unique_ptr<objects_PlainPart> Read(char const* row) const {
    auto note = std::make_unique<objects_PlainNote>();
    note->m_Name.assign(row, strnlen(row, m_NameLength));
    std::memcpy(&note->m_Number, row + m_NameLength, sizeof note->m_Number);
    char const* const message = row + m_NameLength + sizeof(int);
    note->m_Message.assign(message, strnlen(message, m_MessageLength));
    return note;
  }
  static void Reclaim(hid_t, hid_t, char*) {}

 private:
  std::size_t m_NameLength = 1;
  std::size_t m_MessageLength = 1;
};

/// As FixedRows, with pointers to strings that HDF5 allocates when it reads.
class VariableRows {
 public:
  explicit VariableRows(std::vector<objects_Sample> const&) {}

  [[nodiscard]] static std::size_t Bytes() { return sizeof(Row); }
  [[nodiscard]] static Handle Type() {
    Handle type(H5Tcreate(H5T_COMPOUND, sizeof(Row)), H5Tclose, "HDF5 compound");
    Handle const text = TextType(H5T_VARIABLE);
    H5Tinsert(type.Get(), "name", HOFFSET(Row, m_Name), text.Get());
    H5Tinsert(type.Get(), "number", HOFFSET(Row, m_Number), H5T_NATIVE_INT);
    H5Tinsert(type.Get(), "message", HOFFSET(Row, m_Message), text.Get());
    return type;
  }
  static void Fill(char* bytes, objects_PlainNote const& note) {
    Row const row{note.m_Name.c_str(), note.m_Number, note.m_Message.c_str()};
    std::memcpy(bytes, &row, sizeof row);
  }
  [[nodiscard]] static std::unique_ptr<objects_PlainPart> Read(char const* bytes) {
    Row row{};
    std::memcpy(&row, bytes, sizeof row);
    auto note = std::make_unique<objects_PlainNote>();
    note->m_Name = row.m_Name;
    note->m_Number = row.m_Number;
    note->m_Message = row.m_Message;
    return note;
  }
  static void Reclaim(hid_t type, hid_t space, char* rows) {
    Check(H5Dvlen_reclaim(type, space, H5P_DEFAULT, rows), "HDF5 strings");
  }

 private:
  struct Row {
    char const* m_Name;
    int m_Number;
    char const* m_Message;
  };
};

/// What all forms share: the objects in memory, and a file that is written whole.
class Hdf5Contender : public objects_Contender {
 public:
  explicit Hdf5Contender(std::vector<objects_Sample> const& samples) {
    for (objects_Sample const& sample : samples)
      m_Saved.push_back(std::make_unique<objects_PlainNote>(sample));
  }

  void Prepare(std::string const& path) override {
    std::filesystem::remove(path);
    m_Path = path;
  }
  void Save() override {
    Write(CreateFile(m_Path).Get());
    bench_PlainFile::Synchronise(m_Path);
  }
  [[nodiscard]] objects_Tally Loaded() const override { return objects_TallyOf(m_Loaded); }
  void Release() override { std::vector<std::unique_ptr<objects_PlainPart>>().swap(m_Loaded); }

 protected:
  /// Writes all objects to the open file.
  virtual void Write(hid_t file) = 0;

  std::string m_Path;
  std::vector<std::unique_ptr<objects_PlainNote>> m_Saved;
  std::vector<std::unique_ptr<objects_PlainPart>> m_Loaded;
};

// ---- One row per object

template <class Rows> class Table : public Hdf5Contender {
 public:
  explicit Table(std::vector<objects_Sample> const& samples) : Hdf5Contender(samples), m_Rows(samples) {}

  void Load(std::string const& path) override {
    Handle const file = OpenFile(path);
    Handle const data(H5Dopen2(file.Get(), "objects", H5P_DEFAULT), H5Dclose, "HDF5 table");
    Handle const space(H5Dget_space(data.Get()), H5Sclose, "HDF5 table");
    hsize_t count = 0;
    H5Sget_simple_extent_dims(space.Get(), &count, nullptr);
    m_Loaded.reserve(count);
    for (hsize_t first = 0; first < count; first += Batch)
      ReadRows(data.Get(), space.Get(), first, std::min(Batch, count - first), H5P_DEFAULT);
  }
  bool LoadShuffled(std::string const& path, std::vector<int> const& order) override {
    Handle const file = OpenFile(path);
    Handle const data(H5Dopen2(file.Get(), "objects", H5P_DEFAULT), H5Dclose, "HDF5 table");
    Handle const space(H5Dget_space(data.Get()), H5Sclose, "HDF5 table");
    m_Loaded.reserve(order.size());
    // By default each read of variable text allocates and clears a megabyte.
    Handle const transfer(H5Pcreate(H5P_DATASET_XFER), H5Pclose, "HDF5 properties");
    Check(H5Pset_buffer(transfer.Get(), 4096, nullptr, nullptr), "HDF5 buffer");
    for (int const index : order)
      ReadRows(data.Get(), space.Get(), static_cast<hsize_t>(index), 1, transfer.Get());
    return true;
  }

 protected:
  void Write(hid_t file) override {
    hsize_t const count = m_Saved.size();
    Handle const space(H5Screate_simple(1, &count, nullptr), H5Sclose, "HDF5 space");
    Handle const data(
        H5Dcreate2(file, "objects", m_Type.Get(), space.Get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
        H5Dclose, "HDF5 table");
    for (hsize_t first = 0; first < count; first += Batch) {
      hsize_t const length = std::min(Batch, count - first);
      m_Buffer.resize(length * m_Rows.Bytes());
      for (hsize_t i = 0; i < length; ++i) m_Rows.Fill(&m_Buffer[i * m_Rows.Bytes()], *m_Saved[first + i]);
      Handle const memory = Select(space.Get(), first, length);
      Check(H5Dwrite(data.Get(), m_Type.Get(), memory.Get(), space.Get(), H5P_DEFAULT, m_Buffer.data()),
            "HDF5 rows");
    }
  }

 private:
  static constexpr hsize_t Batch = 4096; // rows that are in memory at once

  /// Selects rows of the table; returns the space of as many rows in memory.
  static Handle Select(hid_t space, hsize_t first, hsize_t length) {
    Check(H5Sselect_hyperslab(space, H5S_SELECT_SET, &first, nullptr, &length, nullptr), "HDF5 rows");
    return {H5Screate_simple(1, &length, nullptr), H5Sclose, "HDF5 space"};
  }
  void ReadRows(hid_t data, hid_t space, hsize_t first, hsize_t length, hid_t transfer) {
    m_Buffer.resize(length * m_Rows.Bytes());
    Handle const memory = Select(space, first, length);
    Check(H5Dread(data, m_Type.Get(), memory.Get(), space, transfer, m_Buffer.data()), "HDF5 rows");
    for (hsize_t i = 0; i < length; ++i) m_Loaded.push_back(m_Rows.Read(&m_Buffer[i * m_Rows.Bytes()]));
    m_Rows.Reclaim(m_Type.Get(), memory.Get(), m_Buffer.data());
  }

  Rows m_Rows;
  Handle m_Type = m_Rows.Type();
  std::vector<char> m_Buffer;
};

// ---- One data set per object

class DataSets : public Hdf5Contender {
 public:
  explicit DataSets(std::vector<objects_Sample> const& samples) : Hdf5Contender(samples), m_Rows(samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) m_Names.push_back("object-" + std::to_string(i));
  }

  void Load(std::string const& path) override {
    std::vector<int> order(m_Names.size());
    std::iota(order.begin(), order.end(), 0);
    LoadShuffled(path, order);
  }
  bool LoadShuffled(std::string const& path, std::vector<int> const& order) override {
    Handle const file = OpenFile(path);
    Handle const group(H5Gopen2(file.Get(), "objects", H5P_DEFAULT), H5Gclose, "HDF5 group");
    Handle const type = m_Rows.Type();
    std::vector<char> row(m_Rows.Bytes());
    m_Loaded.reserve(order.size());
    for (int const index : order) {
      Handle const data(H5Dopen2(group.Get(), m_Names[static_cast<std::size_t>(index)].c_str(), H5P_DEFAULT),
                        H5Dclose, "HDF5 data set");
      Check(H5Dread(data.Get(), type.Get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, row.data()), "HDF5 data set");
      m_Loaded.push_back(m_Rows.Read(row.data()));
    }
    return true;
  }

 protected:
  void Write(hid_t file) override {
    Handle const group(H5Gcreate2(file, "objects", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Gclose,
                       "HDF5 group");
    Handle const type = m_Rows.Type();
    // The data sets refer to one stored type, and have no times.
    Check(H5Tcommit2(file, "Note", type.Get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), "HDF5 type");
    Handle const space(H5Screate(H5S_SCALAR), H5Sclose, "HDF5 space");
    Handle const creation(H5Pcreate(H5P_DATASET_CREATE), H5Pclose, "HDF5 properties");
    Check(H5Pset_layout(creation.Get(), H5D_COMPACT), "HDF5 layout");
    Check(H5Pset_obj_track_times(creation.Get(), 0), "HDF5 times");
    std::vector<char> row(m_Rows.Bytes());
    for (std::size_t i = 0; i < m_Saved.size(); ++i) {
      Handle const data(H5Dcreate2(group.Get(), m_Names[i].c_str(), type.Get(), space.Get(), H5P_DEFAULT,
                                   creation.Get(), H5P_DEFAULT),
                        H5Dclose, "HDF5 data set");
      m_Rows.Fill(row.data(), *m_Saved[i]);
      Check(H5Dwrite(data.Get(), type.Get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, row.data()), "HDF5 data set");
    }
  }

 private:
  FixedRows m_Rows;
  std::vector<std::string> m_Names;
};

} // namespace

std::unique_ptr<objects_Contender> objects_MakeHdf5Table(std::vector<objects_Sample> const& samples) {
  return std::make_unique<Table<FixedRows>>(samples);
}

std::unique_ptr<objects_Contender> objects_MakeHdf5VariableTable(std::vector<objects_Sample> const& samples) {
  return std::make_unique<Table<VariableRows>>(samples);
}

std::unique_ptr<objects_Contender> objects_MakeHdf5DataSets(std::vector<objects_Sample> const& samples) {
  return std::make_unique<DataSets>(samples);
}
