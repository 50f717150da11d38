#pragma once

/// What a test plug-in offers to its host, as a table of functions: the host is not linked to the library.
struct PluginApi {
  void (*m_Start)() = nullptr; ///< nex_initialize
  void (*m_Stop)() = nullptr;  ///< nex_finalize
  bool (*m_Use)() = nullptr;   ///< makes and destroys identities, constants, strings, an array, an exception
  void (*m_HoldInThread)() = nullptr; ///< fills a thread-local object with identities
  void (*m_HoldInStatic)() = nullptr; ///< fills a static object, which was built when the plug-in was loaded
  void (*m_DropStatic)() = nullptr;   ///< empties it
  void (*m_UseService)() = nullptr; ///< makes the thread's instance of a per-thread singleton of the plug-in
  int (*m_ServicesEnded)() = nullptr;         ///< how many threads' instances have ended
  void (*m_Declare)() = nullptr;              ///< declares a class and its type to the library
  bool (*m_KnowsClass)(int plugin) = nullptr; ///< whether all that plug-in `plugin` declares can be looked up
  void (*m_Throw)() = nullptr;                ///< throws a nex_TextException
  bool (*m_Catches)(void (*thrower)()) =
      nullptr; ///< calls `thrower`; whether it catches that as a nex_Exception
};

/// The name of the function that returns the table.
constexpr char PluginEntry[] = "plugin_Api";
