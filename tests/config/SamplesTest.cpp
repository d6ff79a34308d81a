#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <filesystem>
#include <memory>
#include <string>

#include "configcheck/ConfigCheck.h"
#include "configcheck/DefaultConfiguration.h"
#include "tests/config/ConfigFiles.h"

namespace kellanseek::test {
namespace {

const std::filesystem::path kDocs = KELLANSEEK_DOCS;
const char* const kFiles[] = {"lanseekconf", "controllerid"};

template <auto Free>
struct FreedBy {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

void Silence(void*, const char*, ...) {}

/// One of the project's schemas, to validate documents with.
class Schema {
 public:
  explicit Schema(const std::string& name) {
    const std::unique_ptr<xmlSchemaParserCtxt, FreedBy<xmlSchemaFreeParserCtxt>> parser(
        xmlSchemaNewParserCtxt((kDocs / (name + ".xsd")).c_str()));
    schema_.reset(xmlSchemaParse(parser.get()));
  }
  bool Loaded() const { return schema_ != nullptr; }
  bool Accepts(const std::string& file) const {
    const std::unique_ptr<xmlDoc, FreedBy<xmlFreeDoc>> document(
        xmlReadFile(file.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR));
    const std::unique_ptr<xmlSchemaValidCtxt, FreedBy<xmlSchemaFreeValidCtxt>> context(
        xmlSchemaNewValidCtxt(schema_.get()));
    xmlSchemaSetValidErrors(context.get(), Silence, nullptr, nullptr);
    return document != nullptr && xmlSchemaValidateDoc(context.get(), document.get()) == 0;
  }

 private:
  std::unique_ptr<xmlSchema, FreedBy<xmlSchemaFree>> schema_;
};

TEST(SamplesTest, SchemasAndCheckAgreeOnTheSamples) {
  std::size_t samples = 0;
  for (const auto& directory : std::filesystem::directory_iterator(kDocs / "samples")) {
    const std::string path = directory.path().string();
    const auto report = configcheck::CheckConfiguration(std::wstring(path.begin(), path.end()));
    EXPECT_TRUE(report.Clean()) << path;
    for (const char* const name : kFiles) {
      const std::filesystem::path file = directory.path() / (name + std::string(".xml"));
      if (!std::filesystem::exists(file)) continue;
      EXPECT_TRUE(Schema(name).Accepts(file.string())) << file;
      ++samples;
    }
  }
  EXPECT_GE(samples, 5U);
}

TEST(SamplesTest, SchemasAcceptTheDefaultFiles) {
  const ConfigFiles files;
  files.WriteScanFile(configcheck::DefaultScanConfiguration());
  files.WriteStaticFile(configcheck::DefaultStaticControllers());
  for (const char* const name : kFiles) {
    EXPECT_TRUE(Schema(name).Accepts(files.Directory().File(name + std::string(".xml")))) << name;
  }
}

TEST(SamplesTest, SchemasRejectTheFindingsOfTheCheck) {
  struct Case {
    bool scan;
    std::string inside;
  };
  const auto numbers = CommunicationSettings;
  const std::string one = ControllerIdentity("ControllerLocAddr=10.0.0.1");
  const Case cases[] = {
      {true, Elements("RequestPort=1")},
      {true, Elements("FakeRemoteVCAs=rc")},
      {true, Elements("DetectInterfaceChanges=true")},
      {true, numbers("Retris=1")},
      {true, numbers("RequestPort=0x1588")},
      {true, numbers("ResponsePort=70000")},
      {true, numbers("RefreshInterval=0")},
      {true, numbers("Retries=1;Retries=1")},
      {true, In("UseInterfaces", SubNet("10.0.0.999", "255.0.0.0"))},
      {true, In("UseInterfaces", In("SubNet", Elements("IPNumber=10.0.0.0")))},
      {false, ControllerIdentity("")},
      {false, ControllerIdentity("ControllerLocAddr=plc7")},
      {false, one + one},
      {false, ControllerIdentity("ControllerLocAddr=10.0.0.1;ControllerLevel=boot")},
  };
  const Schema scanSchema("lanseekconf");
  const Schema staticSchema("controllerid");
  ASSERT_TRUE(scanSchema.Loaded() && staticSchema.Loaded());
  for (const Case& c : cases) {
    const ConfigFiles files;
    c.scan ? files.WriteSettings(c.inside) : files.WriteControllers(c.inside);
    const std::string name = c.scan ? "lanseekconf.xml" : "controllerid.xml";
    EXPECT_FALSE((c.scan ? scanSchema : staticSchema).Accepts(files.Directory().File(name))) << c.inside;
    EXPECT_FALSE(configcheck::CheckConfiguration(files.Directory().Wide()).Clean()) << c.inside;
  }
}

}  // namespace
}  // namespace kellanseek::test
