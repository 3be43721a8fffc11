#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMNode.hpp>

#include "api/errors.h"
#include "api/ioDOM.h"
#include "tests/support/tempFolder.h"

namespace fs = std::filesystem;

namespace {

class IoDom : public tamble::testing::tempFolderTest {
 protected:
  std::string file(const std::string& name, const std::string& text) const {
    const std::string at = path(name);
    std::ofstream(at, std::ios::binary) << text;
    return at;
  }

  zel::ioDOM dom;
  xercesc::DOMNode* root = nullptr;
};

// The root is found in any case; children and values are read, ids exactly.
TEST_F(IoDom, FindsTheRootInAnyCaseAndReadsChildren) {
  const std::string path = file("a.xml",
                                "<!-- first --><Markers><Unit>mm</Unit><UNIT>second</UNIT>"
                                "<Data id=\"b\" name=\"N\">7</Data>"
                                "<data id=\"a\">\n 1  2\t<![CDATA[3]]> <i>4</i>&#x35; </data></Markers>");
  dom.open(path, "MARKERS", root);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(zel::ioDOM::nameOf(root), "Markers");
  EXPECT_EQ(zel::ioDOM::childText(root, "unit"), "mm");
  EXPECT_EQ(zel::ioDOM::childText(root, "data", "name"), "N");
  std::vector<std::string> values{"stale"};
  zel::ioDOM::valuesOf(root, "DATA", "a", values);
  EXPECT_EQ(values, (std::vector<std::string>{"1", "2", "3", "45"}));
  zel::ioDOM::valuesOf(root, "Data", "A", values);  // ids compare exactly
  EXPECT_TRUE(values.empty());
}

// Without the root the last top node is answered.
TEST_F(IoDom, WithoutTheRootTheLastTopNodeStays) {
  dom.open(file("b.xml", "<Other><Unit>x</Unit></Other><!-- last -->"), "Markers", root);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->getNodeType(), xercesc::DOMNode::COMMENT_NODE);
  EXPECT_EQ(zel::ioDOM::childText(root, "Unit"), "");
}

// Broken, missing and empty files raise FileError, reported with their
// position; the parser serves again afterwards.
TEST_F(IoDom, BrokenFilesRaiseFileErrorAndAreReported) {
  const std::string path = file("c.xml", "<a>\n<b></a>\n");
  ::testing::internal::CaptureStderr();
  EXPECT_THROW(dom.open(path, "a", root), zel::FileError);
  const std::string said = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("\"" + path + "\", line 2"), std::string::npos) << said;
  EXPECT_THROW(dom.open((dir / "none.xml").string(), "a", root), zel::FileError);
  EXPECT_THROW(dom.open(file("e.xml", ""), "a", root), zel::FileError);
  // The parser is used again after failures.
  dom.open(file("d.xml", "<a><b>ok</b></a>"), "a", root);
  EXPECT_EQ(zel::ioDOM::childText(root, "b"), "ok");
}

// Nothing outside the file is read: a reference to an outside entity or DTD
// fails the parse. And entities cannot grow without bound.
TEST_F(IoDom, EntitiesStayInsideTheFile) {
  const std::string secret = file("secret.txt", "SECRET");
  const std::string dtd = file("a.dtd", "<!ELEMENT a (#PCDATA)>");
  ::testing::internal::CaptureStderr();
  EXPECT_THROW(dom.open(file("x.xml", "<!DOCTYPE a [<!ELEMENT a (#PCDATA)><!ENTITY s SYSTEM \"" +
                                          secret + "\">]><a>x&s;y</a>"),
                        "a", root),
               zel::FileError);
  EXPECT_THROW(dom.open(file("y.xml", "<!DOCTYPE a SYSTEM \"" + dtd + "\"><a>x</a>"), "a", root),
               zel::FileError);
  std::string bomb = "<!DOCTYPE a [<!ELEMENT a (#PCDATA)><!ENTITY e0 \"ha\">";
  for (int i = 1; i < 30; ++i)
    bomb += "<!ENTITY e" + std::to_string(i) + " \"&e" + std::to_string(i - 1) + ";&e" +
            std::to_string(i - 1) + ";\">";
  bomb += "]><a>&e29;</a>";
  EXPECT_THROW(dom.open(file("bomb.xml", bomb), "a", root), zel::FileError);
  ::testing::internal::GetCapturedStderr();
  // A document type in the file itself is fine.
  dom.open(file("ok.xml", "<!DOCTYPE a [<!ELEMENT a (#PCDATA)><!ENTITY w \"word\">]><a>&w;</a>"),
           "a", root);
  EXPECT_EQ(zel::ioDOM::textOf(root), "word");
}

// Deep nesting does not exhaust the stack.
TEST_F(IoDom, DeepNestingDoesNotExhaustTheStack) {
  const int depth = 200000;
  std::string text = "<a><n>";
  for (int i = 0; i < depth; ++i) text += "<b>";
  text += "1 2";
  for (int i = 0; i < depth; ++i) text += "</b>";
  text += "</n></a>";
  dom.open(file("deep.xml", text), "a", root);
  EXPECT_EQ(zel::ioDOM::childText(root, "n"), "1 2");
}

}  // namespace
