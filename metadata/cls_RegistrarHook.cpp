#include "metadata/cls_RegistrarHook.h"

#include <utility>

namespace {
cls_RegistrarHook* s_Hook = nullptr;
}

cls_RegistrarHook::~cls_RegistrarHook() = default;
cls_RegistrarHook* cls_RegistrarHook::Install(cls_RegistrarHook* hook) noexcept {
  return std::exchange(s_Hook, hook);
}
cls_RegistrarHook* cls_RegistrarHook::Installed() noexcept {
  return s_Hook;
}
