#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/XmlDocument.h"
#include "tests/platform/OrdinaryUser.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {
namespace {

HRESULT Load(const std::wstring& path, std::wstring& why) {
  std::unique_ptr<platform::XmlDocument> document;
  EXPECT_EQ(platform::CreateXmlDocument(document), S_OK);
  return document->Load(path, why);
}

TEST(XmlFileTest, NeverWaitsForAPipeOrADevice) {
  const ScratchDirectory scratch;
  ASSERT_EQ(::mkfifo(scratch.File("pipe.xml").c_str(), 0600), 0);
  for (const std::wstring& path :
       {scratch.WideFile("pipe.xml"), std::wstring(L"/dev/zero"), std::wstring(L"/dev/tty")}) {
    std::wstring why;
    EXPECT_TRUE(FAILED(Load(path, why)));
    EXPECT_FALSE(why.empty());
  }
}

TEST(XmlFileTest, SaysThatPermissionIsMissing) {
  const ScratchDirectory scratch;
  scratch.Write("closed.xml", "<a/>");
  ASSERT_EQ(::chmod(scratch.File("closed.xml").c_str(), 0), 0);
  const OrdinaryUser user;
  std::wstring why;
  EXPECT_TRUE(FAILED(Load(scratch.WideFile("closed.xml"), why)));
  EXPECT_NE(why.find(L"ermission"), std::wstring::npos);
}

TEST(XmlFileTest, RefusesAGibibyteWithoutReadingIt) {
  const ScratchDirectory scratch;
  scratch.Write("huge.xml", "");
  ASSERT_EQ(::truncate(scratch.File("huge.xml").c_str(), off_t{1} << 30), 0);
  std::wstring why;
  EXPECT_TRUE(FAILED(Load(scratch.WideFile("huge.xml"), why)));
  EXPECT_NE(why.find(L"16 MiB"), std::wstring::npos);
}

TEST(XmlFileTest, TellsAnEncodingByTheNameThatIsWritten) {
  const ScratchDirectory scratch;
  scratch.Write("alias.xml", "<?xml version='1.0' encoding='latin1'?><a/>");
  std::unique_ptr<platform::XmlDocument> document;
  std::wstring text;
  ASSERT_EQ(platform::CreateXmlDocument(document), S_OK);
  ASSERT_EQ(document->Load(scratch.WideFile("alias.xml"), text), S_OK);
  auto step = platform::XmlDocument::EncodingStep::FirstChild;
  EXPECT_EQ(document->DeclaredEncoding(text, step), S_OK);
  EXPECT_EQ(text, L"latin1");
}

TEST(XmlFileTest, KeepsTheWhiteSpaceAtTheEndsOfATextAsItStands) {
  const ScratchDirectory scratch;
  scratch.Write("blanks.xml", "<a>\n RC </a>");
  std::unique_ptr<platform::XmlDocument> document;
  std::unique_ptr<platform::XmlNode> root;
  std::wstring text;
  ASSERT_EQ(platform::CreateXmlDocument(document), S_OK);
  ASSERT_EQ(document->Load(scratch.WideFile("blanks.xml"), text), S_OK);
  ASSERT_EQ(document->SelectRoot(L"a", root), S_OK);
  EXPECT_EQ(root->Text(text), S_OK);
  EXPECT_EQ(text, L"\n RC ");
}

}  // namespace
}  // namespace kellanseek::test
