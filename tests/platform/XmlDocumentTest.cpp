#include "platform/XmlDocument.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kellanseek/com.h>

#include "tests/support/ScratchDirectory.h"
#include "tests/support/Wine.h"

#ifndef _WIN32
#include <sys/stat.h>

#include "tests/platform/OrdinaryUser.h"
#endif

namespace kellanseek::test {
namespace {

using platform::XmlDocument;
using platform::XmlNode;
using namespace std::string_literals;

constexpr const char* kLatin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

/// ASCII text in UTF-16 with a byte order mark.
std::string Utf16(std::string_view text) {
  std::string bytes = "\xFF\xFE";
  for (const char letter : text) bytes += {letter, '\0'};
  return bytes;
}

class XmlDocumentTest : public ::testing::Test {
 protected:
  bool Load(const std::string& content) {
    scratch.Write("file.xml", content);
    return LoadPath(scratch.WideFile("file.xml"));
  }
  bool LoadPath(const std::wstring& path) {
    why.clear();
    return platform::CreateXmlDocument(document) == S_OK && document->Load(path, why) == S_OK;
  }
  /// The declared encoding, "none" if there is none, or "failed".
  std::wstring Encoding() {
    std::wstring encoding;
    auto step = XmlDocument::EncodingStep::FirstChild;
    const HRESULT result = document->DeclaredEncoding(encoding, step);
    return result == S_OK ? encoding : result == S_FALSE ? L"none" : L"failed";
  }
  std::unique_ptr<XmlNode> Root(const std::wstring& name) {
    std::unique_ptr<XmlNode> root;
    EXPECT_EQ(document->SelectRoot(name, root), S_OK);
    return root;
  }

  static std::wstring TextOf(const std::unique_ptr<XmlNode>& node) {
    std::wstring text;
    EXPECT_EQ(node->Text(text), S_OK);
    return text;
  }

