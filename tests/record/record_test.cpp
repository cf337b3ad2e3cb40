// Interposes the standard handler to see the records the error entries build:
// code, index, the four values widened exactly from the caller's pointers and
// the first character of the name.  A separate program: the interposed
// handler replaces the library's for the whole process.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

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

std::vector<uint64_t> values() {
  return {std::bit_cast<uint64_t>(last.arg1), std::bit_cast<uint64_t>(last.arg2), std::bit_cast<uint64_t>(last.res1),
          std::bit_cast<uint64_t>(last.res2)};
}
template <class T>
std::vector<uint64_t> widened(const T (&v)[4]) {
  std::vector<uint64_t> r;
  for (T x : v) r.push_back(std::bit_cast<uint64_t>(static_cast<double>(x)));
  return r;
}

TEST(ErrorRecord, EntriesCopyValuesExactlyAndTheFirstLetter) {
  const double d[4] = {1.5, -0.0, 1e-310, INFINITY};
  orxdError(17, 42, &d[0], &d[1], &d[2], &d[3], "dCos_HA");
  EXPECT_TRUE(last.code == 17 && last.index == 42 && last.name[0] == 'd' && last.name[1] == 0);
  EXPECT_EQ(values(), widened(d));
  const float f[4] = {0x1.fffffep127f, -0.0f, 0x1.234566p-130f, -INFINITY};
  orxsError(12, 7, &f[0], &f[1], &f[2], &f[3], "");
  EXPECT_TRUE(last.code == 12 && last.index == 7 && last.name[0] == 0);
  EXPECT_EQ(values(), widened(f));
  const float nan = std::bit_cast<float>(0x7FC12345u);  // the payload survives widening
  orxsError(19, 0, &nan, &nan, &nan, &nan, "s");
  EXPECT_EQ(values()[0], 0x7FF82468A0000000ull);
}

// The records of vector functions hold element 0 of each array, not the reported element.
TEST(ErrorRecord, VectorFunctionsPassBasePointers) {
  const double src[4] = {9.0, 1.0, 0.0, 3.0};
  double dst[4];
  const int before = calls;
  EXPECT_EQ(kelsInv_64f_A53(src, dst, 4), kelStatusSingularity);
  EXPECT_EQ(calls, before + 1);
  EXPECT_TRUE(last.code == 18 && last.index == 2 && last.name[0] == 0);
  EXPECT_EQ((std::vector{last.arg1, last.arg2, last.res1}), (std::vector{9.0, 9.0, 1.0 / 9.0}));
  const float a[2] = {5.0f, 1.0f}, b[2] = {2.0f, 0.0f};
  float q[2];
  EXPECT_EQ(kelsDiv_32f_A24(a, b, q, 2), kelStatusSingularity);
  EXPECT_EQ(last.index, 1);
  EXPECT_EQ((std::vector{last.arg1, last.arg2, last.res1, last.res2}), (std::vector{5.0, 2.0, 2.5, 2.5}));
}

}  // namespace
