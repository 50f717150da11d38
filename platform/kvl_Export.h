#pragma once

// Classes that derive from the library's would lack what its dynamic_cast and typeid read. Platform libraries
// of a host have no such classes; they may define KVL_WITHOUT_RTTI.
#if !defined(__cpp_rtti) && !defined(KVL_WITHOUT_RTTI)
#error "KVLpersist needs run-time type information, for dynamic_cast and typeid: do not use -fno-rtti"
#endif

/// Marks what a shared library exports; everything else is hidden by the build. Static libraries (KVL_STATIC)
/// export nothing: a plug-in that they are linked into has a copy of its own.
#if defined(KVL_STATIC)
#define KVL_EXPORT
#define KVL_LOCAL
// A static library may become part of a plug-in, and those have little room for this model.
#define KVL_TLS_INITIAL_EXEC
#elif defined(__GNUC__)
#define KVL_EXPORT __attribute__((visibility("default")))
/// Hides a member of an exported class from other libraries.
#define KVL_LOCAL __attribute__((visibility("hidden")))
/// The thread-local model for the few variables on hot paths. Their libraries are loaded with the program, so
/// an access needs only an offset instead of a call.
#define KVL_TLS_INITIAL_EXEC __attribute__((tls_model("initial-exec")))
#else
#define KVL_EXPORT
#define KVL_LOCAL
#define KVL_TLS_INITIAL_EXEC
#endif
