#include "apps/gateway/outbox.h"

#include <sqlite3.h>
#include <utility>

namespace velto::gateway {

namespace {

// WAL with a flush for each commit: a publication is acknowledged to the tool behind it.
constexpr const char *kSetUp = R"(
PRAGMA journal_mode=WAL;
PRAGMA synchronous=FULL;
PRAGMA locking_mode=EXCLUSIVE;
CREATE TABLE IF NOT EXISTS publication(
  id INTEGER PRIMARY KEY, time INTEGER NOT NULL, topic TEXT NOT NULL, payload TEXT NOT NULL,
  retain INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS tool(name TEXT PRIMARY KEY, sequence INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS number(name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
INSERT OR IGNORE INTO number VALUES('dropped', 0), ('last', 0);
)";

/// A prepared statement; bound from left to right, and reset when it has been run.
class Statement {
public:
  Statement(sqlite3 *database, const char *sql) {
    sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement &) = delete;
  Statement &operator=(const Statement &) = delete;

  template <typename... A> Statement &bind(const A &...arguments) {
    sqlite3_reset(statement_);
    int index = 0;
    (one(++index, arguments), ...);
    return *this;
  }
  bool run() {
    const int result = sqlite3_step(statement_);
    sqlite3_reset(statement_);
    return result == SQLITE_DONE || result == SQLITE_ROW;
  }
  bool next() {
    if (sqlite3_step(statement_) == SQLITE_ROW)
      return true;
    sqlite3_reset(statement_);
    return false;
  }
  void reset() { sqlite3_reset(statement_); }
  uint64_t number(int column) {
    return static_cast<uint64_t>(sqlite3_column_int64(statement_, column));
  }
  std::string text(int column) {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(statement_, column));
    return text == nullptr
               ? ""
               : std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement_, column)));
  }

private:
  void one(int index, uint64_t value) {
    sqlite3_bind_int64(statement_, index, static_cast<sqlite3_int64>(value));
  }
  void one(int index, int64_t value) { sqlite3_bind_int64(statement_, index, value); }
  void one(int index, const std::string &text) {
    sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  }

  sqlite3_stmt *statement_ = nullptr;
};

class SqliteOutbox final : public Outbox {
public:
  ~SqliteOutbox() override {
    statements_.reset();
    sqlite3_close(database_);
  }

  std::string open(const std::string &path) override {
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(path.c_str(), &database_, kFlags, nullptr) != SQLITE_OK ||
        sqlite3_exec(database_, kSetUp, nullptr, nullptr, nullptr) != SQLITE_OK)
      return path + ": " + error();
    statements_ = std::make_unique<Statements>(database_);
    // Taken now and kept: a second gateway on the same file would send everything twice.
    if (!begin() || !setDropped(content().dropped) || !commit())
      return path + ": " + error();
    return "";
  }

  bool begin() override { return statements_->begin.run(); }
  bool add(const Entry &entry, int64_t seconds) override {
    last_ = entry.id;
    return kept(statements_->add
                    .bind(entry.id, seconds, entry.publication.topic, entry.publication.payload,
                          uint64_t{entry.publication.retain})
                    .run());
  }
  bool remove(uint64_t id) override { return kept(statements_->remove.bind(id).run()); }
  bool setSequence(const std::string &tool, uint64_t sequence) override {
    return kept(statements_->setSequence.bind(tool, sequence).run());
  }
  bool setDropped(uint64_t count) override { return setNumber("dropped", count); }
  bool commit() override {
    if (last_ != 0 && !setNumber("last", std::exchange(last_, 0)))
      return false;
    return kept(statements_->commit.run());
  }
  std::string error() const override { return sqlite3_errmsg(database_); }

  Content content() override {
    Content content;
    Statement sums(database_, "SELECT count(*), total(length(CAST(topic AS BLOB)) + "
                              "length(CAST(payload AS BLOB))) FROM publication");
    if (sums.next()) {
      content.count = sums.number(0);
      content.bytes = sums.number(1);
    }
    content.lastId = number("last");
    content.dropped = number("dropped");
    return content;
  }
  uint64_t sequence(const std::string &tool) override {
    Statement &statement = statements_->sequence.bind(tool);
    const uint64_t sequence = statement.next() ? statement.number(0) : 0;
    statement.reset();
    return sequence;
  }
  std::vector<Entry> read(uint64_t behind, uint64_t bytes) override {
    std::vector<Entry> entries;
    Statement &statement = statements_->read.bind(behind);
    for (uint64_t sum = 0; sum < bytes && statement.next();
         sum += bytesOf(entries.back().publication))
      entries.push_back(
          {statement.number(0), {statement.text(1), statement.text(2), statement.number(3) != 0}});
    statement.reset();
    return entries;
  }
  std::optional<Age> oldest() override {
    Statement &statement = statements_->oldest.bind();
    std::optional<Age> age;
    if (statement.next())
      age =
          Age{statement.number(0), statement.number(1), static_cast<int64_t>(statement.number(2))};
    statement.reset();
    return age;
  }

private:
  struct Statements {
    explicit Statements(sqlite3 *at) : database(at) {}
    sqlite3 *database;
    Statement begin{database, "BEGIN IMMEDIATE"};
    Statement commit{database, "COMMIT"};
    Statement add{database, "INSERT INTO publication VALUES(?, ?, ?, ?, ?)"};
    Statement remove{database, "DELETE FROM publication WHERE id = ?"};
    Statement setSequence{database, "INSERT OR REPLACE INTO tool VALUES(?, ?)"};
    Statement sequence{database, "SELECT sequence FROM tool WHERE name = ?"};
    Statement setNumber{database, "UPDATE number SET value = ?2 WHERE name = ?1"};
    Statement number{database, "SELECT value FROM number WHERE name = ?"};
    Statement read{database, "SELECT id, topic, payload, retain FROM publication WHERE id > ? "
                             "ORDER BY id"};
    Statement oldest{database,
                     "SELECT id, length(CAST(topic AS BLOB)) + length(CAST(payload AS BLOB)), "
                     "time FROM publication ORDER BY id LIMIT 1"};
  };

  bool setNumber(const std::string &name, uint64_t value) {
    return kept(statements_->setNumber.bind(name, value).run());
  }
  uint64_t number(const std::string &name) {
    Statement &statement = statements_->number.bind(name);
    const uint64_t value = statement.next() ? statement.number(0) : 0;
    statement.reset();
    return value;
  }
  // A step that fails takes the transaction with it.
  bool kept(bool done) {
    if (!done && sqlite3_get_autocommit(database_) == 0)
      sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    return done;
  }

  sqlite3 *database_ = nullptr;
  std::unique_ptr<Statements> statements_;
  uint64_t last_ = 0; ///< ID that the transaction adds last
};

} // namespace

std::unique_ptr<Outbox> makeOutbox() { return std::make_unique<SqliteOutbox>(); }

} // namespace velto::gateway
