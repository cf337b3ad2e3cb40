#include <gtest/gtest.h>

extern "C" int kelvm_c_complex_by_value_ok(void);
extern "C" int kelvm_c_powx_by_value_ok(void);

TEST(CCaller, RecordsByValueFromC99) {
  EXPECT_TRUE(kelvm_c_complex_by_value_ok());
  EXPECT_TRUE(kelvm_c_powx_by_value_ok());
}
