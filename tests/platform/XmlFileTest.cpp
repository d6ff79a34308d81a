#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "platform/XmlDocument.h"
#include "tests/platform/OrdinaryUser.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {
namespace {

class XmlFileTest : public ::testing::Test {
 protected:
  HRESULT Load(const std::wstring& path) {
    why_.clear();
    EXPECT_EQ(platform::CreateXmlDocument(document_), S_OK);
    return document_->Load(path, why_);
  }

  const ScratchDirectory scratch_;
  const std::wstring path_ = scratch_.WideFile("file.xml");
  std::unique_ptr<platform::XmlDocument> document_;
  std::wstring why_;
};

TEST_F(XmlFileTest, NeverWaitsForAPipeOrADevice) {
  ASSERT_EQ(::mkfifo(scratch_.File("file.xml").c_str(), 0600), 0);
  for (const wchar_t* const path : {path_.c_str(), L"/dev/zero", L"/dev/tty"}) {
    EXPECT_TRUE(FAILED(Load(path)));
    EXPECT_FALSE(why_.empty());
  }
}

TEST_F(XmlFileTest, ReportsMissingPermission) {
  scratch_.Write("file.xml", "<a/>");
  ASSERT_EQ(::chmod(scratch_.File("file.xml").c_str(), 0), 0);
  const OrdinaryUser user;
  EXPECT_TRUE(FAILED(Load(path_)));
  EXPECT_NE(why_.find(L"ermission"), std::wstring::npos);
}

}  // namespace
}  // namespace kellanseek::test