  ScratchDirectory scratch;
  std::unique_ptr<XmlDocument> document;
  std::wstring why;
};

TEST_F(XmlDocumentTest, ReturnsTheDeclaredEncoding) {
  struct Case {
    const char* what;
    std::string content;
    std::wstring encoding;
  };
  const Case cases[] = {
      {"plain", kLatin1 + "<a/>"s, L"ISO-8859-1"},
      {"as it is written", "<?xml version='1.0' encoding='iso-8859-1' standalone='yes'?><a/>", L"iso-8859-1"},
      {"another", "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a/>", L"UTF-8"},
      {"no declaration", "<a encoding=\"ISO-8859-1\"/>", L"none"},
      {"declaration without encoding", "<?xml version=\"1.0\"?><a/>", L"none"},
      {"comment first", "<!-- encoding=\"ISO-8859-1\" --><a/>", L"none"},
      {"UTF-8 mark without declaration", "\xEF\xBB\xBF<a/>", L"none"},
      {"UTF-8 mark with its encoding", "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?><a/>",
       L"UTF-8"},
      {"UTF-16", Utf16("<?xml version=\"1.0\" encoding=\"UTF-16\"?><a/>"), L"UTF-16"},
      {"UTF-16 without declaration", Utf16("<a/>"), L"none"},
  };
  for (const Case& c : cases) {
    ASSERT_TRUE(Load(c.content)) << c.what;
    EXPECT_EQ(Encoding(), c.encoding) << c.what;
  }
}

TEST_F(XmlDocumentTest, RejectsIncompleteDocuments) {
  const std::pair<const char*, std::string> cases[] = {
      {"empty", ""},
      {"zero bytes", std::string(1000, '\0')},
      {"no end", kLatin1 + "<a><b></b>"s},
      {"unknown encoding", "<?xml version=\"1.0\" encoding=\"no-such-charset\"?><a/>"},
      {"UTF-8 mark and another encoding", "\xEF\xBB\xBF"s + kLatin1 + "<a/>"},
      {"zero byte in a text", kLatin1 + "<a>x\0y</a>"s},
  };
  for (const auto& [what, content] : cases) {
    EXPECT_FALSE(Load(content)) << what;
    ASSERT_FALSE(why.empty()) << what;
    EXPECT_NE(why.back(), L'\n') << what;
  }
}

TEST_F(XmlDocumentTest, RejectsEntitiesOfAnyKind) {
  std::string bomb = kLatin1 + "<!DOCTYPE a [<!ENTITY b0 \"boom\">"s;
  for (int i = 1; i < 30; ++i) {
    const std::string before = "&b" + std::to_string(i - 1) + ";";
    bomb += "<!ENTITY b" + std::to_string(i) + " \"" + before + before + before + before + "\">";
  }
  EXPECT_FALSE(Load(bomb + "]><a>&b29;</a>"));
  EXPECT_NE(why.find(L"entities"), std::wstring::npos);

  scratch.Write("secret", "secret");
  const std::string url = "file://" + scratch.File("secret");
  EXPECT_FALSE(Load(kLatin1 + "<!DOCTYPE a [<!ENTITY x SYSTEM \""s + url + "\">]><a>&x;</a>"));
  EXPECT_FALSE(Load(kLatin1 + "<!DOCTYPE a [<!ENTITY % x SYSTEM \""s + url + "\"> %x;]><a/>"));
}

TEST_F(XmlDocumentTest, ReadsNoExternalDocumentType) {
  scratch.Write("types.dtd", "<!ENTITY x \"from outside\">");
  ASSERT_TRUE(Load(kLatin1 + "<!DOCTYPE a SYSTEM \"types.dtd\"><a>in</a>"s));
  EXPECT_EQ(TextOf(Root(L"a")), L"in");
}

TEST_F(XmlDocumentTest, RejectsDeepNesting) {
  for (const int depth : {1000, 1000000}) {
    std::string content = kLatin1;
    for (int i = 0; i < depth; ++i) content += "<a>";
    for (int i = 0; i < depth; ++i) content += "</a>";
    EXPECT_FALSE(Load(content)) << depth;
    EXPECT_FALSE(why.empty());
  }
}

TEST_F(XmlDocumentTest, SelectsChildrenByNameOrLeavesTheOutputUnchanged) {
  ASSERT_TRUE(Load(
      kLatin1 +
      "<root><other/><x:b xmlns:x='u'>no</x:b><b>1</b><deep><b>no</b></deep><B>2</B><!-- <b>no</b> --><b>3</b></root>"s));
  const auto root = Root(L"root");
  std::unique_ptr<XmlNode> child;
  ASSERT_EQ(root->SelectSingleNode(L"b", child), S_OK);
  EXPECT_EQ(TextOf(child), L"1");
  const XmlNode* const before = child.get();
  EXPECT_EQ(root->SelectSingleNode(L"c", child), S_FALSE);
  EXPECT_EQ(root->SelectSingleNode(L"Deep", child), S_FALSE);
  EXPECT_EQ(document->SelectRoot(L"Root", child), S_FALSE);
  EXPECT_EQ(document->SelectRoot(L"b", child), S_FALSE);
  EXPECT_EQ(child.get(), before);

  std::vector<std::unique_ptr<XmlNode>> all;
  ASSERT_EQ(root->SelectNodes(L"b", all), S_OK);
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(TextOf(all[1]), L"3");
  ASSERT_EQ(root->SelectNodes(L"c", all), S_OK);
  EXPECT_TRUE(all.empty());
  std::vector<std::wstring> names;
  ASSERT_EQ(root->ChildNames(names), S_OK);
  EXPECT_EQ(names, (std::vector<std::wstring>{L"other", L"x:b", L"b", L"deep", L"B", L"b"}));
}

TEST_F(XmlDocumentTest, ReturnsTheWholeTextOfAnElement) {
  ASSERT_TRUE(Load(kLatin1 + "<a>caf\xE9 <b>&lt;in&gt;</b><![CDATA[<raw>]]><!-- not this -->&#65;</a>"s));
  EXPECT_EQ(TextOf(Root(L"a")), L"caf\u00E9 <in><raw>A");
}

TEST_F(XmlDocumentTest, AFailedLoadDropsThePreviousDocument) {
  ASSERT_TRUE(Load(kLatin1 + "<a/>"s));
  scratch.Write("file.xml", "<broken");
  EXPECT_NE(document->Load(scratch.WideFile("file.xml"), why), S_OK);
  std::unique_ptr<XmlNode> root;
  EXPECT_NE(document->SelectRoot(L"a", root), S_OK);
}

TEST_F(XmlDocumentTest, ReportsTheLineOfEveryElement) {
  std::string many;
  for (int i = 0; i < 70000; ++i) many += "<one>1</one>\n";
  ASSERT_TRUE(Load(kLatin1 + "<list>\n<!-- <one>\n> -->\n<other a='\n>' b=\">\"><one/>\n</other><empty/>\n"s +
                   "<two><![CDATA[<one>\n]]></two>\n" + many + "</list>\n"));
  const auto root = Root(L"list");
  std::vector<std::unique_ptr<XmlNode>> ones;
  ASSERT_EQ(root->SelectNodes(L"one", ones), S_OK);
  ASSERT_EQ(ones.size(), 70000U);
  EXPECT_EQ(root->Line(), 2U);
  EXPECT_EQ(ones.front()->Line(), 10U);
  EXPECT_EQ(ones.back()->Line(), 70009U);
  std::unique_ptr<XmlNode> two;
  ASSERT_EQ(root->SelectSingleNode(L"two", two), S_OK);
  EXPECT_EQ(two->Line(), 8U);
}

TEST_F(XmlDocumentTest, LimitsTheFileSize) {
  const std::string piece = "<!--" + std::string(1 << 20, ' ') + "-->";
  const std::string tail = "</a>";
  std::string content = kLatin1 + "<a>"s;
  while (content.size() + piece.size() + tail.size() <= XmlDocument::kMaxFileBytes) content += piece;
  content += std::string(XmlDocument::kMaxFileBytes - content.size() - tail.size(), ' ') + tail;
  // Wine's parser has its own limit of ten million bytes.
  EXPECT_EQ(Load(content), !UnderWine()) << "exactly the limit";
  EXPECT_FALSE(Load(content + "\n")) << "one byte more";
}

TEST_F(XmlDocumentTest, RejectsAMissingFileAndADirectory) {
  EXPECT_FALSE(LoadPath(scratch.WideFile("missing.xml")));
  EXPECT_FALSE(why.empty());
  EXPECT_FALSE(LoadPath(scratch.Wide()));
  EXPECT_FALSE(why.empty());
}

#ifndef _WIN32
TEST_F(XmlDocumentTest, NeverWaitsForAPipeOrADevice) {
  ASSERT_EQ(::mkfifo(scratch.File("pipe").c_str(), 0600), 0);
  for (const std::wstring& path : {scratch.WideFile("pipe"), L"/dev/zero"s, L"/dev/tty"s}) {
    EXPECT_FALSE(LoadPath(path));
    EXPECT_FALSE(why.empty());
  }
}

TEST_F(XmlDocumentTest, ReportsMissingPermission) {
  scratch.Write("file.xml", "<a/>");
  ASSERT_EQ(::chmod(scratch.File("file.xml").c_str(), 0), 0);
  const OrdinaryUser user;
  EXPECT_FALSE(LoadPath(scratch.WideFile("file.xml")));
  EXPECT_NE(why.find(L"ermission"), std::wstring::npos);
}
#endif

TEST_F(XmlDocumentTest, WorksOnThreadsWithoutCom) {
  CoUninitialize();
  EXPECT_TRUE(Load(kLatin1 + "<a>\n two  words\t</a>"s));
  EXPECT_EQ(TextOf(Root(L"a")), L"two  words");
  document.reset();
  EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
}

}  // namespace
}  // namespace kellanseek::test
