#include <cereal/archives/portable_binary.hpp>
#include <cereal/types/base_class.hpp>
#include <cereal/types/memory.hpp>
#include <cereal/types/polymorphic.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>
#include <filesystem>

#include "bench/bench_PlainFile.h"
#include "bench/objects_ArchiveContenders.h"

namespace {

struct CerealPart {
  virtual ~CerealPart() = default;
  virtual void AddTo(objects_Tally& tally) const { tally.Add(m_Name, m_Number, {}); }
  template <class Archive> void serialize(Archive& archive) { archive(m_Name, m_Number); }

  std::string m_Name;
  int m_Number = 0;
};

struct CerealNote : CerealPart {
  void AddTo(objects_Tally& tally) const override { tally.Add(m_Name, m_Number, m_Message); }
  template <class Archive> void serialize(Archive& archive) {
    archive(cereal::base_class<CerealPart>(this), m_Message);
  }

  std::string m_Message;
};

/// `Object` is the class itself or a pointer to its base class.
template <class Object> class CerealContender : public objects_Contender {
 public:
  explicit CerealContender(std::vector<objects_Sample> const& samples) {
    for (objects_Sample const& sample : samples) {
      if constexpr (std::is_same_v<Object, CerealNote>) {
        Fill(m_Saved.emplace_back(), sample);
      } else {
        auto note = std::make_unique<CerealNote>();
        Fill(*note, sample);
        m_Saved.push_back(std::move(note));
      }
    }
  }

  void Prepare(std::string const& path) override {
    std::filesystem::remove(path);
    m_Path = path;
  }

  void Save() override {
    bench_PlainFile::Save(m_Path, [&](std::ostream& stream) {
      cereal::PortableBinaryOutputArchive archive(stream);
      archive(m_Saved);
    });
  }

  void Load(std::string const& path) override {
    bench_PlainFile::Load(path, [&](std::istream& stream) {
      cereal::PortableBinaryInputArchive archive(stream);
      archive(m_Loaded);
    });
  }

  [[nodiscard]] objects_Tally Loaded() const override { return objects_TallyOf(m_Loaded); }
  void Release() override { std::vector<Object>().swap(m_Loaded); }

 private:
  static void Fill(CerealNote& note, objects_Sample const& sample) {
    note.m_Name = sample.m_Name;
    note.m_Number = sample.m_Number;
    note.m_Message = sample.m_Message;
  }

  std::string m_Path;
  std::vector<Object> m_Saved;
  std::vector<Object> m_Loaded;
};

} // namespace

CEREAL_REGISTER_TYPE(CerealNote)

std::unique_ptr<objects_Contender> objects_MakeCerealPointers(std::vector<objects_Sample> const& samples) {
  return std::make_unique<CerealContender<std::unique_ptr<CerealPart>>>(samples);
}

std::unique_ptr<objects_Contender> objects_MakeCerealValues(std::vector<objects_Sample> const& samples) {
  return std::make_unique<CerealContender<CerealNote>>(samples);
}
