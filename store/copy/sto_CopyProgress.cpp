#include "store/copy/sto_CopyProgress.h"

#include <sstream>

std::string sto_CopyProgress::Note() const {
  return "copying " + m_Source + ' ' + std::to_string(static_cast<int>(m_Part)) + ' ' +
         std::to_string(m_Next);
}

std::optional<sto_CopyProgress> sto_CopyProgress::Of(std::string_view note, std::string const& source) {
  std::istringstream text{std::string(note)};
  std::string word;
  sto_CopyProgress progress;
  int part = 0;
  if (!(text >> word >> progress.m_Source >> part >> progress.m_Next) || word != "copying" ||
      progress.m_Source != source || part < 0 || part > static_cast<int>(Part::Done))
    return std::nullopt;
  progress.m_Part = static_cast<Part>(part);
  return progress;
}
