// The header's version macros describe the library that is loaded.
#include <gtest/gtest.h>

#include "kelvm.h"

namespace {

TEST(Version, HeaderMacrosMatchTheRecord) {
  const KelLibraryVersion* v = kelvmGetLibVersion();
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->major, KELVM_VERSION_MAJOR);
  EXPECT_EQ(v->minor, KELVM_VERSION_MINOR);
  EXPECT_EQ(v->majorBuild, KELVM_VERSION_MAJOR_BUILD);
  EXPECT_EQ(v->build, KELVM_VERSION_BUILD);
  EXPECT_STREQ(v->version, KELVM_VERSION_STRING);
  EXPECT_STREQ(v->name, "libkelvmpx.so." KELVM_VERSION_STRING);
}

}  // namespace
