#ifndef CONFIGSTORE_BACKUP_H_
#define CONFIGSTORE_BACKUP_H_

// Backing up and restoring a host's store: the configuration database and
// the schema store together, in one file.
//
// Copying the database files by hand is not a backup: committed writes wait
// in the write-ahead log ("-wal" file) until a checkpoint moves them into the
// database file, so a copy of the file alone can miss them. A backup reads
// through SQLite instead, while other processes go on writing.

#include <map>
#include <string>

#include "configstore/export.h"
#include "configstore/store_check.h"

namespace OrinConfigStore {

// What a backup holds, as its header tells.
struct BackupHeader {
  // When the snapshot was taken, UTC: "YYYY-MM-DDTHH:MM:SSZ".
  std::string time;
  // The sequence number of the last change in the store's history; 0 when
  // the history holds none.
  long long lastChange = 0;
  // Each type of the schema store, "component/group/key", with its version.
  std::map<std::string, std::string> types;
};

// Writes a backup of the host's store to `file` and returns its header. The
// snapshot is consistent: it holds exactly the writes committed before it
// began, whatever others write meanwhile (the schema store is read first,
// then the configuration, each as of one moment). It takes no write lock.
// The file appears whole or not at all (written beside, then renamed), mode
// 0640 like the databases. ConfigStoreException when a database cannot be
// read or the file cannot be written.
CONFIGSTORE_API BackupHeader BackupStore(const std::string& file);

struct RestoreResult {
  BackupHeader header;
  // The check of the backup's store (CheckStore's findings, plus a finding
  // of kind "damaged", database "backup", when the file is not a whole
  // backup: cut short, altered, or no backup at all). When it holds any
  // problem, nothing was restored.
  StoreCheck check;
  bool restored = false;
  // The backup of the store as it was just before the restore replaced it.
  std::string previous;
};

// Where a restore keeps the store it replaces: beside the configuration
// database, under the host root.
CONFIGSTORE_API std::string PreviousBackupPath();

// Restores the backup in `file` as the host's store, when its check finds
// nothing wrong; otherwise changes nothing and reports why.
//
// Each database's rows are replaced in one write transaction: readers see
// the old store or the new one, writers wait for the transaction as for any
// other writer (and fail as busy past their wait). The schema store is
// replaced only when the backup's types differ from the host's, in a second
// transaction committed right after the configuration's. The store being
// replaced is first written, as of that transaction, to
// PreviousBackupPath(). A host without a store yet gets one. The change
// history is the backup's; new changes are numbered on from the highest
// sequence number either store ever gave, so that none is given twice.
// ConfigStoreException when the file cannot be read or the restore fails
// (nothing is then changed).
CONFIGSTORE_API RestoreResult RestoreStore(const std::string& file);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_BACKUP_H_
