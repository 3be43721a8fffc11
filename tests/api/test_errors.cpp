#include <gtest/gtest.h>

#include <cstring>

#include "api/errors.h"

namespace {

// What zel::raise<E>(message) throws, caught as E.
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

template <class E>
void expectCodeAndTexts() {
  EXPECT_EQ(caught<E>().code, zel::errorCode<E>());
  EXPECT_STREQ(caught<E>().message, zel::errorMessage<E>());
  const E own = caught<E>("Can't open ini file");  // an own text keeps the class's code
  EXPECT_EQ(own.code, zel::errorCode<E>());
  EXPECT_STREQ(own.message, "Can't open ini file");
}

// Each class carries its own code and standard text, or a text of its own.
TEST(Errors, EachClassCarriesItsCodeAndText) {
  expectCodeAndTexts<zel::GenericError>();
  expectCodeAndTexts<zel::FileError>();
  EXPECT_NE(zel::errorCode<zel::DimError>(), zel::errorCode<zel::FileError>());
}

// The source position is the throwing statement's, and every class is
// caught as GenericError.
TEST(Errors, SourcePositionIsTheThrowingStatementAndAllAreGenericErrors) {
  int line = 0;
  try {
    line = __LINE__ + 1;
    zel::raise<zel::AlgoError>();
  } catch (const zel::GenericError& e) {
    EXPECT_EQ(e.line, line);
    EXPECT_STREQ(e.file, "tests/api/test_errors.cpp");
    EXPECT_EQ(e.code, zel::errorCode<zel::AlgoError>());
  }
  EXPECT_NE(line, 0);
}

}  // namespace
