#pragma once

#include <cstddef>
#include <memory>
#include <utility>

/// A function that tests hand to their helpers. Like std::function, but its copies share what the function has captured,
/// and the compiler writes three functions for each lambda and not fifteen: tests have thousands of lambdas.
template <class... Arguments> class HeldFunction {
 public:
  HeldFunction() = default;
  HeldFunction(std::nullptr_t) {} // NOLINT(google-explicit-constructor): none
  template <class Function>
  requires requires(Function& function, Arguments... arguments) { function(arguments...); }
  HeldFunction(Function function) { // NOLINT(google-explicit-constructor): a lambda is one
    // Holders do not depend on the function's type, so they are not compiled for each lambda.
    auto held = std::make_shared<Held>(&Call<Function>, &Delete<Function>);
    held->m_Function = new Function(static_cast<Function&&>(function));
    m_Held = std::move(held);
  }

  explicit operator bool() const noexcept { return m_Held != nullptr; }
  void operator()(Arguments... arguments) const { m_Held->m_Call(m_Held->m_Function, arguments...); }

 private:
  struct Held {
    using Caller = void (*)(void*, Arguments...);
    using Deleter = void (*)(void*);
    Held(Caller call, Deleter destroy) : m_Call(call), m_Delete(destroy) {}
    Held(Held const&) = delete;
    Held& operator=(Held const&) = delete;
    ~Held() { m_Delete(m_Function); }

    void* m_Function = nullptr;
    Caller m_Call;
    Deleter m_Delete;
  };

  template <class Function> static void Call(void* function, Arguments... arguments) {
    static_cast<void>((*static_cast<Function*>(function))(arguments...));
  }
  template <class Function> static void Delete(void* function) { delete static_cast<Function*>(function); }

  std::shared_ptr<Held> m_Held;
};
