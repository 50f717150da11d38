#pragma once

/// Marks what a shared library exports; everything else is hidden by the build.
#if defined(__GNUC__)
#define KVL_EXPORT __attribute__((visibility("default")))
/// What an exported class keeps to its own library.
#define KVL_LOCAL __attribute__((visibility("hidden")))
/// The thread-local model of the few variables on hot paths: their libraries are loaded with the program, so
/// the address is one offset away instead of a call.
#define KVL_TLS_INITIAL_EXEC __attribute__((tls_model("initial-exec")))
#else
#define KVL_EXPORT
#define KVL_LOCAL
#define KVL_TLS_INITIAL_EXEC
#endif
