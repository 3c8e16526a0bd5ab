#include "platform/schema_store.h"

#include <sys/stat.h>

#include "platform/schema_database.h"

namespace OrinSchemaStore {

namespace {

using TypeKey = std::tuple<std::string, std::string, std::string>;

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

  std::vector<SchemaName> Names() {
    std::lock_guard<std::mutex> lock(mutex_);
    return Refresh() ? reader_->Names() : std::vector<SchemaName>();
  }

 private:
  // Makes the cached types current; false when there is no database.
  bool Refresh() {
    const std::string path = SchemaStorePath();
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
      Reset();
      return false;
    }
    if (path != path_ || info.st_dev != device_ || info.st_ino != inode_ || !reader_) {
      Reset();
      reader_ = SchemaReader::Open(path);
      if (!reader_) return false;
      path_ = path;
      device_ = info.st_dev;
      inode_ = info.st_ino;
    }
    const long long version = reader_->DataVersion();
    if (version != dataVersion_) {
      types_.clear();
      dataVersion_ = version;
    }
    return true;
  }

  void Reset() {
    types_.clear();
    reader_.reset();
    path_.clear();
    dataVersion_ = -1;
  }

  std::mutex mutex_;
  std::unique_ptr<SchemaReader> reader_;
  std::string path_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  long long dataVersion_ = -1;
  std::map<TypeKey, std::shared_ptr<SchemaObject>> types_;
};

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

}  // namespace OrinSchemaStore
