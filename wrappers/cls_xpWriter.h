#pragma once

#include <memory>

/// Deletes a collection builder if it is its receiver's to delete, and leaves it to the back end otherwise.
template <class Writer> struct cls_xpDeleteWriter {
  void operator()(Writer* writer) const {
    if (writer->NeedsDeletion()) delete writer;
  }
};

/// A collection builder for the time that a wrapper writes to it.
template <class Writer> using cls_xpWriter = std::unique_ptr<Writer, cls_xpDeleteWriter<Writer>>;
