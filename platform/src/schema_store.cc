// Lookups of object types, the process-wide cache of parsed types, and the
// description of every stored type.

#include "platform/schema_store.h"

#include <sys/stat.h>

#include <ctime>

#include "configstore/provisioning.h"
#include "platform/host.h"
#include "platform/schema_database.h"
#include "wal_index_watch.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::JAllocator;
using TypeKey = std::tuple<std::string, std::string, std::string>;

// How long after its last change a file counts as settled. A commit moves
// the modification time of the file it writes on, but the kernel takes
// times from a coarse clock and some file systems keep whole or even
// seconds, so a commit soon after an earlier one may leave it as it was.
constexpr long kSettleSeconds = 2;
constexpr const char* kNoFile = "the file does not exist";
constexpr const char* kNoTables = "the file holds no schema store";
// SQLite's write-ahead journal beside the database, where commits go first.
constexpr const char* kJournalSuffix = "-wal";
// How often a lookup that the index header finds current still makes sure
// that the file is the same: a commit always shows in the header, a file
// deleted and made anew does not.
constexpr long long kIdentityRecheckMs = 1000;

long long CoarseMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// What stat() tells of a file's content changing; an absent file has a
// stamp of its own.
struct FileStamp {
  FileStamp() = default;
  explicit FileStamp(const struct stat& info)
      : size(info.st_size), modified(info.st_mtim), changed(info.st_ctim) {}
  explicit FileStamp(const std::string& path) {
    struct stat info;
    if (::stat(path.c_str(), &info) == 0) *this = FileStamp(info);
  }

  bool operator==(const FileStamp& other) const {
    return size == other.size && Same(modified, other.modified) && Same(changed, other.changed);
  }
  // Whether the file was last modified more than kSettleSeconds before
  // `now`: a write after `now` then necessarily gives another stamp.
  bool SettledBefore(const timespec& now) const {
    return modified.tv_sec + kSettleSeconds < now.tv_sec;
  }

 private:
  static bool Same(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
  }

  off_t size = -1;
  timespec modified{};
  timespec changed{};
};

// The database and its journal: between them every commit shows.
struct StoreStamp {
  bool operator==(const StoreStamp& other) const {
    return database == other.database && journal == other.journal;
  }
  bool SettledBefore(const timespec& now) const {
    return database.SettledBefore(now) && journal.SettledBefore(now);
  }

  FileStamp database;
  FileStamp journal;
};

timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

// The process-wide cache of parsed types, bound to one database file. It
// starts over when the root (and so the file) changes, when the file is
// replaced, and when SQLite reports a commit by another connection.
class TypeCache {
 public:
  static TypeCache& Instance() {
    static TypeCache cache;
    return cache;
  }

  std::shared_ptr<SchemaObject> Lookup(const TypeKey& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!Refresh()) return nullptr;
    const auto found = types_.find(key);
    if (found != types_.end()) return found->second;
    std::shared_ptr<SchemaObject> type =
        reader_->Read(std::get<0>(key), std::get<1>(key), std::get<2>(key));
    types_.emplace(key, type);  // absent types are remembered too
    return type;
  }

  // In a child of fork(), closes the reader inherited from the parent, so
  // that a connection the child opens for writing takes file locks of its
  // own (SQLite would count the inherited reader's as the child's).
  void ForgetInherited() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (reader_ && owner_ != OrinConfigStore::CurrentProcessId()) Reset();
  }

  std::vector<SchemaName> Names() {
    std::lock_guard<std::mutex> lock(mutex_);
    return Refresh() ? reader_->Names() : std::vector<SchemaName>();
  }

  // Whether there is a schema store with its tables to read.
  bool Readable() {
    std::lock_guard<std::mutex> lock(mutex_);
    return Refresh();
  }

 private:
  // Whether nothing can have changed since the last full check: the same
  // root setting and process, and the index header as it was then.
  bool Current(const char* root) const {
    return reader_ && watch_.Unchanged() && SameRoot(root) &&
           owner_ == OrinConfigStore::CurrentProcessId() &&
           CoarseMilliseconds() - checkedAt_ < kIdentityRecheckMs;
  }

  // The root setting of the last full check: a lookup compares the setting
  // itself rather than resolve the store's path every time.
  bool SameRoot(const char* root) const {
    return root == nullptr ? !rootSet_ : rootSet_ && rootSetting_ == root;
  }

  // Makes the cached types current; false when there is no database.
  bool Refresh() {
    const char* root = OrinConfigStore::RootSetting();
    if (Current(root)) return true;
    if (!Check(SchemaStorePath())) return false;
    rootSet_ = root != nullptr;
    rootSetting_ = rootSet_ ? root : "";
    return true;
  }

  // The full check of the store at `path`.
  bool Check(const std::string& path) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
      Reset();
      return false;
    }
    // A reader inherited across fork() is not used: the child opens its own.
    // One that reads the file alone is opened again once a write-ahead log
    // has appeared beside it.
    struct stat journal;
    const bool blind =
        reader_ && reader_->Immutable() && ::stat((path + kJournalSuffix).c_str(), &journal) == 0;
    if (path != path_ || info.st_dev != device_ || info.st_ino != inode_ || !reader_ || blind ||
        owner_ != OrinConfigStore::CurrentProcessId()) {
      Reset();
      reader_ = SchemaReader::Open(path);
      if (!reader_) return false;
      owner_ = OrinConfigStore::CurrentProcessId();
      path_ = path;
      journalPath_ = path + kJournalSuffix;
      device_ = info.st_dev;
      inode_ = info.st_ino;
    }
    // Asking SQLite costs file locks on every lookup. With the index header
    // watched, lookups ask only after it moved; a reader of the file alone
    // has none, and there the files' stamps, once they have been left alone
    // for a while, tell the same more cheaply.
    if (watch_.Active() || (!reader_->Immutable() && watch_.Start(reader_->WalIndex()))) {
      watch_.Remember();
      CheckDataVersion();
      checkedAt_ = CoarseMilliseconds();
      return true;
    }
    const StoreStamp stamp{FileStamp(info), FileStamp(journalPath_)};
    if (settled_ && stamp == stamp_) return true;
    CheckDataVersion();
    stamp_ = stamp;
    settled_ = stamp.SettledBefore(Now());
    return true;
  }

  void CheckDataVersion() {
    const long long version = reader_->DataVersion();
    if (version != dataVersion_) {
      types_.clear();
      dataVersion_ = version;
    }
  }

  void Reset() {
    types_.clear();
    watch_.Stop();  // never beyond the reader that keeps the index in place
    reader_.reset();
    path_.clear();
    dataVersion_ = -1;
    settled_ = false;
  }

  std::mutex mutex_;
  std::unique_ptr<SchemaReader> reader_;
  OrinConfigStore::WalIndexWatch watch_;  // on reader_'s mapping
  long long checkedAt_ = 0;
  pid_t owner_ = 0;
  std::string path_;
  std::string journalPath_;
  bool rootSet_ = false;
  std::string rootSetting_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  long long dataVersion_ = -1;
  // The files as they were at the last data-version check, and whether they
  // had then been left alone long enough for the stamps alone to show a
  // commit.
  StoreStamp stamp_;
  bool settled_ = false;
  std::map<TypeKey, std::shared_ptr<SchemaObject>> types_;
};

