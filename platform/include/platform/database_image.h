#ifndef PLATFORM_DATABASE_IMAGE_H_
#define PLATFORM_DATABASE_IMAGE_H_

// Whole-database copies for backup and restore, taken and put back while
// other processes go on using the database.
//
// A copy of the file alone is not a copy of the database: committed pages
// wait in the write-ahead log until a checkpoint moves them into the file.
// An image is taken through SQLite instead, inside a read transaction, so it
// holds exactly what was committed when the transaction began, the log's
// pages included.

#include <memory>
#include <string>

#include "platform/sqlite_db.h"

namespace OrinConfigStore {

// A read transaction on one database file: everything read through it,
// image and queries alike, sees the same committed state. Takes no write
// lock; writers go on meanwhile.
class ReadSnapshot {
 public:
  // Null, with `error` set, when the file cannot be opened or read.
  static std::unique_ptr<ReadSnapshot> Begin(const std::string& path, std::string& error);
  ~ReadSnapshot();
  ReadSnapshot(const ReadSnapshot&) = delete;
  ReadSnapshot& operator=(const ReadSnapshot&) = delete;

  // The database's bytes as of the snapshot: a file that opens as the
  // database did. False, with `error` set, when it cannot be read.
  bool Image(std::string& bytes, std::string& error) const;
  // For queries inside the snapshot.
  const SqliteDb& Db() const { return *db_; }

 private:
  explicit ReadSnapshot(std::unique_ptr<SqliteDb> db) : db_(std::move(db)) {}
  std::unique_ptr<SqliteDb> db_;
};

// Replaces what a live database holds by the rows of another database file,
// in one write transaction: other connections see the old rows or the new
// ones, never a mix, and their writers wait for the write lock meanwhile as
// for any writer. The file itself stays (its owner, mode and every open
// connection with it), unlike a file renamed into place.
class ContentReplacement {
 public:
  // Opens the database at `path` with `sourcePath` attached and takes the
  // write lock, waiting as writers do. Null, with `error`, when it cannot.
  static std::unique_ptr<ContentReplacement> Begin(const std::string& path,
                                                   const std::string& sourcePath,
                                                   std::string& error);
  // Rolls back unless committed.
  ~ContentReplacement();
  ContentReplacement(const ContentReplacement&) = delete;
  ContentReplacement& operator=(const ContentReplacement&) = delete;

  // The database's bytes before the replacement: with the write lock held,
  // exactly what the replacement replaces.
  bool Image(std::string& bytes, std::string& error) const;
  // Empties every table of the database and fills each that the source also
  // has with the source's rows (the columns both declare). Tables only the
  // source has are left out: the database's layout is the one its own
  // library version made.
  bool CopyRows(std::string& error);
  bool Commit(std::string& error);
  // For queries inside the transaction.
  const SqliteDb& Db() const { return *db_; }

 private:
  explicit ContentReplacement(std::unique_ptr<SqliteDb> db) : db_(std::move(db)) {}
  std::unique_ptr<SqliteDb> db_;
  bool open_ = true;
};

}  // namespace OrinConfigStore

#endif  // PLATFORM_DATABASE_IMAGE_H_
