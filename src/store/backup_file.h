#ifndef SRC_STORE_BACKUP_FILE_H_
#define SRC_STORE_BACKUP_FILE_H_

// The backup file: one line of JSON, the header, then the image of each
// database, byte for byte:
//
//   {"format":"configstore backup","formatVersion":1,"time":"...",
//    "lastChange":N,"types":{"component/group/key":"version",...},
//    "parts":[{"database":"configuration","bytes":N,"crc32":N},
//             {"database":"schema store","bytes":N,"crc32":N}]}\n
//   <configuration image><schema store image>
//
// Each image carries its length and CRC-32, so that a file cut short or
// altered anywhere is told from a whole one before anything is restored.

#include <string>
#include <vector>

#include "configstore/backup.h"

namespace OrinConfigStore {

struct BackupImage {
  std::string database;  // kConfigurationDatabase or kSchemaStoreDatabase
  std::string bytes;
};

struct BackupContents {
  BackupHeader header;
  std::vector<BackupImage> images;

  // The image of `database`; null when the backup has none.
  const BackupImage* Image(const std::string& database) const;
};

// Writes `contents` to `path`: to a new file beside it, synced, then renamed
// over it, so that `path` is whole or untouched. ConfigStoreException when
// it cannot be written.
void WriteBackupFile(const std::string& path, const BackupContents& contents);

// Reads the backup at `path`. When the file is not a whole backup, `damage`
// says why (and the contents are not to be used); it stays empty otherwise.
// ConfigStoreException when the file cannot be read at all.
BackupContents ReadBackupFile(const std::string& path, std::string& damage);

}  // namespace OrinConfigStore

#endif  // SRC_STORE_BACKUP_FILE_H_