JVal Text(const std::string& text, JAllocator& allocator) {
  return JVal(text.c_str(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

}  // namespace

std::shared_ptr<SchemaObject> SchemaObjectCache::Get(const std::string& component,
                                                     const std::string& group,
                                                     const std::string& key) {
  TypeKey name{component, group, key};
  const auto found = memo_.find(name);
  if (found != memo_.end()) return found->second;
  auto type = SchemaStore::GetStore()->GetSchemaObject(component, group, key);
  memo_.emplace(std::move(name), type);
  return type;
}

void ReleaseInheritedSchemaReader() { TypeCache::Instance().ForgetInherited(); }

std::shared_ptr<SchemaStore> SchemaStore::GetStore() {
  static const auto store = std::make_shared<SchemaStore>();
  return store;
}

std::shared_ptr<SchemaObjectCache> SchemaStore::GetCache() {
  return std::make_shared<SchemaObjectCache>();
}

std::shared_ptr<SchemaObject> SchemaStore::GetSchemaObject(const std::string& component,
                                                           const std::string& group,
                                                           const std::string& key) const {
  return TypeCache::Instance().Lookup(TypeKey{component, group, key});
}

std::vector<std::shared_ptr<SchemaObject>> SchemaStore::GetSchemaObjects() const {
  std::vector<std::shared_ptr<SchemaObject>> types;
  for (const SchemaName& name : TypeCache::Instance().Names()) {
    if (auto type = GetSchemaObject(name.component, name.group, name.key)) {
      types.push_back(std::move(type));
    }
  }
  return types;
}

void SchemaStore::RequireSchemaStore() const {
  if (TypeCache::Instance().Readable()) return;
  struct stat info;
  ThrowSchemaStoreUnreadable(::stat(SchemaStorePath().c_str(), &info) != 0 ? kNoFile : kNoTables);
}

void InitializeSchemaStore() { CreateSchemaStore(); }

std::shared_ptr<OrinConfigStore::JsonDoc> DescribeSchemas() {
  auto description = OrinConfigStore::CreateDocument();
  auto& types = description->GetDocument();
  JAllocator& allocator = types.GetAllocator();
  types.SetArray();
  for (const auto& schema : SchemaStore::GetStore()->GetSchemaObjects()) {
    JVal type(rapidjson::kObjectType);
    type.AddMember("component", Text(schema->GetComponent(), allocator), allocator);
    type.AddMember("group", Text(schema->GetGroup(), allocator), allocator);
    type.AddMember("key", Text(schema->GetKey(), allocator), allocator);
    type.AddMember("version", Text(schema->GetVersion(), allocator), allocator);
    type.AddMember("nonSingleton", schema->IsNonSingleton(), allocator);
    type.AddMember("bootExempt", schema->IsBootExempt(), allocator);
    type.AddMember("schema", JVal(schema->GetSchemaJson(), allocator), allocator);
    types.PushBack(type, allocator);
  }
  return description;
}

}  // namespace OrinSchemaStore
