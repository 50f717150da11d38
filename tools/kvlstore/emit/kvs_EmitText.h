#pragma once

#include <string>
#include <string_view>

// Texts of a store in source code. They may be anything: quotes, line ends, bytes that are no UTF-8.

/// A literal of C++, with its quotes. Printable UTF-8 is kept, all other bytes are octal.
[[nodiscard]] std::string kvs_CppLiteral(std::string_view text);

/// A literal of Python, with its quotes. Bytes that are no UTF-8 are what os.fsdecode makes of them.
[[nodiscard]] std::string kvs_PythonLiteral(std::string_view text);

/// A text for a comment of one line, of C++ and of Python: it has no line end, and does not end with a backslash. What is
/// longer than 300 bytes is cut.
[[nodiscard]] std::string kvs_CommentText(std::string_view text);

/// Makes an identifier of letters, digits and single underscores: what else a name has becomes an underscore. It begins
/// with a letter, or is "x" and what follows.
[[nodiscard]] std::string kvs_Identifier(std::string_view name);

/// Whether an identifier means something else in C++ code that includes the standard library and this one: a keyword, a
/// macro, or a name of the library.
[[nodiscard]] bool kvs_IsTakenInCpp(std::string_view identifier);
/// The same for Python, and for a module of dataclasses.
[[nodiscard]] bool kvs_IsTakenInPython(std::string_view identifier);
