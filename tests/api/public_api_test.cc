// A caller's view: only <configstore/configstore.h>, linked against the shared library
// alone. Each public header's entry points at work, and library exceptions caught by class
// in the caller; what the calls do in detail is for the library's own suites.

#include <configstore/configstore.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <typeinfo>
#include <unordered_set>

namespace {

using namespace OrinConfigStore;

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kOptions("options", "kernix", "orin");
const ConfigStoreObjectId kNic1("nics", "interfaces", "net", "nic1");

// Expects `call` to raise exactly class E with this code and message. A typeinfo the
// caller does not share escapes the catch.
template <typename E, typename Call>
void ExpectCaught(Call call, int code, const std::string& message) {
  try {
    call();
    ADD_FAILURE() << "no exception";
  } catch (const E& e) {
    EXPECT_TRUE(typeid(e) == typeid(E)) << typeid(e).name();
    EXPECT_EQ(e.GetErrorCode(), code);
    EXPECT_STREQ(e.what(), message.c_str());
  }
}

TEST(PublicApi, IdsValuesDocumentsDriftObjectsAndExceptions) {
  EXPECT_EQ(kOptions.toString(), "comp orin grp kernix key options");
  EXPECT_EQ(std::unordered_set<ConfigStoreObjectId>({kOptions, kOptions}).size(), 1u);
  EXPECT_EQ(GenerateInstanceId().size(), 36u);
  StoreObject object(kResolver);
  object.SetValue("mtu", 9000);
  object.SetValue("names", std::vector<std::string>{"a"});  // an explicit instantiation
  EXPECT_EQ(object.GetData(), R"({"mtu":9000,"names":["a"]})");
  // Thrown inside the library and caught here by class; ValidationException further down.
  int mtu = 0;
  ExpectCaught<InvalidTypeException>([&] { object.GetValue("names", &mtu); }, 2000,
                                     "Invalid type specified for: names");
  // rapidjson compiled into the caller throws through the library's hook.
  ExpectCaught<ConfigStoreException>([&] { object.GetValuePtr("names")->GetInt(); }, 2000,
                                     "Invalid JSON");
  ExpectCaught<InvalidArgumentException>(
      [] { ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_STRING); }, 1080,
      "Failed to parse JSON String");
  EXPECT_EQ(SerializeJson(CreateDocumentFromString(R"({"a": [1]})")->GetDocument()),
            R"({"a":[1]})");
  const auto drift = CreateDriftObject(kNic1, R"({"mtu": 9000})", "SET");
  EXPECT_EQ(drift->Get(), (std::vector<std::pair<std::string, std::string>>{{"mtu", "SET"}}));
}

TEST(PublicApi, HostLoggerAndExec) {
  SetUpgradeCtx(true);
  EXPECT_TRUE(GetUpgradeCtx());
  SetUpgradeCtx(false);
  std::vector<std::string> lines;
  CSLogger::SetSink([&lines](int, const std::string& line) { lines.push_back(line); });
  CSLogger::Log(2, "probe %d", 7);
  CSLogger::SetSink(nullptr);
  EXPECT_EQ(lines, std::vector<std::string>{"probe 7"});
  const char* fail[] = {"/bin/sh", "-c", "exit 3", nullptr};
  EXPECT_FALSE(ExecCommand(fail));
}

// A scratch host root, provisioned with the sample schemas.
class PublicApiOnARoot : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("CONFIGSTORE_ROOT", root_.c_str(), 1);
    OrinSchemaStore::InitializeSchemaStore();
    InitializeDatabase();
    EXPECT_EQ(OrinSchemaStore::LoadSchemaFile(CONFIGSTORE_EXAMPLES_DIR "/schemas/net.json") +
                  OrinSchemaStore::LoadSchemaFile(CONFIGSTORE_EXAMPLES_DIR "/schemas/orin.json"),
              6u);
  }
  // The variable keeps naming the removed root: nothing after reaches a real one.
  void TearDown() override { std::filesystem::remove_all(root_); }

  std::string pattern_ = std::filesystem::temp_directory_path() / "configstore-api-XXXXXX";
  std::string root_ = mkdtemp(pattern_.data());
};

// IS_BOOT comes last: it refuses the user's writes.
TEST_F(PublicApiOnARoot, ObjectsFiltersTheStoreAndBoot) {
  const auto nic = CreateObject(kNic1, R"({"network": "storage"})");
  int mtu = 0;
  EXPECT_EQ(nic->GetValue("mtu", &mtu), 2);  // from the schema's defaults
  nic->CreateSubObject(SubObjectId("addresses", "10.0.0.1"));
  const ConfigStoreObjectId addresses("addresses", "interfaces", "net");
  EXPECT_EQ(nic->GetSubObjectInstances(std::make_shared<FilterSpecObject>(addresses)).size(), 1u);

  auto store = ConfigStore::GetStore("");
  ConfigStoreTransaction transaction(store);
  store->SetUserData(CreateObject(kResolver, R"({"domain":"a.example"})"), EXTERNAL);
  EXPECT_EQ(transaction.Commit(), 0);
  EXPECT_EQ(store->Get(kResolver)->GetData(), R"({"domain":"a.example"})");
  ExpectCaught<ValidationException>(
      [&] { store->SetUserData(CreateObject(kNic1, R"({"mtu": 99999})"), EXTERNAL); }, 1087,
      "Failed to validate User config");
  store->SetUserData(CreateObject(kOptions, R"({"bootDelay":1})"), EXTERNAL);
  UpdateKernelOptions(CreateObject(kOptions, R"({"console":"com1"})"));
  SetBootStatus(kOptions, true);
  EXPECT_EQ(GetKernelOptions(kOptions)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  SetKeyValue("IS_BOOT", "true");
  EXPECT_TRUE(IsBoot());
}

// Explaining an object and computing drift, through the shared library.
TEST_F(PublicApiOnARoot, ExplainAndDrift) {
  auto store = ConfigStore::GetStore("");
  store->SetUserData(CreateObject(kResolver, R"({"domain":"a.example"})"), EXTERNAL);
  const ConfigExplanation explanation = ExplainConfig(kResolver);
  ASSERT_FALSE(explanation.members.empty());
  EXPECT_EQ(explanation.members.front().pointer, "/domain");
  EXPECT_STREQ(ConfigSourceName(explanation.members.front().source), "user");
  const auto desired = CreateObject(kResolver, R"({"domain":"b.example"})");
  EXPECT_EQ(ComputeDrift(store->Get(kResolver), desired)->GetData(), R"({"domain":"b.example"})");
  EXPECT_EQ(ComputeDocumentDrift(store, CreateDocumentFromString("{}")).size(), 0u);
}

}  // namespace
