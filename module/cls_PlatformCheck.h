#pragma once

#include <cstring>
#include <string>

#include "platform/atr/atr_Layout.h"
#include "platform/cow/cow_Layout.h"
#include "platform/mem/mem_Layout.h"
#include "platform/omni/omni_Layout.h"
#include "platform/thr/thr_Layout.h"
#include "platform/typ/typ_Layout.h"

/// Whether the platform libraries that are loaded have the layouts that the code was compiled with.
///
/// A host has its own editions of these libraries and can exchange them under a finished program. With another
/// layout, strings and containers would be damaged without a sign. The functions are inline because the check
/// at configure time (PlatformCheckMain.cpp) runs before there is a library to link. They use the standard
/// library alone: nothing of a platform that may not fit.
struct KVL_LOCAL cls_PlatformCheck {
  /// What is wrong with a loaded library, as one sentence; empty if it fits. Entries that only the loaded
  /// library has are ignored.
  [[nodiscard]] static std::string Fault(char const* library, kvl_Layout const& compiled,
                                         kvl_Layout const& loaded) {
    if (loaded.m_Version != compiled.m_Version)
      return std::string("KVL") + library + " follows version " + std::to_string(loaded.m_Version) +
             " of the platform's contract, but KVLpersist version " + std::to_string(compiled.m_Version) +
             ".";
    for (int i = 0; i < compiled.m_Count; ++i) {
      kvl_LayoutEntry const& wanted = compiled.m_Entries[i];
      std::string const subject = std::string("in KVL") + library + ", " + wanted.m_Name + " ";
      kvl_LayoutEntry const* const found = Find(loaded, wanted.m_Name);
      if (found == nullptr) return subject + "is not listed.";
      if (found->m_Size != wanted.m_Size)
        return subject + "has " + Bytes(found->m_Size) + ", but KVLpersist was compiled with " +
               Bytes(wanted.m_Size) + ".";
      if (found->m_Alignment != wanted.m_Alignment)
        return subject + "is aligned to " + Bytes(found->m_Alignment) +
               ", but KVLpersist was compiled with " + Bytes(wanted.m_Alignment) + ".";
      if (found->m_Offset != wanted.m_Offset)
        return subject + "begins after " + Bytes(found->m_Offset) + ", but KVLpersist was compiled with " +
               Bytes(wanted.m_Offset) + ".";
    }
    return {};
  }

  /// The first fault of the six loaded libraries, in the order in which they are started; empty if all fit.
  [[nodiscard]] static std::string FirstFault() {
    std::string fault = Fault("mem", mem_LayoutAccess::Layout, mem_Layout());
    if (fault.empty()) fault = Fault("typ", typ_LayoutAccess::Layout, typ_Layout());
    if (fault.empty()) fault = Fault("thr", thr_LayoutAccess::Layout, thr_Layout());
    if (fault.empty()) fault = Fault("omni", omni_LayoutAccess::Layout, omni_Layout());
    if (fault.empty()) fault = Fault("atr", atr_LayoutAccess::Layout, atr_Layout());
    if (fault.empty()) fault = Fault("cow", cow_LayoutAccess::Layout, cow_Layout());
    return fault;
  }

  /// Throws std::runtime_error with the first fault, and what to do. Not an exception of the nex_ family: that
  /// holds strings of the platform.
  static void RequireFit();

 private:
  static kvl_LayoutEntry const* Find(kvl_Layout const& layout, char const* name) {
    for (int i = 0; i < layout.m_Count; ++i)
      if (std::strcmp(layout.m_Entries[i].m_Name, name) == 0) return layout.m_Entries + i;
    return nullptr;
  }
  static std::string Bytes(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
  }
};
