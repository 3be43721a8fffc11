#include <gtest/gtest.h>

#include <cstring>

#include "api/errors.h"

namespace {

template <class E>
E caught(const char* message = zel::errorMessage<E>()) {
  try {
    zel::raise<E>(message);
  } catch (const E& e) {
    return e;
  }
  ADD_FAILURE() << "nothing was thrown";
  return E();
}

TEST(Errors, EachClassCarriesItsCodeAndStandardText) {
  EXPECT_EQ(caught<zel::IndexError>().code, 1);
  EXPECT_STREQ(caught<zel::IndexError>().message, "Index error!");
  EXPECT_EQ(caught<zel::DimError>().code, 2);
  EXPECT_STREQ(caught<zel::DimError>().message, "Array and bkgr have different dimensions!");
  EXPECT_EQ(caught<zel::FileError>().code, 4);
  EXPECT_STREQ(caught<zel::FileError>().message, "File error!");
  EXPECT_EQ(caught<zel::StateError>().code, 8);
  EXPECT_STREQ(caught<zel::StateError>().message, "State error!");
  EXPECT_EQ(caught<zel::AlgoError>().code, 9);
  EXPECT_STREQ(caught<zel::AlgoError>().message, "Algorithm error!");
  zel::GenericError generic = caught<zel::GenericError>("Wrong resect type");
  EXPECT_EQ(generic.code, 0);
  EXPECT_STREQ(generic.message, "Wrong resect type");
}

TEST(Errors, OwnTextKeepsTheClassCode) {
  zel::FileError e = caught<zel::FileError>("Can't open ini file");
  EXPECT_EQ(e.code, 4);
  EXPECT_STREQ(e.message, "Can't open ini file");
}

TEST(Errors, SourcePositionIsTheThrowingStatement) {
  int line = 0;
  try {
    line = __LINE__ + 1;
    zel::raise<zel::StateError>();
  } catch (const zel::StateError& e) {
    EXPECT_EQ(e.line, line);
    EXPECT_STREQ(e.file, "tests/api/test_errors.cpp");
  }
  EXPECT_NE(line, 0);
}

TEST(Errors, DerivedClassesAreCaughtAsGenericError) {
  bool caughtAsGeneric = false;
  try {
    zel::raise<zel::AlgoError>();
  } catch (const zel::GenericError& e) {
    caughtAsGeneric = e.code == 9;
  }
  EXPECT_TRUE(caughtAsGeneric);
}

}  // namespace
