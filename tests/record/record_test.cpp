// Interposes the standard handler to see the records the error entries build:
// code, index, the four values widened exactly from the caller's pointers,
// and the first character of the name.  A separate program, because the
// interposed handler replaces the library's for the whole process.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "kelvm.h"

namespace {
OrxErrorRecord last;
int calls = 0;
}  // namespace

extern "C" void _orxStdErrorHandlerExcept(const OrxErrorRecord* r) {
  last = *r;
  ++calls;
}

namespace {

uint64_t bits(double x) {
  uint64_t b;
  std::memcpy(&b, &x, 8);
  return b;
}

TEST(ErrorRecord, DoubleEntryCopiesValuesAndFirstLetter) {
  const double a = 1.5, b = -0.0, r1 = 1e-310, r2 = INFINITY;
  orxdError(17, 42, &a, &b, &r1, &r2, "dCos_HA");
  EXPECT_EQ(last.code, 17);
  EXPECT_EQ(last.index, 42);
  EXPECT_EQ(bits(last.arg1), bits(a));
  EXPECT_EQ(bits(last.arg2), bits(b));
  EXPECT_EQ(bits(last.res1), bits(r1));
  EXPECT_EQ(bits(last.res2), bits(r2));
  EXPECT_EQ(last.name[0], 'd');
  EXPECT_EQ(last.name[1], 0);
}

TEST(ErrorRecord, SingleEntryWidensExactly) {
  const float values[][4] = {{1.5f, -0.0f, 0x1p-149f, 0x1.fffffep127f},
                             {0x1.234566p-130f, -3.0f, INFINITY, -INFINITY}};
  for (const auto& v : values) {
    orxsError(12, 7, &v[0], &v[1], &v[2], &v[3], "");
    EXPECT_EQ(bits(last.arg1), bits(static_cast<double>(v[0])));
    EXPECT_EQ(bits(last.arg2), bits(static_cast<double>(v[1])));
    EXPECT_EQ(bits(last.res1), bits(static_cast<double>(v[2])));
    EXPECT_EQ(bits(last.res2), bits(static_cast<double>(v[3])));
    EXPECT_EQ(last.name[0], 0);
  }
  // A NaN keeps its payload in the widened record.
  uint32_t nb = 0x7FC12345;
  float nan;
  std::memcpy(&nan, &nb, 4);
  orxsError(19, 0, &nan, &nan, &nan, &nan, "s");
  EXPECT_EQ(bits(last.arg1), 0x7FF82468A0000000ull);
}

TEST(ErrorRecord, VectorFunctionsPassBasePointers) {
  const double src[4] = {9.0, 1.0, 0.0, 3.0};
  double dst[4];
  const int before = calls;
  EXPECT_EQ(kelsInv_64f_A53(src, dst, 4), kelStatusSingularity);
  EXPECT_EQ(calls, before + 1);
  EXPECT_EQ(last.code, 18);
  EXPECT_EQ(last.index, 2);
  EXPECT_EQ(last.arg1, 9.0);  // element 0, not the reported element
  EXPECT_EQ(last.arg2, 9.0);
  EXPECT_EQ(last.res1, 1.0 / 9.0);
  EXPECT_EQ(last.name[0], 0);

  const float a[2] = {5.0f, 1.0f}, b[2] = {2.0f, 0.0f};
  float q[2];
  EXPECT_EQ(kelsDiv_32f_A24(a, b, q, 2), kelStatusSingularity);
  EXPECT_EQ(last.index, 1);
  EXPECT_EQ(last.arg1, 5.0);
  EXPECT_EQ(last.arg2, 2.0);
  EXPECT_EQ(last.res1, 2.5);
  EXPECT_EQ(last.res2, 2.5);
}

}  // namespace
