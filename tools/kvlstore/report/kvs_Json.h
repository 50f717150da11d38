#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

/// Writes JSON that is safe in a <script> of an HTML file: no text ends the script or begins a comment in it. Texts are made
/// visible (kvs_VisibleText).
///
///     json.Begin('{').Key("name").Text(name).Key("ids").Begin('[').Int(1).Int(2).End(']').End('}');
///
/// REQUIRES: brackets match, and in an object each value has a key. Writes in pieces of some 64 KiB.
class kvs_Json {
 public:
  explicit kvs_Json(std::ostream& out) : m_Out(out) {}
  kvs_Json(kvs_Json const&) = delete;
  kvs_Json& operator=(kvs_Json const&) = delete;
  ~kvs_Json() { Flush(); }

  kvs_Json& Begin(char bracket);
  kvs_Json& End(char bracket);
  /// How many brackets are open.
  [[nodiscard]] std::size_t Depth() const noexcept { return m_Open.size(); }
  /// Ends brackets until `depth` are open, after a failure; a key without a value gets null.
  void EndTo(std::size_t depth);
  /// REQUIRES: the name needs no escapes.
  kvs_Json& Key(std::string_view name);

  static constexpr std::int64_t MaxText = 1000;

  /// A text; of a longer one than `most` bytes the first ones, and an ellipsis.
  kvs_Json& Text(std::string_view text, std::int64_t most = MaxText);
  kvs_Json& Bool(bool value);
  kvs_Json& Null();
  /// A whole number; a text if a program in the page could not keep all of its digits.
  kvs_Json& Int(std::int64_t value);
  kvs_Json& UInt(std::uint64_t value);
  /// With all digits. What is no number is a text: "NaN", "Infinity", "-Infinity".
  kvs_Json& Double(double value);
  /// The digits of a float, which are fewer.
  kvs_Json& Float(float value);
  /// For plots: six digits, and null for what is no number.
  kvs_Json& Rounded(double value);

  /// What is JSON already.
  kvs_Json& Raw(std::string_view json);

  /// Of all that was written.
  [[nodiscard]] std::int64_t Bytes() const noexcept {
    return m_Written + static_cast<std::int64_t>(m_Buffer.size());
  }
  void Flush();

 private:
  /// What comes before a value.
  void BeginValue();
  void Escape(char character);

  std::ostream& m_Out;
  std::string m_Buffer;
  std::int64_t m_Written = 0;
  std::string m_Open; // how the open brackets end
  bool m_NeedsComma = false;
  bool m_IsAfterKey = false;
};
