#pragma once

#include <any>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "metadata/cls_CollectionType.h"
#include "persist/identity/cls_Uid.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "platform/cow/cow_COW.h"
#include "platform/cow/cow_String.h"

class RecordedObject;
class RecordingMementoRead;
class RecordingMementoWrite;

/// Thrown by a recording back end where a test told it to fail.
struct BackEndFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The log, answers and accounting shared by all objects of a recording back end.
///
///     Recorder recorder;
///     recorder.Name(uid, "U");
///     recorder.StoreList<int>({1, 2});
///     { cls_WriteVisitor visitor(recorder.NewWriter()); wrapper.DBWrite(visitor); }
///     EXPECT_EQ(recorder.TakeLines(), Lines({"write1.MakeWriteListPrim(tag int 0, int 1) = ...", ...}));
///
/// Objects are named by kind and number: write1, write2, read1, listWriter1 and so on. The recorder's
/// destructor deletes the objects it was told to keep, and fails the test for every other one still alive.
class Recorder {
 public:
  Recorder() = default;
  ~Recorder();
  Recorder(Recorder const&) = delete;
  Recorder& operator=(Recorder const&) = delete;

  // --- Initial objects; the receiver deletes them like any other object of the back end.
  [[nodiscard]] RecordingMementoWrite* NewWriter();
  [[nodiscard]] RecordingMementoRead* NewReader();

  // --- The log: one line per call, "object.Operation(arguments) = result", or "~object" for a deletion.
  [[nodiscard]] std::vector<std::string> const& Lines() const { return m_Lines; }
  std::vector<std::string> TakeLines() { return std::exchange(m_Lines, {}); }

  /// Names an identity, an object, a copy-on-write holder or a proxy in the log; without a name it is "?".
  void Name(cls_Uid const& uid, std::string name) { Name(uid.Entry(), std::move(name)); }
  void Name(void const* object, std::string name) { m_Names[object] = std::move(name); }

  // --- Accounting.
  /// The names of the live objects, in order of creation.
  [[nodiscard]] std::vector<std::string> Live() const;
  /// How many objects were made so far.
  [[nodiscard]] int Made() const { return m_Made; }

  // --- Answers.
  /// Makes this object's NeedsDeletion answer false; after Give it answers true again.
  void Keep(std::string const& object) { m_Kept.insert(object); }
  void Give(std::string const& object) { m_Kept.erase(object); }
  /// Makes NeedsDeletion of every object answer false.
  void KeepAll() { m_KeepAll = true; }

  /// Makes every operation that creates an object's write memento return null.
  void DeclineObjects() { m_DeclineObjects = true; }

  /// Sets the result of a scalar read of a field, instead of the default. `field` is the field's name, or
  /// "read2.name" for only that object.
  template <class T> void Store(std::string const& field, T value) { m_Values[field] = value; }
  void Store(std::string const& field, char const* text) { m_Values[field] = cow_String(text); }

  /// Sets what FieldIsPresent and DataIsPresent answer for a field; the default is 0.
  void SetFieldPresent(std::string const& field, int answer) { m_FieldPresent[field] = answer; }
  void SetDataPresent(std::string const& field, int answer) { m_DataPresent[field] = answer; }

  /// Sets what list readers and list agents of `T` return.
  template <class T> void StoreList(std::vector<T> elements) {
    m_Count = static_cast<int>(elements.size());
    m_Values[ListKey<T>()] = std::move(elements);
  }
  /// Sets the answers of Count, if different from the stored elements, and of RowWidth.
  void SetCount(int count) { m_Count = count; }
  void SetRowWidth(int width) { m_RowWidth = width; }

  /// Sets what map readers from `K` to `T` return, in order.
  template <class K, class T> void StoreMap(std::vector<std::pair<K, T>> entries) {
    m_Values[MapKey<K, T>()] = std::move(entries);
  }
  /// Sets the keys of stored object maps and of map agents.
  template <class K> void StoreKeys(std::vector<K> keys) { m_Values[KeysKey<K>()] = std::move(keys); }
  /// Sets the number of elements of stored object lists.
  void SetObjectCount(int count) { m_ObjectCount = count; }

  /// Sets what ClassId and ClassVersion answer; the defaults are 1 and -1.
  void SetClass(unsigned int classId, int version) {
    m_ClassId = classId;
    m_ClassVersion = version;
  }

