// Database::Load() over whatever a file may hold. It must never crash or
// read behind the file; a refused file leaves a new database in memory, and
// an accepted one comes out of a second round through the archive unchanged.
// The partial read of a damaged file runs over the same bytes.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "data/Database.h"
#include "data/DatabaseFile.h"

namespace {

std::string folder;

void RemoveFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

const std::string& FilePath() {
  static const std::string path = [] {
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/fuzz-database-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
      std::abort();
    }
    folder = pattern;
    std::atexit(RemoveFolder);
    return folder + "/velarnd.db";
  }();
  return path;
}

void WriteFile(const std::string& path, const uint8_t* bytes, size_t size) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (fd < 0) {
    std::abort();
  }
  while (size > 0) {
    const ssize_t written = write(fd, bytes, size);
    if (written <= 0) {
      std::abort();
    }
    bytes += written;
    size -= static_cast<size_t>(written);
  }
  close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string& path = FilePath();
  WriteFile(path, bytes, size);

  // The partial read of velarnctl db dump: whatever it kept must be a
  // database that can be written, and a whole one what Load() reads.
  data::Database partial(path);
  const data::DatabaseReport report = data::ReadDatabase(reinterpret_cast<const char*>(bytes), size, partial);
  const std::string partialBytes = data::EncodeDatabase(partial);

  data::Database database(path);
  database.zu.driverId = 7;
  database.orders.insert({1, data::Order(1, "", "")});
  if (database.Load() == report.damaged) {
    std::abort();
  }
  if (report.damaged) {
    if (database.zu.driverId != 0 || !database.orders.empty() || database.sortKeys.Current() != 1 ||
        database.path != path) {
      std::abort();
    }
    return 0;
  }
  const std::string once = data::EncodeDatabase(database);
  if (once != partialBytes) {
    std::abort();
  }
  data::Database again(path);
  data::DecodeDatabase(once, again);
  if (data::EncodeDatabase(again) != once) {
    std::abort();
  }
  return 0;
}
