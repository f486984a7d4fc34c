#include <gtest/gtest.h>

#include "common/vectorised.h"

namespace {

// PlainReference holds the form that the loader takes, CommonForm.PlainReference the other: on a machine with
// AVX2 both are held.
#if defined(OMBRIX_OWN_FORMS)
OMBRIX_COMMON_FORM bool isAvx2Form() { return false; }
OMBRIX_AVX2_FORM bool isAvx2Form() { return true; }

TEST(KernelForms, TheLoaderTakesAvx2WhereItIs) {
  if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "no AVX2 here: the form for it is not tested";
  EXPECT_TRUE(isAvx2Form());
}
#endif

// 1 + 2^-11 + 2^-24 is rounded before the sum: fused, 2^-24 would be left of it. Where machines fuse by
// themselves, this and all kernels rely on the same flag.
TEST(KernelForms, AProductIsRoundedBeforeASum) {
  volatile float factor = 1.0f + 0x1p-12f, less = -1.0f - 0x1p-11f;
  const float a = factor, b = less;
  EXPECT_EQ(a * a + b, 0.0f);
}

}  // namespace
