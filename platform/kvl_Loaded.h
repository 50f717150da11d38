#pragma once

#include <dlfcn.h>
#include <link.h>

#include <cstdint>

// What a library needs to know of the plug-ins that use it. Linux and its relatives only, as platform/thr.

/// Keeps the plug-in or library that contains `address` loaded until the process ends, whoever unloads it.
/// For code that others will call at a time of their own, such as the end of a thread. Does nothing for an
/// address in the program itself or on the heap.
///
/// Thread rule: from any thread. The dynamic loader holds a lock while it runs the constructors of a plug-in,
/// and this takes that lock: hold no lock that such a constructor may wait for.
inline void kvl_KeepLoaded(void const* address) noexcept {
  Dl_info module{};
  if (dladdr(address, &module) == 0 || module.dli_fname == nullptr) return;
  // Never closed: that is what keeps it. The program itself cannot be opened, and the caller's next dlerror
  // is not to say so.
  if (dlopen(module.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) == nullptr)
    (void)dlerror(); // NOLINT(concurrency-mt-unsafe): each thread has its own text
}

/// Whether two addresses of code or of static data belong to the same program, library or plug-in. Unlike
/// kvl_KeepLoaded, this takes no lock that constructors run under.
inline bool kvl_AreOneModule(void const* one, void const* other) noexcept {
  struct Search {
    std::uintptr_t m_One, m_Other;
    static int Visit(dl_phdr_info* module, std::size_t, void* search) {
      auto const& sought = *static_cast<Search const*>(search);
      bool hasOne = false;
      bool hasOther = false;
      for (int i = 0; i < module->dlpi_phnum; ++i) {
        auto const& segment = module->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD) continue;
        std::uintptr_t const begin = module->dlpi_addr + segment.p_vaddr;
        hasOne = hasOne || sought.m_One - begin < segment.p_memsz; // unsigned: also false below the beginning
        hasOther = hasOther || sought.m_Other - begin < segment.p_memsz;
      }
      return hasOne && hasOther ? 1 : 0;
    }
  } search{reinterpret_cast<std::uintptr_t>(one), reinterpret_cast<std::uintptr_t>(other)};
  return dl_iterate_phdr(&Search::Visit, &search) != 0;
}
