#include "examples/heat/program/heat_CommandTools.h"

#include "examples/heat/plot/heat_OutputFile.h"
#include "examples/heat/program/heat_Commands.h"
#include "examples/shared/exa_OpenToRead.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "store/sto_Servers.h"

#include <cstdio>
#include <filesystem>

namespace {

void CheckOutput(std::string const& path) {
  try {
    static_cast<void>(heat_OutputTarget(path));
  } catch (heat_OutputError const& error) {
    throw heat_CallError(error.what());
  }
}

} // namespace

cls_ClassRegistrar const& heat_Classes() {
  return omi_Singleton<cls_MetadataRegistrar>::Instance().Registrar1();
}

sto_Options heat_WriteOptions() {
  sto_Options options;
  options.m_Program = "heat"; // in the log of saves
  return options;
}

heat_NewStore::heat_NewStore(std::string const& path)
    : m_Path(sto_IsOnServer(path) ? path : heat_OutputTarget(path)),
      m_Store(sto_Store::Open(m_Path, sto_Mode::Create, heat_Classes(), heat_WriteOptions())) {}

heat_NewStore::~heat_NewStore() {
  if (m_IsKept) return;
  try {
    if (sto_IsOnServer(m_Path))
      sto_RemoveFromServer(m_Path);
    else
      std::filesystem::remove(m_Path);
  } catch (std::exception const&) { // what went wrong before is said already
  }
}

sto_Store heat_OpenToRead(std::string const& path) {
  return exa_OpenToRead(path, heat_Classes());
}

std::string heat_FileName(std::string const& path) {
  if (sto_IsOnServer(path)) return path.substr(path.find('#') + 1);
  return std::filesystem::path(path).filename().string();
}

void heat_CheckPaths(std::string const& meshPath, std::string const& storePath) {
  if (!std::filesystem::exists(meshPath)) throw heat_CallError(meshPath + ": there is no such file");
  if (sto_IsOnServer(storePath)) return;
  // Refuse before the work is done. Creating the store checks again.
  if (std::filesystem::is_regular_file(storePath))
    throw heat_CallError(storePath + ": the file exists already");
  CheckOutput(storePath);
}

void heat_CheckPlotPath(std::string const& plotPath, std::string const& storePath) {
  if (plotPath.empty()) return;
  CheckOutput(plotPath);
  std::error_code code;
  if (std::filesystem::equivalent(plotPath, storePath, code))
    throw heat_CallError(plotPath + ": the plot would overwrite the store");
}

void heat_PrintLeftOut(std::string const& meshPath, heat_LeftOut const& leftOut) {
  if (leftOut.IsNothing()) return;
  std::printf("%s: left out: %s\n", heat_FileName(meshPath).c_str(), leftOut.Text().c_str());
}

void heat_PrintRow(char const* label, std::string const& value) {
  std::printf("  %-22s %s\n", label, value.c_str());
}

std::string heat_Text(char const* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string heat_Milliseconds(double seconds) {
  return heat_Text("%.1f ms", 1000 * seconds);
}
