// A writer killed at a random moment: the change history still accounts for
// exactly the changes the data shows, no more and no less.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "configstore/config_store.h"
#include "configstore/history.h"
#include "database_root.h"

namespace OrinConfigStore {
namespace {

constexpr int kObjects = 3;

// Writes forever, one change of one object per operation, and reports each
// committed operation with a byte on `acknowledged`.
[[noreturn]] void WriteUntilKilled(int acknowledged) {
  auto store = ConfigStore::GetStore("");
  for (int i = 0;; ++i) {
    const ConfigStoreObjectId id("nics", "interfaces", "net", "nic" + std::to_string(i % kObjects));
    const std::string mtu = R"({"mtu":)" + std::to_string(1000 + i) + "}";
    switch (i % 4) {
      case 0:
        store->SetUserData(CreateObject(id, mtu), EXTERNAL);
        break;
      case 1:
        store->SetUserData(CreateObject(id, R"({"network":"n)" + std::to_string(i) + "\"}"),
                           INTERNAL);
        break;
      case 2:
        store->SetVitalData(CreateObject(id, R"({"macAddress":"02:00:00:00:00:01"})"));
        break;
      default:
        store->Update(CreateObject(id, mtu), EXTERNAL);
        break;
    }
    if (write(acknowledged, "x", 1) != 1) _exit(1);
  }
}

// Bytes the writer sent before it died.
std::size_t Drain(int channel) {
  std::size_t total = 0;
  char buffer[4096];
  ssize_t got = 0;
  while ((got = read(channel, buffer, sizeof buffer)) > 0) total += static_cast<std::size_t>(got);
  return total;
}

// The values of the object's row in record order (automatic, user, vital,
// cached, desired; "-" for none) and its revision; empty when absent.
std::vector<std::string> RowState(const cstest::DatabaseRoot& db, const ConfigStoreObjectId& id) {
  const auto rows = db.Rows(
      "SELECT ifnull(AutoConfValue,'-') AS a, ifnull(UserValue,'-') AS u, ifnull(VitalValue,'-') "
      "AS v, ifnull(CachedValue,'-') AS c, ifnull(DesiredValue,'-') AS d, Revision AS r FROM "
      "Config WHERE Identifier='" +
      id.instanceId + "';");
  if (rows.empty()) return {};
  return {rows[0]};
}

std::vector<std::string> RecordState(const HistoryRecord& record) {
  const char* names[] = {"a", "u", "v", "c", "d"};
  std::string row;
  for (std::size_t i = 0; i < record.state.size(); ++i) {
    row += std::string(i == 0 ? "" : ", ") + names[i] + "=" + record.state[i].after.value_or("-");
  }
  return {row + ", r=" + std::to_string(record.revision)};
}

// Each record continues the one before it: what it says changed was the
// earlier value, what it says stayed did, and the revision rose by one.
void ExpectContinuousChain(const std::vector<HistoryRecord>& records) {
  for (std::size_t i = 1; i < records.size(); ++i) {
    const HistoryRecord& earlier = records[i - 1];
    const HistoryRecord& later = records[i];
    SCOPED_TRACE("sequence " + std::to_string(later.sequence));
    EXPECT_EQ(later.revision, earlier.revision + 1);
    std::size_t change = 0;
    for (std::size_t column = 0; column < later.state.size(); ++column) {
      const HistoryValue& now = later.state[column];
      if (change < later.changes.size() && later.changes[change].source == now.source) {
        EXPECT_EQ(later.changes[change].before, earlier.state[column].after) << now.source;
        EXPECT_NE(now.after, earlier.state[column].after) << now.source;
        ++change;
      } else {
        EXPECT_EQ(now.after, earlier.state[column].after) << now.source;
      }
    }
  }
}

TEST(HistoryCrashTest, AKilledWriterLeavesAHistoryThatMatchesTheData) {
  cstest::DatabaseRoot db;
  SetKeyValue("HISTORY_MAX_RECORDS", "1000000");
  std::mt19937 random(std::random_device{}());
  long long seen = 0;
  for (int round = 0; round < 5; ++round) {
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    const pid_t writer = fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) {
      close(channel[0]);
      WriteUntilKilled(channel[1]);
    }
    close(channel[1]);
    std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 80));
    ASSERT_EQ(kill(writer, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself: " << status;
    const std::size_t acknowledged = Drain(channel[0]);
    close(channel[0]);

    // Every acknowledged change is recorded, and at most one more: the one
    // committed just before the kill, whose acknowledgement was lost.
    const auto records = GetHistorySince(seen);
    EXPECT_GE(records.size(), acknowledged);
    EXPECT_LE(records.size(), acknowledged + 1);
    if (!records.empty()) seen = records.back().sequence;
  }
  std::map<std::string, std::vector<HistoryRecord>> byObject;
  for (HistoryRecord& record : GetHistorySince(0)) {
    byObject[record.id.instanceId].push_back(std::move(record));
  }
  ASSERT_EQ(byObject.size(), static_cast<std::size_t>(kObjects));
  for (const auto& [instance, records] : byObject) {
    SCOPED_TRACE(instance);
    EXPECT_EQ(records.front().change, "insert");
    ExpectContinuousChain(records);
    EXPECT_EQ(RecordState(records.back()),
              RowState(db, ConfigStoreObjectId("nics", "interfaces", "net", instance)));
  }
}

}  // namespace
}  // namespace OrinConfigStore
