// Backups and restores: a backup taken while several processes write holds
// exactly what was committed when it began, never half a transaction; a
// backup that is damaged, or whose store would not pass the check, is
// refused and nothing changes.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <vector>

#include "configstore/backup.h"
#include "configstore/config_store.h"
#include "configstore/history.h"
#include "database_root.h"

namespace OrinConfigStore {
namespace {

constexpr int kWriters = 8;

ConfigStoreObjectId Nic(int number) {
  return ConfigStoreObjectId("nics", "interfaces", "net", "nic" + std::to_string(number));
}

int Mtu(const std::shared_ptr<ConfigStore>& store, int number) {
  const auto object = store->Get(Nic(number));
  int mtu = -1;
  if (object) object->GetValue("mtu", &mtu);
  return mtu;
}

void SetMtu(const std::shared_ptr<ConfigStore>& store, int number, int mtu) {
  store->SetUserData(CreateObject(Nic(number), R"({"mtu":)" + std::to_string(mtu) + "}"), EXTERNAL);
}

// What the writers and the test share across fork().
struct Progress {
  std::atomic<int> acknowledged[kWriters];
  std::atomic<bool> stop;
};

// Writer `w` sets its two objects to the same value in one transaction,
// counting up, and publishes each count once the commit has returned.
[[noreturn]] void Write(int w, Progress& progress) {
  auto store = ConfigStore::GetStore("");
  for (int count = 1; count < 8000 && !progress.stop; ++count) {
    {
      ConfigStoreTransaction transaction(store);
      SetMtu(store, 2 * w, 1000 + count);
      SetMtu(store, 2 * w + 1, 1000 + count);
      transaction.Commit();
    }
    progress.acknowledged[w] = count;
  }
  _exit(0);
}

class BackupTest : public ::testing::Test {
 protected:
  std::string BackupFile() const { return db_.Path() + "/store.backup"; }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST_F(BackupTest, ABackupTakenWhileProcessesWriteRestoresExactlyACommittedState) {
  auto* progress = static_cast<Progress*>(
      mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(progress, MAP_FAILED);
  new (progress) Progress{};
  std::vector<pid_t> writers;
  for (int w = 0; w < kWriters; ++w) {
    const pid_t pid = fork();
    if (pid == 0) Write(w, *progress);
    writers.push_back(pid);
  }
  auto allWriting = [&] {
    for (const auto& count : progress->acknowledged) {
      if (count < 3) return false;
    }
    return true;
  };
  while (!allWriting()) usleep(1000);
  int before[kWriters];
  for (int w = 0; w < kWriters; ++w) before[w] = progress->acknowledged[w];
  const BackupHeader header = BackupStore(BackupFile());
  int after[kWriters];
  for (int w = 0; w < kWriters; ++w) after[w] = progress->acknowledged[w];
  progress->stop = true;
  for (const pid_t pid : writers) {
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  munmap(progress, sizeof(Progress));
  EXPECT_GT(header.lastChange, 0);
  EXPECT_EQ(header.types.at("net/interfaces/nics"), "2.0");

  const RestoreResult result = RestoreStore(BackupFile());
  ASSERT_TRUE(result.restored) << result.check.problems.front().detail;
  EXPECT_TRUE(CheckStore().problems.empty());
  for (int w = 0; w < kWriters; ++w) {
    const int count = Mtu(store_, 2 * w) - 1000;
    EXPECT_EQ(Mtu(store_, 2 * w + 1) - 1000, count) << "writer " << w << ": torn transaction";
    // A commit may land in the snapshot just before its writer publishes it.
    EXPECT_GE(count, before[w]) << "writer " << w;
    EXPECT_LE(count, after[w] + 1) << "writer " << w;
  }
}

TEST_F(BackupTest, RestoresUncheckpointedWritesOntoAHostWithoutAStore) {
  for (int i = 1; i <= 5; ++i) SetMtu(store_, i, 1500 + i);
  BackupStore(BackupFile());
  const cstest::TempRoot freshHost;
  const RestoreResult result = RestoreStore(BackupFile());
  ASSERT_TRUE(result.restored);
  EXPECT_EQ(result.check.objects, 5);
  const auto store = ConfigStore::GetStore("");
  for (int i = 1; i <= 5; ++i) EXPECT_EQ(Mtu(store, i), 1500 + i);
}

TEST_F(BackupTest, RestoreKeepsTheReplacedStoreAsThePreviousBackup) {
  SetMtu(store_, 1, 1500);
  BackupStore(BackupFile());
  SetMtu(store_, 1, 9000);
  const long long replacedChange = GetHistory(Nic(1), 1).at(0).sequence;
  const RestoreResult result = RestoreStore(BackupFile());
  ASSERT_TRUE(result.restored);
  EXPECT_EQ(result.previous, PreviousBackupPath());
  EXPECT_EQ(Mtu(store_, 1), 1500);
  // The history is the backup's, and goes on without reusing a number.
  EXPECT_LT(GetHistory(Nic(1), 1).at(0).sequence, replacedChange);
  SetMtu(store_, 2, 1500);
  EXPECT_GT(GetHistory(Nic(2), 1).at(0).sequence, replacedChange);
  ASSERT_TRUE(RestoreStore(result.previous).restored);
  EXPECT_EQ(Mtu(store_, 1), 9000);
}

// Flips one byte at `offset` from the end of the file.
void Damage(const std::string& path, long offset) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekg(-offset, std::ios::end);
  const char byte = static_cast<char>(file.get() ^ 0x20);
  file.seekp(-offset, std::ios::end);
  file.put(byte);
}

TEST_F(BackupTest, ADamagedOrFailingBackupIsRefusedAndChangesNothing) {
  SetMtu(store_, 1, 1500);
  BackupStore(BackupFile());
  SetMtu(store_, 1, 9000);
  auto refusal = [&](const std::string& path) {
    const RestoreResult result = RestoreStore(path);
    EXPECT_FALSE(result.restored);
    EXPECT_EQ(Mtu(store_, 1), 9000);
    return result.check.problems.empty()
               ? std::string("none")
               : result.check.problems[0].kind + ": " + result.check.problems[0].detail;
  };
  Damage(BackupFile(), 4000);
  EXPECT_EQ(refusal(BackupFile()), "damaged: the image does not match its checksum: schema store");
  std::ofstream(db_.Path() + "/cut.backup") << "{\"format\":\"configstore backup\"";
  EXPECT_EQ(refusal(db_.Path() + "/cut.backup"), "damaged: no backup header");

  db_.Sql("UPDATE Config SET UserValue='{\"mtu\":' WHERE Identifier='nic1';");
  BackupStore(BackupFile());
  db_.Sql("UPDATE Config SET UserValue='{\"mtu\":9000}' WHERE Identifier='nic1';");
  EXPECT_EQ(refusal(BackupFile()).substr(0, 12), "unparsable: ");
  std::ifstream previous(PreviousBackupPath());
  EXPECT_FALSE(previous.is_open());
}

}  // namespace
}  // namespace OrinConfigStore
