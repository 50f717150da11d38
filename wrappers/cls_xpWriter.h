#pragma once

#include <memory>

/// Deletes a collection builder if it needs deletion; otherwise the back end keeps it.
template <class Writer> struct cls_xpDeleteWriter {
  void operator()(Writer* writer) const {
    if (writer->NeedsDeletion()) delete writer;
  }
};

/// A collection builder, held while a wrapper writes to it.
template <class Writer> using cls_xpWriter = std::unique_ptr<Writer, cls_xpDeleteWriter<Writer>>;
