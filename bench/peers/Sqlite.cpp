#include <sqlite3.h>

#include "Peers.h"

namespace bench {

namespace {

// Milliseconds that a connection waits for another's transaction.
constexpr int kPatience = 10000;

void demand(int result, const char* what) {
    if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
        throw std::runtime_error(std::string("SQLite: ") + what);
    }
}

struct Binder {
    sqlite3_stmt* statement;

    void operator()(bool flag) const { sqlite3_bind_int(statement, 2, flag ? 1 : 0); }
    void operator()(int number) const { sqlite3_bind_int(statement, 2, number); }
    void operator()(double number) const { sqlite3_bind_double(statement, 2, number); }
    void operator()(const std::string& text) const {
        sqlite3_bind_text(statement, 2, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }
    void operator()(const std::vector<int>& numbers) const {
        sqlite3_bind_blob(statement, 2, numbers.data(),
                          static_cast<int>(numbers.size() * sizeof(int)), SQLITE_STATIC);
    }
};

Value columnAs(sqlite3_stmt* statement, std::size_t kind) {
    switch (kind) {
        case 0:
            return sqlite3_column_int(statement, 0);
        case 1:
            return sqlite3_column_int(statement, 0) != 0;
        case 2:
            return sqlite3_column_double(statement, 0);
        case 3: {
            const auto* const text =
                reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
            return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
        }
        default: {
            const auto* const numbers = static_cast<const int*>(sqlite3_column_blob(statement, 0));
            const auto bytes = static_cast<std::size_t>(sqlite3_column_bytes(statement, 0));
            return std::vector<int>(numbers, numbers + bytes / sizeof(int));
        }
    }
}

/// A table of names and values, with a write-ahead log, as SQLite's manual has it for readers
/// beside a writer, synced at each commit. What was set since the last save is one open
/// transaction.
class SqliteStore : public Store {
public:
    using Store::Store;
    ~SqliteStore() override {
        sqlite3_finalize(select_);
        sqlite3_finalize(replace_);
        sqlite3_close(database_);
    }
    SqliteStore(const SqliteStore&) = delete;
    SqliteStore& operator=(const SqliteStore&) = delete;

    void open(const std::string& path) override {
        path_ = path;
        demand(sqlite3_open_v2(path.c_str(), &database_,
                               SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                               nullptr),
               "open");
        sqlite3_busy_timeout(database_, kPatience);
        run("PRAGMA journal_mode = WAL");
        run("PRAGMA synchronous = FULL");
        run("CREATE TABLE IF NOT EXISTS settings(name TEXT PRIMARY KEY, value) WITHOUT ROWID");
        prepare("SELECT value FROM settings WHERE name = ?1", select_);
        prepare("INSERT OR REPLACE INTO settings VALUES(?1, ?2)", replace_);
    }

    Value get(std::size_t position) const override {
        bindName(select_, position);
        demand(sqlite3_step(select_), "select");
        Value value = columnAs(select_, kindOf(position));
        sqlite3_reset(select_);
        return value;
    }

    void set(std::size_t position, const Value& value) override {
        if (!changing_) run("BEGIN");
        changing_ = true;
        bindName(replace_, position);
        std::visit(Binder{replace_}, value);
        demand(sqlite3_step(replace_), "replace");
        sqlite3_reset(replace_);
    }

    // Syncs, durable or not: that could not be changed within the transaction.
    void save(Durability) override {
        if (changing_) run("COMMIT");
        changing_ = false;
    }

    std::unique_ptr<Store> forAnotherThread() override {
        auto other = std::make_unique<SqliteStore>(settings());
        other->prepareNames();
        other->open(path_);
        return other;
    }

    bool pinsSnapshots() const override { return true; }

    // The snapshot is that of the first read.
    void pinSnapshot() override { run("BEGIN"); }

protected:
    void prepareName(const Setting& setting) override { names_.push_back(setting.fullName); }

private:
    void run(const char* command) {
        demand(sqlite3_exec(database_, command, nullptr, nullptr, nullptr), command);
    }
    void prepare(const char* command, sqlite3_stmt*& statement) {
        demand(sqlite3_prepare_v3(database_, command, -1, SQLITE_PREPARE_PERSISTENT, &statement,
                                  nullptr),
               command);
    }
    void bindName(sqlite3_stmt* statement, std::size_t position) const {
        const std::string& name = names_[position];
        sqlite3_bind_text(statement, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
    }

    std::vector<std::string> names_;
    std::string path_;
    sqlite3* database_ = nullptr;
    sqlite3_stmt* select_ = nullptr;
    sqlite3_stmt* replace_ = nullptr;
    bool changing_ = false;
};

}  // namespace

std::unique_ptr<Store> makeSqlite(const Settings& settings, const std::string&) {
    return std::make_unique<SqliteStore>(settings);
}

}  // namespace bench
