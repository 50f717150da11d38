#pragma once

#include <ostream>
#include <streambuf>

#include "tools/kvlstore/base/kvs_Output.h"

/// A stream whose text goes to the output. What the output raises gets through to who writes to the stream.
class kvs_OutputStream : public std::ostream {
 public:
  explicit kvs_OutputStream(kvs_Output& output) : std::ostream(nullptr), m_Buffer(output) {
    rdbuf(&m_Buffer);
    exceptions(std::ios::badbit);
  }

 private:
  class Buffer : public std::streambuf {
   public:
    explicit Buffer(kvs_Output& output) : m_Out(output) {}

   protected:
    std::streamsize xsputn(char const* text, std::streamsize count) override {
      m_Out.Write({text, static_cast<std::size_t>(count)});
      return count;
    }
    int_type overflow(int_type character) override {
      if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
      char const one = traits_type::to_char_type(character);
      m_Out.Write({&one, 1});
      return character;
    }

   private:
    kvs_Output& m_Out;
  };

  Buffer m_Buffer;
};
