#pragma once

#include <exception>
#include <thread>

/// Runs `function` on a new thread, which starts without any per-thread service, and waits for it. An
/// exception of the function is rethrown in the caller.
template <class Function> void OnThread(Function function) {
  std::exception_ptr failure;
  std::thread([&] {
    try {
      function();
    } catch (std::exception const&) {
      failure = std::current_exception();
    }
  }).join();
  if (failure) std::rethrow_exception(failure);
}
