// Error entries, the standard handler and the version record and macros.
#include <gtest/gtest.h>

#include <cstring>

#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

// The handler raises exactly the flag of the code (overflow and underflow with
// inexact); the entries never load their values, so a signalling NaN raises nothing.
TEST(ErrorEntries, RaiseExactlyTheFlagOfTheCode) {
  const float fsnan = float_from_bits(0x7F800001), tiny = 1e-45f;
  const double dsnan = double_from_bits(0x7FF0000000000001), one = 1.0;
  const struct {
    int code;
    uint16_t expected;
  } codes[] = {{12, kOverflow | kInexact}, {17, kUnderflow | kInexact}, {18, kDivByZero}, {19, kInvalid},
               {13, 0}, {0, 0}, {-6, 0}};
  for (const auto& c : codes)
    for (uint16_t cw : {kDefault, kSingle}) {
      ScopedControlWord scope(cw);
      auto expect = [&](const char* entry) {
        EXPECT_EQ(flags(), c.expected) << entry << ", code " << c.code << ", word " << cw;
        clear_flags();
      };
      OrxErrorRecord r = {};
      r.code = c.code;
      _orxStdErrorHandlerExcept(&r);
      expect("handler");
      orxsError(c.code, 3, &fsnan, &tiny, &tiny, &fsnan, "sCos_HA");
      expect("single entry");
      orxdError(c.code, 0, &dsnan, &one, &dsnan, &one, "");
      expect("double entry");
    }
}

TEST(Version, RecordIsExact) {
  const KelLibraryVersion* v = kelvmGetLibVersion();
  ASSERT_NE(v, nullptr);
  EXPECT_TRUE(v->major == 5 && v->minor == 2 && v->majorBuild == 108 && v->build == 348);
  EXPECT_EQ(std::memcmp(v->targetCpu, "px\0\0", 4), 0);
  EXPECT_STREQ(v->name, "libkelvmpx.so.5.2");
  EXPECT_STREQ(v->version, "5.2");
  EXPECT_STREQ(v->buildDate, "Jul 11 2007");
  EXPECT_TRUE(v->major == KELVM_VERSION_MAJOR && v->minor == KELVM_VERSION_MINOR &&
              v->majorBuild == KELVM_VERSION_MAJOR_BUILD && v->build == KELVM_VERSION_BUILD);
  EXPECT_STREQ(v->name, "libkelvmpx.so." KELVM_VERSION_STRING);
}

}  // namespace
