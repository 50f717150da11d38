#include "tools/kvlstore/emit/kvs_EmitText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace {

constexpr std::size_t MostOfComment = 300;

/// One character of UTF-8 at the beginning of a text.
struct Character {
  std::size_t m_Bytes = 1;
  std::uint32_t m_Code = 0;
  bool m_IsValid = false;
};

Character First(std::string_view text) {
  auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char const lead = byte(0);
  if (lead < 0x80) return {1, lead, true};
  std::size_t const count = lead >= 0xF0 && lead < 0xF5   ? 4
                            : lead >= 0xE0 && lead < 0xF0 ? 3
                            : lead >= 0xC2 && lead < 0xE0 ? 2
                                                          : 0;
  if (count == 0 || count > text.size()) return {1, lead, false};
  std::uint32_t code = lead & (0xFFU >> (count + 1));
  for (std::size_t i = 1; i < count; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) return {1, lead, false};
    code = (code << 6U) | (byte(i) & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 5> Least{0, 0, 0x80, 0x800, 0x10000};
  bool const isSurrogate = code >= 0xD800 && code < 0xE000;
  if (code < Least[count] || code > 0x10FFFF || isSurrogate) return {1, lead, false};
  return {count, code, true};
}

/// Whether a character is shown as itself. Those that change the direction of what follows are not, nor are line ends of
/// Unicode and what takes no room.
bool IsShown(Character const& character) {
  std::uint32_t const code = character.m_Code;
  if (!character.m_IsValid || code < 0x20 || (code >= 0x7F && code < 0xA0)) return false;
  bool const isFormat = code == 0xAD || code == 0x61C || (code >= 0x180B && code <= 0x180E) ||
                        (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
                        (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF ||
                        (code >= 0xFFF0 && code <= 0xFFFF) || code >= 0xE0000;
  return !isFormat;
}

template <class... Values> std::string Formatted(char const* format, Values... values) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

/// Calls `add` with each character of a text and its bytes.
template <class Add> void ForEachCharacter(std::string_view text, Add add) {
  while (!text.empty()) {
    Character const character = First(text);
    add(character, text.substr(0, character.m_Bytes));
    text.remove_prefix(character.m_Bytes);
  }
}

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

template <std::size_t Count>
bool Has(std::array<std::string_view, Count> const& names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

/// Keywords, and words that the standard or this library gives a meaning to where the code uses them.
constexpr auto CppWords = std::to_array<std::string_view>(
    {"alignas", "alignof", "and", "and_eq", "asm", "atomic_cancel", "atomic_commit", "atomic_noexcept",
     "auto", "bitand", "bitor", "bool", "break", "case", "catch", "char", "char16_t", "char32_t", "char8_t",
     "class", "co_await", "co_return", "co_yield", "compl", "concept", "const", "const_cast", "consteval",
     "constexpr", "constinit", "continue", "decltype", "default", "delete", "do", "double", "dynamic_cast",
     "else", "enum", "explicit", "export", "extern", "false", "final", "float", "for", "friend", "goto", "if",
     "import", "inline", "int", "long", "module", "mutable", "namespace", "new", "noexcept", "not", "not_eq",
     "nullptr", "operator", "or", "or_eq", "override", "private", "protected", "public", "reflexpr",
     "register", "reinterpret_cast", "requires", "return", "short", "signed", "sizeof", "static",
     "static_assert", "static_cast", "struct", "switch", "synchronized", "template", "this", "thread_local",
     "throw", "true", "try", "typedef", "typeid", "typename", "union", "unsigned", "using", "virtual", "void",
     "volatile", "wchar_t", "while", "xor", "xor_eq",
     // macros in lower case
     "assert", "errno", "i386", "linux", "major", "makedev", "minor", "offsetof", "setjmp", "stderr", "stdin",
     "stdout", "unix",
     // macros in upper case; those that begin with E, SIG and the like are found by their beginnings
     "BUFSIZ", "DOMAIN", "FILENAME_MAX", "FOPEN_MAX", "HUGE", "HUGE_VAL", "HUGE_VALF", "HUGE_VALL",
     "INFINITY", "MB_CUR_MAX", "MB_LEN_MAX", "NAN", "NDEBUG", "NULL", "OVERFLOW", "PLOSS", "RAND_MAX", "SING",
     "TLOSS", "TMP_MAX", "UNDERFLOW",
     // names in the code itself
     "std", "kvl", "field", "stored", "registrar", "value", "AfterRead", "DBWrite", "Declare",
     "DeclareClasses", "Describe", "TypeId", "Uid"});

constexpr auto CppBeginnings = std::to_array<std::string_view>(
    {"Take_",  "kvl_",    "KVL_",     "kvs_",    "sto_",    "cls_",        "dsc_",    "cow_",     "atr_",
     "nex_",   "omi_",    "thr_",     "typ_",    "ATTR_",   "COLLECTION_", "CHAR_",   "SCHAR_",   "UCHAR_",
     "SHRT_",  "USHRT_",  "INT_",     "UINT_",   "LONG_",   "ULONG_",      "LLONG_",  "ULLONG_",  "FLT_",
     "DBL_",   "LDBL_",   "DECIMAL_", "FE_",     "FP_",     "INT8_",       "INT16_",  "INT32_",   "INT64_",
     "UINT8_", "UINT16_", "UINT32_",  "UINT64_", "INTMAX_", "UINTMAX_",    "INTPTR_", "UINTPTR_", "PTRDIFF_",
     "SIZE_",  "SSIZE_",  "WCHAR_",   "WINT_",   "LC_",     "MATH_",       "M_",      "PRI",      "SCN",
     "SEEK_",  "EXIT_",   "CLOCKS_",  "TIME_",   "ATOMIC_", "PTHREAD_",    "POSIX_",  "XOPEN_",   "SCHED_",
     "CLONE_", "CLOCK_",  "TIMER_",   "L_",      "BIG_",    "LITTLE_",     "BYTE_"});

bool IsUpper(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return (c >= 'A' && c <= 'Z') || IsDigit(c) || c == '_'; });
}

/// Numbers of errors and of signals: EOF, EINVAL, SIGTERM.
bool IsSystemMacro(std::string_view name) {
  return name.size() > 2 && IsUpper(name) &&
         (name.front() == 'E' || name.starts_with("SIG") || name.starts_with("SA_"));
}

constexpr auto PythonWords = std::to_array<std::string_view>(
    {"False", "None", "True", "and", "as", "assert", "async", "await", "break", "case", "class", "continue",
     "def", "del", "elif", "else", "except", "finally", "for", "from", "global", "if", "import", "in", "is",
     "lambda", "match", "nonlocal", "not", "or", "pass", "print", "raise", "return", "try", "type", "while",
     "with", "yield", "self",
     // names in the code itself
     "annotations", "dataclass", "field", "dataclasses", "enum", "typing", "ClassVar", "IntEnum", "Optional",
     "bool", "bytes", "complex", "dict", "float", "int", "list", "object", "str", "name", "value", "mro",
     "CLASSES", "CLASS_ID", "VERSION", "STORED_NAME"});

} // namespace

std::string kvs_CppLiteral(std::string_view text) {
  std::string literal = "\"";
  ForEachCharacter(text, [&](Character const& character, std::string_view bytes) {
    char const c = bytes.front();
    if (c == '"' || c == '\\' || c == '?') // two question marks may begin a trigraph
      literal += '\\';
    if (IsShown(character))
      literal += bytes;
    else
      for (char const each : bytes)
        literal += Formatted("\\%03o", static_cast<unsigned int>(static_cast<unsigned char>(each)));
  });
  return literal += '"';
}

std::string kvs_PythonLiteral(std::string_view text) {
  std::string literal = "\"";
  ForEachCharacter(text, [&](Character const& character, std::string_view bytes) {
    if (bytes == "\"" || bytes == "\\") literal += '\\';
    if (IsShown(character))
      literal += bytes;
    else if (character.m_IsValid)
      literal += Formatted("\\U%08X", static_cast<unsigned int>(character.m_Code));
    else
      literal += Formatted("\\udc%02x", static_cast<unsigned int>(character.m_Code));
  });
  return literal += '"';
}

std::string kvs_CommentText(std::string_view text) {
  std::string comment;
  bool isCut = false;
  ForEachCharacter(text, [&](Character const& character, std::string_view bytes) {
    isCut = isCut || comment.size() > MostOfComment;
    if (isCut) return;
    if (bytes == "\n" || bytes == "\r" || bytes == "\t")
      comment += ' ';
    else if (bytes == "\\") // at the end of a line it would join the next one to the comment
      comment += '/';
    else if (bytes == "?" && comment.ends_with('?')) // a trigraph may mean a backslash
      comment += " ?";
    else if (IsShown(character))
      comment += bytes;
    else
      comment += '?';
  });
  return isCut ? comment + " ..." : comment;
}

std::string kvs_Identifier(std::string_view name) {
  std::string identifier;
  for (char const c : name) {
    char const next = IsLetter(c) || IsDigit(c) ? c : '_';
    if (next == '_' && (identifier.empty() || identifier.back() == '_')) continue;
    identifier += next;
  }
  if (identifier.empty() || !IsLetter(identifier.front())) identifier.insert(0, "x");
  constexpr std::size_t Longest = 200;
  if (identifier.size() > Longest) identifier.resize(Longest);
  return identifier;
}

bool kvs_IsTakenInCpp(std::string_view identifier) {
  return Has(CppWords, identifier) || IsSystemMacro(identifier) ||
         std::ranges::any_of(CppBeginnings,
                             [&](std::string_view beginning) { return identifier.starts_with(beginning); });
}

bool kvs_IsTakenInPython(std::string_view identifier) {
  return Has(PythonWords, identifier);
}
