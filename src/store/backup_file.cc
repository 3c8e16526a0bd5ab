#include "backup_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>

#include "configstore/exceptions.h"
#include "json/document.h"
#include "platform/sqlite_db.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kFormat = "configstore backup";
constexpr int kFormatVersion = 1;
constexpr const char* kTemporarySuffix = ".XXXXXX";
constexpr const char* kCannotWrite = "Cannot write the backup ";
constexpr const char* kCannotRead = "Cannot read the backup ";
constexpr const char* kNoHeader = "no backup header";
constexpr const char* kBadHeader = "the header is not a backup's";
constexpr const char* kUnknownFormat = "unknown backup format version";
constexpr const char* kWrongLength = "the file is cut short or has bytes beyond its images";
constexpr const char* kWrongChecksum = "the image does not match its checksum: ";

// CRC-32 as zip and PNG use it (reflected polynomial 0xEDB88320).
std::uint32_t Crc32(const std::string& bytes) {
  static const std::array<std::uint32_t, 256> kTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
      std::uint32_t value = i;
      for (int bit = 0; bit < 8; ++bit)
        value = (value >> 1) ^ ((value & 1U) != 0 ? 0xEDB88320U : 0U);
      table[i] = value;
    }
    return table;
  }();
  std::uint32_t crc = 0xFFFFFFFFU;
  for (const char c : bytes)
    crc = kTable[(crc ^ static_cast<unsigned char>(c)) & 0xFFU] ^ (crc >> 8);
  return crc ^ 0xFFFFFFFFU;
}

std::string HeaderLine(const BackupContents& contents) {
  JDoc header;
  header.SetObject();
  JAllocator& allocator = header.GetAllocator();
  auto text = [&](const std::string& value) { return JVal(value.c_str(), allocator); };
  header.AddMember("format", JVal(kFormat, allocator), allocator);
  header.AddMember("formatVersion", kFormatVersion, allocator);
  header.AddMember("time", text(contents.header.time), allocator);
  header.AddMember("lastChange", static_cast<int64_t>(contents.header.lastChange), allocator);
  JVal types(rapidjson::kObjectType);
  for (const auto& type : contents.header.types) {
    types.AddMember(text(type.first), text(type.second), allocator);
  }
  header.AddMember("types", types, allocator);
  JVal parts(rapidjson::kArrayType);
  for (const BackupImage& image : contents.images) {
    JVal part(rapidjson::kObjectType);
    part.AddMember("database", text(image.database), allocator);
    part.AddMember("bytes", static_cast<uint64_t>(image.bytes.size()), allocator);
    part.AddMember("crc32", Crc32(image.bytes), allocator);
    parts.PushBack(part, allocator);
  }
  header.AddMember("parts", parts, allocator);
  std::string line;
  ConfigStoreDocument::SerializeValue(header, line);
  return line + "\n";
}

[[noreturn]] void ThrowWriteFailure(const std::string& path) {
  throw ConfigStoreException(kCannotWrite + path + ": " + std::strerror(errno));
}

bool WriteAll(int fd, const std::string& bytes) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t count = ::write(fd, bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    written += static_cast<std::size_t>(count);
  }
  return true;
}

// The directory's entry for the renamed file reaches the disk too.
void SyncDirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

const JVal* Member(const JVal& object, const char* name) {
  const auto found = object.FindMember(name);
  return found != object.MemberEnd() ? &found->value : nullptr;
}

// Reads the header's fields into `contents`; false when one is missing or
// of the wrong kind.
bool ReadHeader(const JVal& header, BackupContents& contents,
                std::vector<std::pair<uint64_t, uint32_t>>& parts) {
  const JVal* time = Member(header, "time");
  const JVal* lastChange = Member(header, "lastChange");
  const JVal* types = Member(header, "types");
  const JVal* list = Member(header, "parts");
  if (time == nullptr || !time->IsString() || lastChange == nullptr || !lastChange->IsInt64() ||
      types == nullptr || !types->IsObject() || list == nullptr || !list->IsArray()) {
    return false;
  }
  contents.header.time = time->GetString();
  contents.header.lastChange = lastChange->GetInt64();
  for (const auto& type : types->GetObject()) {
    if (!type.value.IsString()) return false;
    contents.header.types[type.name.GetString()] = type.value.GetString();
  }
  for (const JVal& part : list->GetArray()) {
    if (!part.IsObject()) return false;
    const JVal* database = Member(part, "database");
    const JVal* bytes = Member(part, "bytes");
    const JVal* crc = Member(part, "crc32");
    if (database == nullptr || !database->IsString() || bytes == nullptr || !bytes->IsUint64() ||
        crc == nullptr || !crc->IsUint()) {
      return false;
    }
    contents.images.push_back({database->GetString(), std::string()});
    parts.emplace_back(bytes->GetUint64(), crc->GetUint());
  }
  return true;
}

// Cuts the images out of `body` and checks them; the damage found, or "".
std::string ReadImages(const std::string& body, std::size_t offset, BackupContents& contents,
                       const std::vector<std::pair<uint64_t, uint32_t>>& parts) {
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (parts[i].first > body.size() - offset) return kWrongLength;
    contents.images[i].bytes = body.substr(offset, parts[i].first);
    offset += parts[i].first;
    if (Crc32(contents.images[i].bytes) != parts[i].second) {
      return kWrongChecksum + contents.images[i].database;
    }
  }
  return offset == body.size() ? "" : kWrongLength;
}

std::string Parse(const std::string& body, BackupContents& contents) {
  const std::size_t end = body.find('\n');
  if (end == std::string::npos) return kNoHeader;
  JDoc header;
  if (!ConfigStoreDocument::Parse(header, body.data(), end) || !header.IsObject()) return kNoHeader;
  const JVal* format = Member(header, "format");
  const JVal* version = Member(header, "formatVersion");
  if (format == nullptr || !format->IsString() || std::strcmp(format->GetString(), kFormat) != 0) {
    return kNoHeader;
  }
  if (version == nullptr || !version->IsInt() || version->GetInt() != kFormatVersion) {
    return kUnknownFormat;
  }
  std::vector<std::pair<uint64_t, uint32_t>> parts;
  if (!ReadHeader(header, contents, parts)) return kBadHeader;
  return ReadImages(body, end + 1, contents, parts);
}

}  // namespace

const BackupImage* BackupContents::Image(const std::string& database) const {
  for (const BackupImage& image : images) {
    if (image.database == database) return &image;
  }
  return nullptr;
}

void WriteBackupFile(const std::string& path, const BackupContents& contents) {
  std::string temporary = path + kTemporarySuffix;
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) ThrowWriteFailure(path);
  bool written = ::fchmod(fd, SqliteDb::kFileMode) == 0 && WriteAll(fd, HeaderLine(contents));
  for (const BackupImage& image : contents.images) written = written && WriteAll(fd, image.bytes);
  written = written && ::fsync(fd) == 0;
  const int savedErrno = errno;
  written = ::close(fd) == 0 && written;
  if (!written || ::rename(temporary.c_str(), path.c_str()) != 0) {
    if (!written) errno = savedErrno;
    const int failure = errno;
    ::unlink(temporary.c_str());
    errno = failure;
    ThrowWriteFailure(path);
  }
  SyncDirectoryOf(path);
}

BackupContents ReadBackupFile(const std::string& path, std::string& damage) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream body;
  body << file.rdbuf();
  struct stat info;
  if (!file.is_open() || file.bad() || ::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    throw ConfigStoreException(kCannotRead + path);
  }
  BackupContents contents;
  damage = Parse(body.str(), contents);
  return contents;
}

}  // namespace OrinConfigStore