  /// Makes the `nth` call (from now) of an operation with this name throw BackEndFailure, after logging it.
  void FailAt(std::string operation, int nth = 1) {
    m_FailOperation = std::move(operation);
    m_FailCountdown = nth;
  }

  cow_String m_DbId{"recorded"}; ///< what DbId answers
  cls_Uid m_Uid;                 ///< what GetUid answers

  // --- For the recording classes.
  void LogCall(std::string const& object, char const* operation, std::string const& arguments);
  void LogResult(std::string const& result) { m_Lines.back() += " = " + result; }
  [[nodiscard]] std::string NameOf(void const* object) const;
  [[nodiscard]] bool IsKept(std::string const& object) const { return m_KeepAll || m_Kept.contains(object); }
  [[nodiscard]] bool DeclinesObjects() const { return m_DeclineObjects; }
  [[nodiscard]] int FieldPresent(cls_FieldHandle const& field) const { return Answer(m_FieldPresent, field); }
  [[nodiscard]] int DataPresent(cls_FieldHandle const& field) const { return Answer(m_DataPresent, field); }
  [[nodiscard]] int Count() const { return m_Count; }
  [[nodiscard]] int RowWidth() const { return m_RowWidth; }
  [[nodiscard]] unsigned int ClassId() const { return m_ClassId; }
  [[nodiscard]] int ClassVersion() const { return m_ClassVersion; }
  [[nodiscard]] int ObjectCount() const { return m_ObjectCount; }

  /// The stored value of a field; null if there is none of this type.
  template <class T>
  [[nodiscard]] T const* Stored(std::string const& object, cls_FieldHandle const& field) const {
    std::string const name(field.Name().View());
    T const* const own = Find<T>(object + "." + name);
    return own != nullptr ? own : Find<T>(name);
  }
  template <class T> [[nodiscard]] std::vector<T> List() const {
    return FindOr<std::vector<T>>(ListKey<T>());
  }
  template <class K, class T> [[nodiscard]] std::vector<std::pair<K, T>> Map() const {
    return FindOr<std::vector<std::pair<K, T>>>(MapKey<K, T>());
  }
  template <class K> [[nodiscard]] std::vector<K> Keys() const {
    return FindOr<std::vector<K>>(KeysKey<K>());
  }

  /// Counts a new object and names it.
  std::string Enter(RecordedObject* object, std::string const& kind);
  void Leave(RecordedObject* object);

 private:
  template <class T> static std::string ListKey();
  template <class K, class T> static std::string MapKey();
  template <class K> static std::string KeysKey();

  template <class T> [[nodiscard]] T const* Find(std::string const& key) const {
    auto const found = m_Values.find(key);
    return found == m_Values.end() ? nullptr : std::any_cast<T>(&found->second);
  }
  template <class T> [[nodiscard]] T FindOr(std::string const& key) const {
    T const* const found = Find<T>(key);
    return found == nullptr ? T() : *found;
  }
  static int Answer(std::map<std::string, int> const& answers, cls_FieldHandle const& field) {
    auto const found = answers.find(std::string(field.Name().View()));
    return found == answers.end() ? 0 : found->second;
  }

  std::vector<std::string> m_Lines;
  std::map<void const*, std::string> m_Names;
  std::vector<RecordedObject*> m_Live;
  std::map<std::string, int> m_Numbers; // last number used for each kind
  int m_Made = 0;
  std::set<std::string> m_Kept;
  bool m_KeepAll = false;
  bool m_DeclineObjects = false;
  std::map<std::string, std::any> m_Values;
  std::map<std::string, int> m_FieldPresent;
  std::map<std::string, int> m_DataPresent;
  int m_Count = 0;
  int m_RowWidth = 1;
  int m_ObjectCount = 0;
  unsigned int m_ClassId = 1;
  int m_ClassVersion = -1;
  std::string m_FailOperation;
  int m_FailCountdown = 0;
};

/// Part of every object of a recording back end: its name, log and accounting.
class RecordedObject {
 public:
  RecordedObject(Recorder& recorder, std::string const& kind)
      : m_Recorder(recorder), m_Name(recorder.Enter(this, kind)) {}
  virtual ~RecordedObject() { m_Recorder.Leave(this); }
  RecordedObject(RecordedObject const&) = delete;
  RecordedObject& operator=(RecordedObject const&) = delete;

  [[nodiscard]] std::string const& ObjectName() const { return m_Name; }

