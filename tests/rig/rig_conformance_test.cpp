#include <gtest/gtest.h>
TEST(Dummy, X) {}
