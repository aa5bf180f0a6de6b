#include <cstring>
#include <lmdb.h>

#include "Peers.h"

namespace bench {

namespace {

constexpr std::size_t kLargestMap = std::size_t{1} << 30;

void demand(int result) {
    if (result != 0) throw std::runtime_error(std::string("LMDB: ") + mdb_strerror(result));
}

template <class T>
T scalarOf(const MDB_val& bytes) {
    T value;
    std::memcpy(&value, bytes.mv_data, sizeof value);
    return value;
}

Value valueOf(const MDB_val& bytes, std::size_t kind) {
    const auto* const data = static_cast<const char*>(bytes.mv_data);
    switch (kind) {
        case 0:
            return scalarOf<int>(bytes);
        case 1:
            return scalarOf<bool>(bytes);
        case 2:
            return scalarOf<double>(bytes);
        case 3:
            return std::string(data, bytes.mv_size);
        default: {
            std::vector<int> numbers(bytes.mv_size / sizeof(int));
            std::memcpy(numbers.data(), data, bytes.mv_size);
            return numbers;
        }
    }
}

struct ToBytes {
    MDB_val operator()(const std::string& text) const { return {text.size(), bytes(text.data())}; }
    MDB_val operator()(const std::vector<int>& numbers) const {
        return {numbers.size() * sizeof(int), bytes(numbers.data())};
    }
    template <class T>
    MDB_val operator()(const T& scalar) const {
        return {sizeof scalar, bytes(&scalar)};
    }
    static void* bytes(const void* data) { return const_cast<void*>(data); }
};

/// An open database file, for all threads.
class Environment {
public:
    explicit Environment(const std::string& path) {
        demand(mdb_env_create(&environment_));
        demand(mdb_env_set_mapsize(environment_, kLargestMap));
        demand(mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR | MDB_NOTLS, 0600));
        MDB_txn* const opening = begin(0);
        demand(mdb_dbi_open(opening, nullptr, 0, &database_));
        demand(mdb_txn_commit(opening));
    }
    ~Environment() { mdb_env_close(environment_); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    MDB_txn* begin(unsigned flags) {
        MDB_txn* transaction = nullptr;
        demand(mdb_txn_begin(environment_, nullptr, flags, &transaction));
        return transaction;
    }
    MDB_dbi database() const { return database_; }
    void syncing(bool on) { demand(mdb_env_set_flags(environment_, MDB_NOSYNC, on ? 0 : 1)); }

private:
    MDB_env* environment_ = nullptr;
    MDB_dbi database_ = 0;
};

/// What was set since the last save is one write transaction. Every read renews its transaction,
/// since a program that keeps one open never sees a change again.
class LmdbStore : public Store {
public:
    using Store::Store;
    ~LmdbStore() override {
        mdb_txn_abort(writing_);
        mdb_txn_abort(reading_);
    }
    LmdbStore(const LmdbStore&) = delete;
    LmdbStore& operator=(const LmdbStore&) = delete;

    void open(const std::string& path) override { use(std::make_shared<Environment>(path)); }

    Value get(std::size_t position) const override {
        if (!pinned_) demand(mdb_txn_renew(reading_));
        MDB_val name = nameOf(position);
        MDB_val bytes;
        demand(mdb_get(reading_, environment_->database(), &name, &bytes));
        Value value = valueOf(bytes, kindOf(position));
        if (!pinned_) mdb_txn_reset(reading_);
        return value;
    }

    void set(std::size_t position, const Value& value) override {
        if (writing_ == nullptr) writing_ = environment_->begin(0);
        MDB_val name = nameOf(position);
        MDB_val bytes = std::visit(ToBytes(), value);
        demand(mdb_put(writing_, environment_->database(), &name, &bytes, 0));
    }

    void save(Durability durability) override {
        environment_->syncing(durability == Durability::kDurable);
        if (writing_ != nullptr) demand(mdb_txn_commit(writing_));
        writing_ = nullptr;
    }

    std::unique_ptr<Store> forAnotherThread() override {
        auto other = std::make_unique<LmdbStore>(settings());
        other->prepareNames();
        other->use(environment_);
        return other;
    }

    bool pinsSnapshots() const override { return true; }

    void pinSnapshot() override {
        demand(mdb_txn_renew(reading_));
        pinned_ = true;
    }

protected:
    void prepareName(const Setting& setting) override { names_.push_back(setting.fullName); }

private:
    void use(std::shared_ptr<Environment> environment) {
        environment_ = std::move(environment);
        reading_ = environment_->begin(MDB_RDONLY);
        mdb_txn_reset(reading_);
    }
    MDB_val nameOf(std::size_t position) const {
        const std::string& name = names_[position];
        return {name.size(), ToBytes::bytes(name.data())};
    }

    std::vector<std::string> names_;
    std::shared_ptr<Environment> environment_;
    MDB_txn* reading_ = nullptr;
    MDB_txn* writing_ = nullptr;
    bool pinned_ = false;
};

}  // namespace

std::unique_ptr<Store> makeLmdb(const Settings& settings, const std::string&) {
    return std::make_unique<LmdbStore>(settings);
}

}  // namespace bench
