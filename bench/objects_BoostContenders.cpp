#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/export.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <filesystem>

#include "bench/bench_PlainFile.h"
#include "bench/objects_ArchiveContenders.h"

namespace {

struct Part {
  virtual ~Part() = default;
  virtual void AddTo(objects_Tally& tally) const { tally.Add(m_Name, m_Number, {}); }
  template <class Archive> void serialize(Archive& archive, unsigned int) { archive& m_Name& m_Number; }

  std::string m_Name;
  int m_Number = 0;
};

struct Note : Part {
  void AddTo(objects_Tally& tally) const override { tally.Add(m_Name, m_Number, m_Message); }
  template <class Archive> void serialize(Archive& archive, unsigned int) {
    archive& boost::serialization::base_object<Part>(*this) & m_Message;
  }

  std::string m_Message;
};

// Separate classes: Boost tracks the addresses of all objects of a class that is also saved by pointer.
struct ValuePart {
  template <class Archive> void serialize(Archive& archive, unsigned int) { archive& m_Name& m_Number; }

  std::string m_Name;
  int m_Number = 0;
};

struct ValueNote : ValuePart {
  void AddTo(objects_Tally& tally) const { tally.Add(m_Name, m_Number, m_Message); }
  template <class Archive> void serialize(Archive& archive, unsigned int) {
    archive& boost::serialization::base_object<ValuePart>(*this) & m_Message;
  }

  std::string m_Message;
};

template <class T> void Fill(T& note, objects_Sample const& sample) {
  note.m_Name = sample.m_Name;
  note.m_Number = sample.m_Number;
  note.m_Message = sample.m_Message;
}

class BoostPointers : public objects_Contender {
 public:
  explicit BoostPointers(std::vector<objects_Sample> const& samples) {
    for (objects_Sample const& sample : samples) {
      auto note = std::make_unique<Note>();
      Fill(*note, sample);
      m_Saved.push_back(std::move(note));
    }
  }

  void Prepare(std::string const& path) override {
    std::filesystem::remove(path);
    m_Path = path;
  }

  void Save() override {
    bench_PlainFile::Save(m_Path, [&](std::ostream& stream) {
      boost::archive::binary_oarchive archive(stream);
      std::size_t const count = m_Saved.size();
      archive << count;
      for (auto const& object : m_Saved) {
        Part const* const pointer = object.get();
        archive << pointer;
      }
    });
  }

  void Load(std::string const& path) override {
    bench_PlainFile::Load(path, [&](std::istream& stream) {
      boost::archive::binary_iarchive archive(stream);
      std::size_t count = 0;
      archive >> count;
      m_Loaded.reserve(count);
      for (std::size_t i = 0; i < count; ++i) {
        Part* pointer = nullptr;
        archive >> pointer;
        m_Loaded.emplace_back(pointer);
      }
    });
  }

  [[nodiscard]] objects_Tally Loaded() const override { return objects_TallyOf(m_Loaded); }
  void Release() override { std::vector<std::unique_ptr<Part>>().swap(m_Loaded); }

 private:
  std::string m_Path;
  std::vector<std::unique_ptr<Part>> m_Saved;
  std::vector<std::unique_ptr<Part>> m_Loaded;
};

class BoostValues : public objects_Contender {
 public:
  explicit BoostValues(std::vector<objects_Sample> const& samples) : m_Saved(samples.size()) {
    for (std::size_t i = 0; i < samples.size(); ++i) Fill(m_Saved[i], samples[i]);
  }

  void Prepare(std::string const& path) override {
    std::filesystem::remove(path);
    m_Path = path;
  }

  void Save() override {
    bench_PlainFile::Save(m_Path, [&](std::ostream& stream) {
      boost::archive::binary_oarchive archive(stream);
      archive << m_Saved;
    });
  }

  void Load(std::string const& path) override {
    bench_PlainFile::Load(path, [&](std::istream& stream) {
      boost::archive::binary_iarchive archive(stream);
      archive >> m_Loaded;
    });
  }

  [[nodiscard]] objects_Tally Loaded() const override { return objects_TallyOf(m_Loaded); }
  void Release() override { std::vector<ValueNote>().swap(m_Loaded); }

 private:
  std::string m_Path;
  std::vector<ValueNote> m_Saved;
  std::vector<ValueNote> m_Loaded;
};

} // namespace

BOOST_CLASS_EXPORT(Note)

std::unique_ptr<objects_Contender> objects_MakeBoostPointers(std::vector<objects_Sample> const& samples) {
  return std::make_unique<BoostPointers>(samples);
}

std::unique_ptr<objects_Contender> objects_MakeBoostValues(std::vector<objects_Sample> const& samples) {
  return std::make_unique<BoostValues>(samples);
}
