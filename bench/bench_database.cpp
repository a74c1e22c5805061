// Save and load time of a full database: 100 orders with 500-character texts,
// destinations and telephone books, 100 text messages, two status lists.
// The file lies in $TMPDIR (or /tmp): on a tmpfs fsync costs next to nothing,
// so compare the fsync figures on the device's own file system.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "data/Database.h"
#include "data/DatabaseFile.h"

namespace {

data::Database FullDatabase(const std::string& path) {
  data::Database database(path);
  for (unsigned i = 1; i <= 100; ++i) {
    data::Order order(1000 + i, "A-" + std::to_string(i), std::string(500, 'o'));
    order.sortKey = database.sortKeys.Next();
    order.arrivalTime = order.lastChangeTime = 1700000000 + i;
    order.destination = data::Position(48000000 + static_cast<int>(i), 11000000);
    order.destinationDescription = "Dock " + std::to_string(i);
    order.telephoneBook.emplace_back("+49 89 " + std::to_string(i), "office");
    order.telephoneBook.emplace_back("+49 170 " + std::to_string(i), "");
    database.orders.insert({order.id, order});
    data::TextMessage message(5000 + i, std::string(500, 'm'));
    message.sortKey = database.sortKeys.Next();
    database.textMessages.insert({message.id, message});
  }
  for (unsigned i = 1; i <= 10; ++i) {
    database.statuses.insert({i, data::Status(i, "status " + std::to_string(i))});
    database.orderStatuses.insert({100 + i, data::Status(100 + i, "order status " + std::to_string(i))});
  }
  database.config.configured = true;
  database.zu.NCVersion = "5.2.1";
  return database;
}

class Folder {
 public:
  Folder() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/bench-database-XXXXXX";
    path = mkdtemp(pattern.data()) != nullptr ? pattern : ".";
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string path;
};

void SaveFullDatabase(benchmark::State& state, bool synchronise) {
  Folder folder;
  const data::Database database = FullDatabase(folder.path + "/velarnd.db");
  for (auto _ : state) {
    data::WriteDatabaseFile(database, database.path, synchronise);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(std::filesystem::file_size(database.path)));
}

void BM_SaveFullDatabaseWithoutFsync(benchmark::State& state) { SaveFullDatabase(state, false); }
void BM_SaveFullDatabaseWithFsync(benchmark::State& state) { SaveFullDatabase(state, true); }

void BM_LoadFullDatabase(benchmark::State& state) {
  Folder folder;
  data::Database saved = FullDatabase(folder.path + "/velarnd.db");
  if (!saved.Save()) {
    state.SkipWithError("could not save");
    return;
  }
  data::Database database(saved.path);
  for (auto _ : state) {
    if (!database.Load()) {
      state.SkipWithError("could not load");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(std::filesystem::file_size(saved.path)));
}

// The archive alone, without the file system.
void BM_EncodeFullDatabase(benchmark::State& state) {
  const data::Database database = FullDatabase("unused");
  for (auto _ : state) {
    benchmark::DoNotOptimize(data::EncodeDatabase(database));
  }
}

void BM_DecodeFullDatabase(benchmark::State& state) {
  const std::string bytes = data::EncodeDatabase(FullDatabase("unused"));
  data::Database database("unused");
  for (auto _ : state) {
    data::DecodeDatabase(bytes, database);
  }
}

}  // namespace

BENCHMARK(BM_SaveFullDatabaseWithoutFsync)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SaveFullDatabaseWithFsync)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LoadFullDatabase)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EncodeFullDatabase)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DecodeFullDatabase)->Unit(benchmark::kMicrosecond);
