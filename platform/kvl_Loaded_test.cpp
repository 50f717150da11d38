#include "platform/kvl_Loaded.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

int s_Here = 0;

TEST(kvl_Loaded, CodeAndDataOfOneProgramAreOneModule) {
  EXPECT_TRUE(kvl_AreOneModule(&s_Here, &s_Here));
  EXPECT_TRUE(kvl_AreOneModule(&s_Here, "a literal"));
}

TEST(kvl_Loaded, FunctionsOfOneLibraryAreOneModule) {
  void const* const initialize = dlsym(RTLD_DEFAULT, "_Z14mem_initializeRi");
  void const* const finalize = dlsym(RTLD_DEFAULT, "_Z12mem_finalizeRi");
  ASSERT_NE(initialize, nullptr);
  ASSERT_NE(finalize, nullptr);
  EXPECT_TRUE(kvl_AreOneModule(initialize, finalize));
  EXPECT_FALSE(kvl_AreOneModule(initialize, &s_Here));
  EXPECT_FALSE(kvl_AreOneModule(initialize, dlsym(RTLD_DEFAULT, "fputs")));
}

TEST(kvl_Loaded, HeapIsOfNoModule) {
  auto const onHeap = std::make_unique<int>(1);
  EXPECT_FALSE(kvl_AreOneModule(onHeap.get(), onHeap.get()));
  EXPECT_FALSE(kvl_AreOneModule(onHeap.get(), &s_Here));
  EXPECT_FALSE(kvl_AreOneModule(nullptr, nullptr));
}

TEST(kvl_Loaded, KeepingTheProgramOrTheHeapDoesNothing) {
  auto const onHeap = std::make_unique<int>(1);
  kvl_KeepLoaded(onHeap.get());
  kvl_KeepLoaded(nullptr);
  kvl_KeepLoaded(&s_Here);
}

} // namespace