 protected:
  /// Logs a call with its arguments; throws if the test asked for a failure.
  template <class... Args> void Log(char const* operation, Args const&... args) const;

  /// Logs an answer after the call and returns it.
  template <class T> T Answer(T answer) const;

  /// Logs the name of a new object after the call.
  template <class T> T* AnswerMade(T* made) const {
    m_Recorder.LogResult(made == nullptr ? "null" : made->ObjectName());
    return made;
  }

  /// The memento of an object to write; null if the recorder declines.
  RecordingMementoWrite* AnswerWriter() const;
  RecordingMementoRead* AnswerReader() const;

  bool AnswerNeedsDeletion() const {
    Log("NeedsDeletion");
    return Answer(!m_Recorder.IsKept(m_Name));
  }

  Recorder& m_Recorder;

 private:
  std::string m_Name;
};

// --- The format of arguments in the log.

template <class T> inline constexpr char const* ScalarName = nullptr;
template <> inline constexpr char const* ScalarName<bool> = "bool";
template <> inline constexpr char const* ScalarName<cow_String> = "string";
template <> inline constexpr char const* ScalarName<float> = "float";
template <> inline constexpr char const* ScalarName<double> = "double";
template <> inline constexpr char const* ScalarName<unsigned int> = "uint";
template <> inline constexpr char const* ScalarName<int> = "int";
template <> inline constexpr char const* ScalarName<signed char> = "schar";
template <> inline constexpr char const* ScalarName<short> = "short";
template <> inline constexpr char const* ScalarName<unsigned short> = "ushort";
template <> inline constexpr char const* ScalarName<long long> = "longlong";
template <> inline constexpr char const* ScalarName<unsigned long long> = "ulonglong";

/// `"text"`, or `no text`.
std::string ShownText(cow_String const& text);
/// The shortest digits that identify a number uniquely.
std::string ShownNumber(double value);

/// Decimal, or hexadecimal if it is large enough to be a class ID.
std::string ShownUnsigned(unsigned int value);

/// The type and the value, as "int 5", "string "a"", "bool true".
template <class T> std::string ShownScalar(T const& value) {
  std::string const type = std::string(ScalarName<T>) + " ";
  if constexpr (std::is_same_v<T, cow_String>)
    return type + ShownText(value);
  else if constexpr (std::is_same_v<T, bool>)
    return type + (value ? "true" : "false");
  else if constexpr (std::is_floating_point_v<T>)
    return type + ShownNumber(value);
  else if constexpr (std::is_same_v<T, unsigned int>)
    return type + ShownUnsigned(value);
  else
    return type + std::to_string(value);
}

template <class T> std::string Shown(Recorder const& recorder, T const& value) {
  if constexpr (std::is_same_v<T, cls_FieldHandle>)
    return "field " + std::to_string(value.FieldId()) + " " + ShownText(value.Name());
  else if constexpr (std::is_same_v<T, cls_Uid>)
    return "uid " + recorder.NameOf(value.Entry());
  else if constexpr (std::is_same_v<T, cls_CollectionType>)
    return "type " + std::to_string(static_cast<int>(value));
  else if constexpr (ScalarName<T> != nullptr)
    return ShownScalar(value);
  else if constexpr (ScalarName<std::remove_cv_t<std::remove_pointer_t<T>>> != nullptr) // a tag
    return "tag " + (value == nullptr ? "null" : ShownScalar(*value));
  else
    return recorder.NameOf(value);
}

template <class... Args> void RecordedObject::Log(char const* operation, Args const&... args) const {
  std::string shown;
  ((shown += (shown.empty() ? "" : ", ") + Shown(m_Recorder, args)), ...);
  m_Recorder.LogCall(m_Name, operation, shown);
}

template <class T> T RecordedObject::Answer(T answer) const {
  m_Recorder.LogResult(Shown(m_Recorder, answer));
  return answer;
}

template <class T> std::string Recorder::ListKey() {
  return std::string("list of ") + ScalarName<T>;
}
template <class K, class T> std::string Recorder::MapKey() {
  return std::string("map from ") + ScalarName<K> + " to " + ScalarName<T>;
}
template <class K> std::string Recorder::KeysKey() {
  return std::string("keys of ") + ScalarName<K>;
}

/// The expected lines of a log, to compare with TakeLines.
using Lines = std::vector<std::string>;
